#pragma once

#include "GMSDASHTileServiceOptions.h"
#include "GMSTileBatcher.h"
#include "GMSTileDiskStage.h"
#include "GMSTileFreshness.h"
#include "GMSTileMemCache.h"
#include "GMSTileRequest.h"
#include "RequestHandle.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class GMSDASHBatchedTileRequest;
class GMSDASHRequest;
class GMSPaintService;
class GMSPaintTransport;
class GMSTileDataCache;
struct GMSDASHError;
namespace zl {
class Clock;
}

namespace zenloft::wire {
class GMSx_GMMMapTileResponseProto;
}

// The mode of tiles fetched by the paint route.
inline constexpr int kGMSTileModePaint = 3;

// Answers "the tile at these coordinates" for one tile type: memory cache,
// then disk cache (GMSTileDiskStage), then batched requests to the map
// service (GMSTileBatcher: through the framed connection, or as signed POSTs
// of the paint route), with GMSTileFreshness saying what is still good. All
// of it runs on one work queue (the thread of the given QObject), so the
// request path needs no lock; callbacks run there too. Requests wait until
// startRequestQueue. Setters may be called from any thread.
class GMSDASHTileService : public std::enable_shared_from_this<GMSDASHTileService> {
public:
    using Sender = GMSTileBatcher::Sender;
    using EpochStalenessCheck = GMSTileFreshness::EpochStalenessCheck;
    using MemCache = GMSTileMemCache<GMSTileCoords, GMSTilePtr>;

    // The clock must outlive the service; null is the machine's.
    static std::shared_ptr<GMSDASHTileService> create(GMSDASHTileServiceOptions options, QObject* workQueue,
                                                      Sender sender, const zl::Clock* clock,
                                                      GMSTileDataCache* tileDataCache = nullptr);
    ~GMSDASHTileService();

    static int zoomShiftForTileEdgeLength(int edge);
    static int memCacheSizeForTileType(const GMSTileType& type, bool largestDeviceClass);
    static constexpr int kPaintGatheringDelayMs = GMSTileBatcher::kPaintGatheringDelayMs;

    // From any thread. The callback runs on the work queue, not after the
    // handle is gone except for an answer already under way there; the
    // fetch itself goes on and fills the caches.
    zl::RequestHandle requestTile(const GMSTileCoords& coords, GMSTileCallback callback);
    void startRequestQueue();

    // On the work queue.
    bool hasRequestsInFlight() const { return !m_inFlight.isEmpty(); }
    MemCache* memCache() const { return m_memCache.get(); }
    // The outcome of a batch (its transport's answer or failure).
    void handleServerResponse(const std::shared_ptr<GMSDASHBatchedTileRequest>& batch,
                              std::shared_ptr<const zenloft::wire::GMSx_GMMMapTileResponseProto> response,
                              std::optional<GMSDASHError> error);
    // Runs work on the work queue later.
    void hop(std::function<void()> work);

    // From the client parameters and the connection; any thread. The caches
    // are checked and emptied on the work queue.
    void setTileTypeExpirations(const GMSTileTypeExpirations& expirations);
    void verifyDiskCacheServerSchemaVersion(int serverSchemaVersion);
    void updateLocale(const QString& locale);
    void updateLegalCountry(const QString& country);
    void setDirectToPaint(bool on);
    void setPaintServer(const QUrl& paintServerBaseURL, const QByteArray& requestSigningKey);
    bool usesPaintRoute() const { return m_batcher.usesPaintRoute(); }
    std::shared_ptr<GMSPaintService> paintService() const { return m_batcher.paintService(); }
    // null: Qt Network on a thread of its own.
    void setPaintTransport(std::shared_ptr<GMSPaintTransport> transport);
    void setOfflineTileDataCache(GMSTileDataCache* cache) { m_freshness.setOfflineTileDataCache(cache); }
    // The check runs on the work queue, for tiles with an epoch.
    void setTileEpochStalenessCheck(EpochStalenessCheck check);

    int shouldRequestUpdate(const GMSTile& tile) const { return m_freshness.reasonToUpdate(tile); }

    const GMSDASHTileServiceOptions& options() const { return m_options; }
    int dataVersion() const { return m_freshness.dataVersion(); }
    int majorEpoch() const { return m_freshness.majorEpoch(); }
    void updateMajorEpoch(int epoch);

private:
    GMSDASHTileService(GMSDASHTileServiceOptions options, QObject* workQueue, Sender sender, const zl::Clock* clock,
                       GMSTileDataCache* cache);
    // Runs now when called on the work queue, else posts there; not at all
    // once the service is gone.
    void onQueue(std::function<void(GMSDASHTileService&)> work);
    // Empties the caches (memory too, or disk only) when the disk cache was
    // filled under another value; then stores the value.
    void storeSetting(const QString& key, const QVariant& value, bool memoryToo);
    void startRequest(const GMSTileRequestPtr& request);
    void diskLoaded(const GMSTileRequestPtr& request, const GMSCachedTileData& loaded);
    void sendToServer(const GMSTileRequestPtr& request);
    // Takes the chain of these coordinates out of the in-flight table.
    GMSTileRequestPtr takeInFlight(const GMSTileRequestPtr& expected);
    bool decodes(const QByteArray& data) const;
    void emptyCaches(bool memoryToo);

    const GMSDASHTileServiceOptions m_options;
    const QPointer<QObject> m_workQueue;
    const int m_zoomShift;
    GMSTileFreshness m_freshness;
    GMSTileBatcher m_batcher;
    GMSTileDiskStage m_disk;
    std::unique_ptr<MemCache> m_memCache;

    // The work queue's alone.
    QHash<GMSTileCoords, GMSTileRequestPtr> m_inFlight;
    bool m_started = false;
    std::vector<GMSTileRequestPtr> m_waitingForStart;
};
