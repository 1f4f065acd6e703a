#pragma once

#include "Clock.h"
#include "GMSDASHBatchedTileRequest.h"
#include "GMSDASHError.h"
#include "GMSDASHTileService.h"
#include "maptile.pb.h"

#include <QCoreApplication>
#include <QObject>
#include <QStringList>

#include <map>
#include <memory>
#include <tuple>
#include <vector>

namespace zltest {

// A tile service with a fake connection (batches are caught, answers are
// written by the test), a clock the test moves (it also holds the paint
// route's gathering delay), and its work queue on the test's own thread.
struct TileServiceHarness {
    struct Answer {
        GMSTileCoords coords;
        int status;
        GMSTilePtr tile;
    };

    explicit TileServiceHarness(GMSDASHTileServiceOptions options = {}, GMSTileDataCache* cache = nullptr,
                                bool start = true)
    {
        service = GMSDASHTileService::create(
            options, &queue,
            [this](const std::shared_ptr<GMSDASHRequest>& r) {
                sent.push_back(std::static_pointer_cast<GMSDASHBatchedTileRequest>(r));
            },
            &clock, cache);
        if (start)
            service->startRequestQueue();
        pump();
    }

    static void pump()
    {
        for (int i = 0; i < 5; ++i)
            QCoreApplication::sendPostedEvents();
    }

    GMSTileCallback callback()
    {
        return [this](const GMSTileCoords& c, int status, const GMSTilePtr& tile) {
            answers.push_back({c, status, tile});
        };
    }
    void request(int z, int x, int y)
    {
        held.push_back(service->requestTile(GMSTileCoords(z, x, y), callback()));
        pump();
    }

    using Key = std::tuple<int, int, int>;  // zoom as sent on the wire
    struct Reply {
        std::string data;     // empty: no tile data
        std::string version;  // empty: no version
    };
    // A tile answer with the given satellite tiles.
    static zenloft::wire::GMSx_GMMMapTileResponseProto tileResponse(const std::map<Key, Reply>& tiles,
                                                                    int responseCode = 0, int edition = 1)
    {
        zenloft::wire::GMSx_GMMMapTileResponseProto resp;
        resp.mutable_header()->set_response_code(zenloft::wire::GMSx_GMMMapTileResponseCode(responseCode));
        resp.mutable_header()->set_tile_edition(edition);
        for (const auto& [k, reply] : tiles) {
            auto* t = resp.add_map_tile_array();
            auto* mt = t->mutable_map_tile();
            mt->set_tile_type(zenloft::wire::TILE_TYPE_SATELLITE);
            mt->set_zoom_level(std::get<0>(k));
            mt->set_tile_index_x(std::get<1>(k));
            mt->set_tile_index_y(std::get<2>(k));
            if (!reply.version.empty())
                mt->mutable_version_id()->set_version_id(reply.version);
            if (!reply.data.empty())
                t->set_tile_data(reply.data);
        }
        return resp;
    }
    // Answers a batch with the given tiles, in the service's thread.
    void respond(const std::shared_ptr<GMSDASHBatchedTileRequest>& batch, const std::map<Key, Reply>& tiles,
                 int responseCode = 0, int edition = 1)
    {
        auto resp =
            std::make_shared<zenloft::wire::GMSx_GMMMapTileResponseProto>(tileResponse(tiles, responseCode, edition));
        service->handleServerResponse(batch, resp, std::nullopt);
        pump();
    }

    static std::string png(char tag = 'a') { return std::string("\x89PNG\r\n\x1a\n", 8) + "tile-" + tag; }
    static GMSDASHTileServiceOptions satellite(int edge = 256)
    {
        GMSDASHTileServiceOptions o;
        o.tileType.mapTileType = zenloft::wire::TILE_TYPE_SATELLITE;
        o.tileEdgeLength = edge;
        return o;
    }
    // The answers so far, one line each: "z/x/y status" and, with a tile, its
    // bytes after the PNG signature, its version and its mode.
    QStringList rows() const
    {
        static const std::map<int, QString> names = {{kGMSTileStatusFromNetwork, "net"},
                                                     {kGMSTileStatusCachedUpdateFollows, "cached"},
                                                     {kGMSTileStatusFailed, "failed"},
                                                     {kGMSTileStatusNotFound, "notfound"}};
        QStringList out;
        for (const Answer& a : answers) {
            QString row = QStringLiteral("%1/%2/%3 %4").arg(a.coords.zoom()).arg(a.coords.x()).arg(a.coords.y());
            row = row.arg(names.count(a.status) ? names.at(a.status) : QString::number(a.status));
            if (a.tile)
                row += QStringLiteral(" %1 %2 m%3")
                           .arg(QString::fromLatin1(a.tile->data.mid(8)), a.tile->versionID)
                           .arg(a.tile->mode);
            out << row;
        }
        return out;
    }

    zl::ManualClock clock;
    QObject queue;
    std::shared_ptr<GMSDASHTileService> service;
    std::vector<zl::RequestHandle> held;
    std::vector<std::shared_ptr<GMSDASHBatchedTileRequest>> sent;
    std::vector<Answer> answers;
};

}  // namespace zltest
