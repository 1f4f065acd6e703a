#pragma once

#include "DashFraming.h"
#include "DashRequestHandler.h"
#include "dash.pb.h"
#include "maptile.pb.h"

#include <QTemporaryDir>

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <tuple>

namespace zltest {

// A small MBTiles file written by the test: a few tiles keyed by XYZ (zoom,
// x, y), stored in TMS order like any MBTiles.
class MbtilesFixture {
public:
    MbtilesFixture();
    std::string path() const { return m_path; }
    const std::string& tile(int z, int x, int y) const { return m_tiles.at({z, x, y}); }
    // A request handler serving this file as the satellite layer.
    std::shared_ptr<zenloft::mapservice::DashRequestHandler> handler(
        const zenloft::mapservice::ServiceConfig& config = {}) const;

private:
    QTemporaryDir m_dir;
    std::string m_path;
    std::map<std::tuple<int, int, int>, std::string> m_tiles;
};

zenloft::wire::GMSx_GMMMapTileProto tileProto(int type, int z, int x, int y);

// One batch of satellite tiles (zoom, x, y); a tile size of 0 sends no header.
zenloft::wire::GMSx_GMMMapTileRequestProto tileRequest(std::initializer_list<std::tuple<int, int, int>> tiles,
                                                       int tileSize = 0);

// A framed body: header, the user cookie request, client properties with the
// given key, then the given tile requests of one batch.
std::string framedTileBody(const std::string& apiKey,
                           const zenloft::wire::GMSx_GMMMapTileRequestProto& tiles,
                           bool withCookieRequest = true);

}  // namespace zltest
