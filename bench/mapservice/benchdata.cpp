// Writes what bench/mapservice/run-wrk.sh serves and sends:
//   <dir>/tiles.mbtiles   50 tiles of about 20 KB at zoom 8
//   <dir>/static/8/x/y.png the same tiles as files, for nginx
//   <dir>/paths.txt       their URL paths, one a line
//   <dir>/body.bin        one framed POST asking for all 50 in one batch
#include "DashFraming.h"
#include "Mbtiles.h"
#include "dash.pb.h"
#include "maptile.pb.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

using namespace zenloft::wire;

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: zl_mapservice_benchdata <dir> <api-key>\n");
        return 2;
    }
    const std::filesystem::path dir = argv[1];
    std::filesystem::create_directories(dir);
    std::filesystem::remove(dir / "tiles.mbtiles");
    zl::MbtilesWriter mbtiles;
    std::string error;
    if (!mbtiles.open((dir / "tiles.mbtiles").string(), {}, error)) {
        std::fprintf(stderr, "benchdata: %s\n", error.c_str());
        return 1;
    }

    std::mt19937 rng(8);
    GMSx_GMMMapTileRequestProto req;
    req.mutable_header()->set_tile_size(256);
    std::ofstream paths(dir / "paths.txt");
    const int z = 8;
    for (int i = 0; i < 50; ++i) {
        const int x = 100 + i % 10, y = 80 + i / 10;
        // Incompressible bytes behind a PNG signature: as heavy as real imagery.
        std::string data = "\x89PNG\r\n\x1a\n";
        data.resize(19000 + rng() % 2000);
        for (std::size_t k = 8; k < data.size(); ++k)
            data[k] = static_cast<char>(rng());
        if (!mbtiles.addTile(z, x, y, data, error)) {
            std::fprintf(stderr, "benchdata: %s\n", error.c_str());
            return 1;
        }
        const auto file = dir / "static" / std::to_string(z) / std::to_string(x) / (std::to_string(y) + ".png");
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << data;
        paths << "/" << z << "/" << x << "/" << y << ".png\n";
        auto* t = req.add_map_tile_array();
        t->set_tile_type(TILE_TYPE_SATELLITE);
        t->set_tile_index_x(x);
        t->set_tile_index_y(y);
        t->set_zoom_level(z);
    }
    if (!mbtiles.finish(error)) {
        std::fprintf(stderr, "benchdata: %s\n", error.c_str());
        return 1;
    }

    DashOutput out;
    DashRequestHeader h;
    h.userCookie = 1;
    h.language = u"en";
    h.platform = u"ios:bench";
    h.softwareVersion = u"1";
    writeRequestHeader(out, h);
    GMSx_GMMClientPropertiesRequestProto props;
    props.mutable_ios_api_app_fingerprint()->set_api_key(argv[2]);
    out.writeUInt16(kDashClientPropertiesRequest);
    out.writeMessage(props);
    out.writeUInt16(kDashMapTileRequest);
    out.writeMessage(req);
    std::ofstream(dir / "body.bin", std::ios::binary) << out.bytes();
    std::printf("benchdata: 50 tiles, body %zu bytes in %s\n", out.size(), dir.c_str());
    return 0;
}
