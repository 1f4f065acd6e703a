#include "MbtilesFixture.h"

#include "Mbtiles.h"
#include "mbtiles_writer.h"

#include <stdexcept>

namespace zltest {

MbtilesFixture::MbtilesFixture()
{
    m_path = m_dir.filePath("test.mbtiles").toStdString();
    // The service serves tiles as stored: any bytes will do, a zero among them.
    for (const auto& [z, x, y] : {std::tuple{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {2, 3, 1}})
        m_tiles[{z, x, y}] = std::string("tile\0", 5) + std::to_string(z) + "/" + std::to_string(x) + "/" + std::to_string(y);
    MbtilesTiles tiles;
    for (const auto& [key, data] : m_tiles)
        tiles[key] = QByteArray::fromStdString(data);
    QString error;
    if (!writeMbtiles(QString::fromStdString(m_path), tiles, &error))
        throw std::runtime_error("cannot create test MBTiles: " + error.toStdString());
}

std::shared_ptr<zenloft::mapservice::DashRequestHandler> MbtilesFixture::handler(
    const zenloft::mapservice::ServiceConfig& config) const
{
    std::map<int, std::shared_ptr<zl::MbtilesReader>> stores;
    stores[zenloft::wire::TILE_TYPE_SATELLITE] = std::make_shared<zl::MbtilesReader>(m_path);
    return std::make_shared<zenloft::mapservice::DashRequestHandler>(config, stores);
}

zenloft::wire::GMSx_GMMMapTileProto tileProto(int type, int z, int x, int y)
{
    zenloft::wire::GMSx_GMMMapTileProto t;
    t.set_tile_type(static_cast<zenloft::wire::GMSx_GMMTileType>(type));
    t.set_zoom_level(z);
    t.set_tile_index_x(x);
    t.set_tile_index_y(y);
    return t;
}

zenloft::wire::GMSx_GMMMapTileRequestProto tileRequest(std::initializer_list<std::tuple<int, int, int>> tiles,
                                                       int tileSize)
{
    zenloft::wire::GMSx_GMMMapTileRequestProto req;
    if (tileSize)
        req.mutable_header()->set_tile_size(tileSize);
    for (const auto& [z, x, y] : tiles)
        *req.add_map_tile_array() = tileProto(zenloft::wire::TILE_TYPE_SATELLITE, z, x, y);
    return req;
}

std::string framedTileBody(const std::string& apiKey,
                           const zenloft::wire::GMSx_GMMMapTileRequestProto& tiles, bool withCookieRequest)
{
    using namespace zenloft::wire;
    DashOutput out;
    DashRequestHeader h;
    h.language = u"en";
    h.platform = u"ios:test";
    h.softwareVersion = u"1";
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
