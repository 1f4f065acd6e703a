#pragma once

#include "GMSTileMemCache.h"
#include "GMSTileRequest.h"
#include "GMSTileType.h"
#include "GMSTileTypeExpirations.h"

#include <QHash>
#include <QSet>
#include <QMutex>
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

namespace zenloft::wire {
class GMSx_GMMMapTileRequestProto;
class GMSx_GMMMapTileResponseProto;
}  // namespace zenloft::wire

struct GMSDASHTileServiceOptions {
    GMSTileType tileType;
    int tileEdgeLength = 256;
    int textSize = 0;
    double screenScale = 1.0;
    int maxRequestsPerBatch = 50;
    std::vector<int> tileFormats;  // empty: PNG and JPEG for images
    int serviceFlags = 0;
    bool allowsCellularAccess = true;
    bool largestDeviceClass = false;
    // The framed connection's endpoint: relative paint server URLs are taken
    // from there.
    QUrl dashEndpointURL;
};

// Why a tile in hand should (or need not) be fetched again.
enum GMSTileUpdateReason : int {
    kGMSTileUpdateNone = 0,
    kGMSTileUpdateTileStore = 1,
    kGMSTileUpdateMajorEpoch = 2,
    kGMSTileUpdatePerTileExpired = 4,
    kGMSTileUpdateEpochStale = 5,
    kGMSTileUpdatePaintExperiments = 6,
    kGMSTileUpdateDataVersion = 7,
    kGMSTileUpdateLegalCountry = 8,
    kGMSTileUpdateExpired = 9,
};

// The mode of tiles fetched by the paint route.
inline constexpr int kGMSTileModePaint = 3;

// Answers "the tile at these coordinates" for one tile type: memory cache,
// then disk cache, then batched requests to the map service (through the
// framed connection, or as signed POSTs of the paint route). All work and
// all callbacks run on the work queue (the thread of the given QObject);
// requests wait until startRequestQueue.
class GMSDASHTileService : public std::enable_shared_from_this<GMSDASHTileService> {
public:
    using Sender = std::function<void(const std::shared_ptr<GMSDASHRequest>&)>;
    using Clock = std::function<qint64()>;
    // Runs work on the work queue after a delay in milliseconds.
    using Scheduler = std::function<void(int delayMs, std::function<void()> work)>;
    using EpochStalenessCheck = std::function<bool(const GMSTile&)>;
    using MemCache = GMSTileMemCache<GMSTileCoords, GMSTilePtr>;

    static std::shared_ptr<GMSDASHTileService> create(GMSDASHTileServiceOptions options, QObject* workQueue,
                                                      Sender sender, Clock clock,
                                                      GMSTileDataCache* tileDataCache = nullptr);
    ~GMSDASHTileService();

    static int zoomShiftForTileEdgeLength(int edge);
    static int memCacheSizeForTileType(const GMSTileType& type, bool largestDeviceClass);
    static quint16 DASHRequestID() { return 108; }
    // How long a batch of the paint route waits for more tiles to join.
    static constexpr int kPaintGatheringDelayMs = 10;

    void requestTile(const GMSTileCoords& coords, const void* target, GMSTileCallback selector);
    void requestTile(const GMSTileCoords& coords, const void* target, GMSTileCallback selector,
                     const QVariantMap& extraRequestParams);
    void prefetchTile(const GMSTileCoords& coords, int fetchType, const void* target, GMSTileCallback selector);
    void requestCachedTile(const GMSTileCoords& coords, const void* target, GMSTileCallback selector);
    void cancelCallback(const GMSTileCoords& coords, const void* target);
    void removeTile(const GMSTileCoords& coords);
    // Reserved tiles survive eviction; a client's new set replaces its old one.
    void reserveSetInMemCache(const QSet<GMSTileCoords>& coords, const QString& client);
    void cancelReserveSetInMemCache(const QString& client);
    void reserveSetInDataCache(const QSet<GMSTileCoords>& coords, const QString& client);
    void cancelReserveSetInDataCache(const QString& client);
    void failAllInFlightRequests();
    bool hasRequestsInFlight() const;
    void deleteTileCaches();
    void deleteTileMemCaches();
    void invalidateTileEpochsInCachesWithCompletionHandler(std::function<void(bool)> handler);

    void startRequestQueue();
    bool isStarted() const;

    // From the client parameters.
    void setTileTypeExpirations(const GMSTileTypeExpirations& expirations);
    GMSTileTypeExpirations tileTypeExpirations() const;
    void verifyDiskCacheServerSchemaVersion(int serverSchemaVersion);
    void updateLocale(const QString& locale);
    void updateLegalCountry(const QString& country);
    void setDirectToPaint(bool on);
    // The paint route's server and signing key; an empty URL or key turns the
    // route off. A relative URL is resolved against options().dashEndpointURL.
    void setPaintServer(const QUrl& paintServerBaseURL, const QByteArray& requestSigningKey);
    // Batches go by the paint route when direct-to-paint is on, a paint
    // server is set and the tile type has a paint tile type.
    bool usesPaintRoute() const;
    std::shared_ptr<GMSPaintService> paintService() const;
    // For tests: the paint route's transport (null: Qt Network on a thread of
    // its own) and the timer of its gathering delay (null: a QTimer on the
    // work queue).
    void setPaintTransport(std::shared_ptr<GMSPaintTransport> transport);
    void setScheduler(Scheduler scheduler);
    // A cache of tiles kept for offline use; with it, tiles whose epoch the
    // check calls stale are fetched again. The check runs under the service's
    // monitor and must not call back into the service.
    void setOfflineTileDataCache(GMSTileDataCache* cache);
    void setTileEpochStalenessCheck(EpochStalenessCheck isTileEpochStale);
    void setPaintExperiments(const QString& experiments);

    int shouldRequestUpdate(const GMSTile& tile, int fetchType) const;

    const GMSDASHTileServiceOptions& options() const { return m_options; }
    int zoomShift() const { return _zoomShift; }
    int dataVersion() const;
    int majorEpoch() const;
    void updateMajorEpoch(int epoch);
    MemCache* memCache() const { return _memCache.get(); }

    // Used by the batch.
    zenloft::wire::GMSx_GMMMapTileRequestProto buildRequestProto(GMSDASHBatchedTileRequest* batch);
    void handleServerResponse(const std::shared_ptr<GMSDASHBatchedTileRequest>& batch,
                              std::shared_ptr<const zenloft::wire::GMSx_GMMMapTileResponseProto> response,
                              std::optional<GMSDASHError> error);
    void hop(std::function<void()> work);
    QObject* workQueue() const { return m_workQueue.data(); }

private:
    GMSDASHTileService(GMSDASHTileServiceOptions options, QObject* workQueue, Sender sender, Clock clock,
                       GMSTileDataCache* cache);
    using Completions = std::vector<std::function<void()>>;
    void enqueueOrRun(std::function<void()> work);
    void internalRequestTile(const GMSTileCoords& coords, std::optional<QVariantMap> extra, int fetchType,
                             const void* target, GMSTileCallback selector, bool allowNetworkFetch);
    void loadFromDisk(const GMSTileRequestPtr& request, bool allowNetworkFetch);
    void diskLoaded(const GMSTileRequestPtr& request, bool allowNetworkFetch, bool found, const QByteArray& data,
                    qint64 validationTime, const QString& versionID);
    void queueServerRequest(const GMSTileRequestPtr& request);
    void stopAddingToRequest(GMSDASHBatchedTileRequest* batch);
    bool usesPaintRouteLocked() const;
    void schedule(int delayMs, std::function<void()> work);
    bool canIncludeTileCoords(const GMSTileCoords& coords) const;
    GMSTilePtr makeTile(const GMSTileCoords& coords, QByteArray data, QString versionID, qint64 validationTime) const;
    bool decodes(const QByteArray& data) const;
    // Takes the chain of these coordinates out of the in-flight table.
    GMSTileRequestPtr takeInFlight(const GMSTileCoords& coords, const GMSTileRequestPtr& expected = {});
    static std::function<void()> completion(const GMSTileRequestPtr& chain, int status, GMSTilePtr tile);

    const GMSDASHTileServiceOptions m_options;
    QPointer<QObject> m_workQueue;
    Sender m_sender;
    Clock m_clock;
    GMSTileDataCache* _tileDataCache;
    GMSTileDataCache* _offlineTileDataCache = nullptr;
    std::unique_ptr<MemCache> _memCache;
    GMSTilePtr _memCacheNotFoundMarker;

    mutable QRecursiveMutex m_monitor;  // the service's monitor
    int _zoomShift = 0;
    int _dataVersion = -1;
    int _majorEpoch = -1;
    bool m_directToPaint = false;
    std::shared_ptr<GMSPaintService> m_paintService;
    std::shared_ptr<GMSPaintTransport> m_paintTransport;
    Scheduler m_scheduler;
    EpochStalenessCheck m_isTileEpochStale;
    QString m_paintExperiments;
    QString m_legalCountry;
    GMSTileTypeExpirations m_expirations;
    QHash<GMSTileCoords, GMSTileRequestPtr> _requestsInFlight;
    QHash<GMSTileCoords, GMSTileRequestPtr> _cacheRequestsInFlight;
    std::shared_ptr<std::vector<GMSTileRequestPtr>> _requestsForNextBatch;
    std::shared_ptr<GMSDASHBatchedTileRequest> _dashRequest;
    bool m_started = false;
    std::vector<std::function<void()>> m_startQueue;
};
