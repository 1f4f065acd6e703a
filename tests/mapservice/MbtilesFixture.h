#pragma once

#include "DashFraming.h"
#include "DashRequestHandler.h"
#include "Mbtiles.h"
#include "dash.pb.h"
#include "maptile.pb.h"
#include "mbtiles_writer.h"

#include <QTemporaryDir>

#include <initializer_list>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>

namespace zltest {

// A small MBTiles file written by the test: a few tiles keyed by XYZ (zoom,
// x, y), stored in TMS order like any MBTiles.
class MbtilesFixture {
public:
    MbtilesFixture()
    {
        // The service serves tiles as stored: any bytes will do, a zero among them.
        MbtilesTiles tiles;
        for (const auto& [z, x, y] : {std::tuple{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {2, 3, 1}}) {
            m_tiles[{z, x, y}] =
                std::string("tile\0", 5) + std::to_string(z) + "/" + std::to_string(x) + "/" + std::to_string(y);
            tiles[{z, x, y}] = QByteArray::fromStdString(m_tiles[{z, x, y}]);
        }
        QString error;
        if (!writeMbtiles(QString::fromStdString(path()), tiles, &error))
            throw std::runtime_error("cannot create test MBTiles: " + error.toStdString());
    }
    std::string path() const { return m_dir.filePath("test.mbtiles").toStdString(); }
    const std::string& tile(int z, int x, int y) const { return m_tiles.at({z, x, y}); }
    // A request handler serving this file as the satellite layer.
    std::shared_ptr<zenloft::mapservice::DashRequestHandler> handler(
        const zenloft::mapservice::ServiceConfig& config = {}) const
    {
        std::map<int, std::shared_ptr<zl::MbtilesReader>> stores;
        stores[zenloft::wire::TILE_TYPE_SATELLITE] = std::make_shared<zl::MbtilesReader>(path());
        return std::make_shared<zenloft::mapservice::DashRequestHandler>(config, stores);
    }

private:
    QTemporaryDir m_dir;
    std::map<std::tuple<int, int, int>, std::string> m_tiles;
};

// One batch of tiles (zoom, x, y) of one type; a tile size of 0 sends no header.
inline zenloft::wire::GMSx_GMMMapTileRequestProto tileRequest(std::initializer_list<std::tuple<int, int, int>> tiles,
                                                              int tileSize = 0,
                                                              int type = zenloft::wire::TILE_TYPE_SATELLITE)
{
    zenloft::wire::GMSx_GMMMapTileRequestProto req;
    if (tileSize)
        req.mutable_header()->set_tile_size(tileSize);
    for (const auto& [z, x, y] : tiles) {
        auto* t = req.add_map_tile_array();
        t->set_tile_type(static_cast<zenloft::wire::GMSx_GMMTileType>(type));
        t->set_zoom_level(z);
        t->set_tile_index_x(x);
        t->set_tile_index_y(y);
    }
    return req;
}

// A framed body: header, the user cookie request, client properties with the
// given key, then the given tile requests of one batch.
inline std::string framedTileBody(const std::string& apiKey, const zenloft::wire::GMSx_GMMMapTileRequestProto& tiles,
                                  bool withCookieRequest = true)
{
    using namespace zenloft::wire;
    DashOutput out;
    DashRequestHeader h;
    h.language = u"en";
    writeRequestHeader(out, h);
    if (withCookieRequest)
        out.writeUInt16(kDashUserCookieRequest);
    GMSx_GMMClientPropertiesRequestProto props;
    props.mutable_ios_api_app_fingerprint()->set_api_key(apiKey);
    out.writeUInt16(kDashClientPropertiesRequest);
    out.writeMessage(props);
    out.writeUInt16(kDashMapTileRequest);
    out.writeMessage(tiles);
    return out.take();
}

}  // namespace zltest
