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

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class GMSDASHBatchedTileRequest;
class GMSDASHRequest;
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

// Answers "the tile at these coordinates" for one tile type: memory cache,
// then disk cache, then batched requests to the map service. All work and
// all callbacks run on the work queue (the thread of the given QObject);
// requests wait until startRequestQueue.
class GMSDASHTileService : public std::enable_shared_from_this<GMSDASHTileService> {
public:
    using Sender = std::function<void(const std::shared_ptr<GMSDASHRequest>&)>;
    using Clock = std::function<qint64()>;
    using MemCache = GMSTileMemCache<GMSTileCoords, GMSTilePtr>;

    static std::shared_ptr<GMSDASHTileService> create(GMSDASHTileServiceOptions options, QObject* workQueue,
                                                      Sender sender, Clock clock,
                                                      GMSTileDataCache* tileDataCache = nullptr);
    ~GMSDASHTileService();

    static int zoomShiftForTileEdgeLength(int edge);
    static int memCacheSizeForTileType(const GMSTileType& type, bool largestDeviceClass);
    static quint16 DASHRequestID() { return 108; }

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
