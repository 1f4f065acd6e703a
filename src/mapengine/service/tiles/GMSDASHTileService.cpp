#include "GMSDASHTileService.h"

#include "GMSDASHBatchedTileRequest.h"
#include "GMSPaintService.h"
#include "GMSTileDataCache.h"
#include "TileZoomShift.h"
#include "maptile.pb.h"

#include <QLoggingCategory>
#include <QMutexLocker>
#include <QThread>
#include <QTimer>

#include <algorithm>

using namespace zenloft::wire;

namespace {
Q_LOGGING_CATEGORY(lcTiles, "zenloft.tiles")

constexpr int kEmptyBatchFetchType = 12;

GMSCacheTileKey cacheKey(const GMSTileCoords& c) { return {c.zoom(), c.x(), c.y()}; }

// Runs the collected callbacks after the monitor is released.
void runAll(std::vector<std::function<void()>>& completions)
{
    for (auto& c : completions)
        c();
    completions.clear();
}
}  // namespace

std::shared_ptr<GMSDASHTileService> GMSDASHTileService::create(GMSDASHTileServiceOptions options, QObject* workQueue,
                                                               Sender sender, Clock clock,
                                                               GMSTileDataCache* tileDataCache)
{
    return std::shared_ptr<GMSDASHTileService>(
        new GMSDASHTileService(std::move(options), workQueue, std::move(sender), std::move(clock), tileDataCache));
}

GMSDASHTileService::GMSDASHTileService(GMSDASHTileServiceOptions options, QObject* workQueue, Sender sender,
                                       Clock clock, GMSTileDataCache* cache)
    : m_options(std::move(options)),
      m_workQueue(workQueue),
      m_sender(std::move(sender)),
      m_clock(clock ? std::move(clock) : Clock([] { return qint64(0); })),
      _tileDataCache(m_options.tileType.isStorable ? cache : nullptr),
      _memCacheNotFoundMarker(std::make_shared<GMSTile>()),
      _requestsForNextBatch(std::make_shared<std::vector<GMSTileRequestPtr>>())
{
    _zoomShift = zoomShiftForTileEdgeLength(m_options.tileEdgeLength);
    const int size = memCacheSizeForTileType(m_options.tileType, m_options.largestDeviceClass);
    _memCache = MemCache::create(std::size_t(size), _memCacheNotFoundMarker);
}

GMSDASHTileService::~GMSDASHTileService() = default;

int GMSDASHTileService::zoomShiftForTileEdgeLength(int edge)
{
    return zenloft::wire::zoomShiftForTileEdge(edge);
}

int GMSDASHTileService::memCacheSizeForTileType(const GMSTileType& type, bool largestDeviceClass)
{
    const int d = type.dataType;
    if (d == 0 || (d >= 4 && d <= 8) || (d == 3 && !type.hasIndoorFeatures))
        return type.isStorable ? 32 : 96;
    if (d == 3)
        return largestDeviceClass ? 128 : 32;
    return 0;
}

void GMSDASHTileService::hop(std::function<void()> work)
{
    if (!m_workQueue)
        return;
    QMetaObject::invokeMethod(m_workQueue.data(), std::move(work), Qt::QueuedConnection);
}

void GMSDASHTileService::enqueueOrRun(std::function<void()> work)
{
    {
        QMutexLocker l(&m_monitor);
        if (!m_started) {
            m_startQueue.push_back(std::move(work));
            return;
        }
    }
    work();
}

void GMSDASHTileService::startRequestQueue()
{
    std::weak_ptr<GMSDASHTileService> weak = weak_from_this();
    hop([weak] {
        auto self = weak.lock();
        if (!self)
            return;
        std::vector<std::function<void()>> waiting;
        {
            QMutexLocker l(&self->m_monitor);
            self->m_started = true;
            waiting.swap(self->m_startQueue);
        }
        runAll(waiting);
    });
}

bool GMSDASHTileService::isStarted() const
{
    QMutexLocker l(&m_monitor);
    return m_started;
}

void GMSDASHTileService::requestTile(const GMSTileCoords& coords, const void* target, GMSTileCallback selector)
{
    auto self = shared_from_this();
    hop([self, coords, target, selector] {
        self->enqueueOrRun([self, coords, target, selector] {
            self->internalRequestTile(coords, std::nullopt, 1, target, selector, true);
        });
    });
}

void GMSDASHTileService::requestTile(const GMSTileCoords& coords, const void* target, GMSTileCallback selector,
                                     const QVariantMap& extra)
{
    auto self = shared_from_this();
    hop([self, coords, target, selector, extra] {
        self->enqueueOrRun([self, coords, target, selector, extra] {
            self->internalRequestTile(coords, extra, 1, target, selector, true);
        });
    });
}

void GMSDASHTileService::prefetchTile(const GMSTileCoords& coords, int fetchType, const void* target,
                                      GMSTileCallback selector)
{
    auto self = shared_from_this();
    hop([self, coords, fetchType, target, selector] {
        self->enqueueOrRun([self, coords, fetchType, target, selector] {
            self->internalRequestTile(coords, std::nullopt, fetchType, target, selector, true);
        });
    });
}

void GMSDASHTileService::requestCachedTile(const GMSTileCoords& coords, const void* target, GMSTileCallback selector)
{
    auto self = shared_from_this();
    hop([self, coords, target, selector] {
        self->enqueueOrRun([self, coords, target, selector] {
            self->internalRequestTile(coords, std::nullopt, 1, target, selector, false);
        });
    });
}

std::function<void()> GMSDASHTileService::completion(const GMSTileRequestPtr& chain, int status, GMSTilePtr tile)
{
    return [chain, status, tile] { chain->completeChain(status, tile); };
}

GMSTileRequestPtr GMSDASHTileService::takeInFlight(const GMSTileCoords& coords, const GMSTileRequestPtr& expected)
{
    auto it = _requestsInFlight.find(coords);
    if (it == _requestsInFlight.end() || (expected && it.value() != expected))
        return {};
    GMSTileRequestPtr chain = it.value();
    _requestsInFlight.erase(it);
    return chain;
}

void GMSDASHTileService::internalRequestTile(const GMSTileCoords& coords, std::optional<QVariantMap> extra,
                                             int fetchType, const void* target, GMSTileCallback selector,
                                             bool allowNetworkFetch)
{
    Completions done;
    GMSTileRequestPtr toDisk;
    {
        QMutexLocker l(&m_monitor);
        auto request = std::make_shared<GMSTileRequest>(coords, fetchType, target, std::move(selector), extra);
        request->setDataVersion(_dataVersion);
        request->setLegalCountry(m_legalCountry);
        auto& table = allowNetworkFetch ? _requestsInFlight : _cacheRequestsInFlight;
        GMSTileRequestPtr head;
        if (auto it = table.find(coords); it != table.end()) {
            head = it.value();
            head->addDuplicate(request);
        } else {
            table.insert(coords, request);
            head = request;
        }
        const bool duplicate = head != request;
        bool finished = false;

        if (auto hit = _memCache ? _memCache->objectForKey(coords) : std::nullopt) {
            if (_memCache->isNotFoundMarker(*hit)) {
                table.remove(coords);
                done.push_back(completion(head, kGMSTileStatusNotFound, nullptr));
                finished = true;
            } else {
                const int reason = shouldRequestUpdate(**hit, fetchType);
                // An expired tile is not shown at all, but its version may
                // still save the download.
                request->setCachedTile(*hit);
                if (reason != kGMSTileUpdateExpired) {
                    const bool final = reason == kGMSTileUpdateNone || !allowNetworkFetch;
                    // A new request is the end of its chain: only it is told.
                    done.push_back(completion(
                        request, final ? kGMSTileStatusFromNetwork : kGMSTileStatusCachedUpdateFollows, *hit));
                    if (final) {
                        if (!duplicate)
                            table.remove(coords);
                        finished = true;
                    }
                }
            }
        }
        if (!finished && !duplicate)
            toDisk = request;
    }
    runAll(done);
    if (toDisk)
        loadFromDisk(toDisk, allowNetworkFetch);
}

void GMSDASHTileService::loadFromDisk(const GMSTileRequestPtr& request, bool allowNetworkFetch)
{
    if (!_tileDataCache) {
        diskLoaded(request, allowNetworkFetch, false, {}, 0, {});
        return;
    }
    std::weak_ptr<GMSDASHTileService> weak = weak_from_this();
    _tileDataCache->loadTileForTileCoords(
        cacheKey(request->coords()), m_workQueue.data(), [weak, request, allowNetworkFetch](GMSCachedTileData d) {
            if (auto self = weak.lock())
                self->diskLoaded(request, allowNetworkFetch, d.found, d.data, d.validationTime, d.versionID);
        });
}

void GMSDASHTileService::diskLoaded(const GMSTileRequestPtr& request, bool allowNetworkFetch, bool found,
                                    const QByteArray& data, qint64 validationTime, const QString& versionID)
{
    Completions done;
    bool toServer = false;
    {
        QMutexLocker l(&m_monitor);
        auto& table = allowNetworkFetch ? _requestsInFlight : _cacheRequestsInFlight;
        if (table.value(request->coords()) != request)
            return;  // failed or answered meanwhile
        if (found) {
            GMSTilePtr tile = makeTile(request->coords(), data, versionID, validationTime);
            // Tiles from disk carry no data version: the version they came
            // with is not kept.
            const int reason = shouldRequestUpdate(*tile, request->aggregateFetchType());
            request->setCachedTile(tile);  // its version may spare the download
            if (reason == kGMSTileUpdateExpired) {
                if (allowNetworkFetch) {
                    toServer = true;
                } else {
                    table.remove(request->coords());
                    done.push_back(completion(request, kGMSTileStatusFailed, nullptr));
                }
            } else if (reason == kGMSTileUpdateNone || !allowNetworkFetch) {
                table.remove(request->coords());
                if (_memCache && request->aggregateFetchType() == 1)
                    _memCache->setObject(tile, request->coords());
                done.push_back(completion(request, kGMSTileStatusFromNetwork, tile));
            } else {
                done.push_back(completion(request, kGMSTileStatusCachedUpdateFollows, tile));
                toServer = true;
            }
        } else if (allowNetworkFetch) {
            toServer = true;
        } else {
            table.remove(request->coords());
            done.push_back(completion(request, kGMSTileStatusFailed, nullptr));
        }
    }
    // Outside the monitor: sending takes the connection's lock, and the
    // connection takes ours when it builds the batch.
    if (toServer)
        queueServerRequest(request);
    runAll(done);
}

bool GMSDASHTileService::canIncludeTileCoords(const GMSTileCoords& coords) const
{
    // One zoom level per batch (the same zoom table, for multi-zoom styles,
    // is the same thing here: there is one table per zoom).
    return _requestsForNextBatch->empty() || _requestsForNextBatch->front()->coords().zoom() == coords.zoom();
}

void GMSDASHTileService::stopAddingToRequest(GMSDASHBatchedTileRequest* batch)
{
    if (!_dashRequest || _dashRequest.get() != batch)
        return;
    _dashRequest.reset();
    _requestsForNextBatch = std::make_shared<std::vector<GMSTileRequestPtr>>();
}

void GMSDASHTileService::queueServerRequest(const GMSTileRequestPtr& request)
{
    std::shared_ptr<GMSDASHBatchedTileRequest> toSend;
    std::shared_ptr<GMSPaintService> paint;
    {
        QMutexLocker l(&m_monitor);
        if (_requestsInFlight.value(request->coords()) != request) {
            qCWarning(lcTiles, "Should have already been in flight, GMSDASHTileService: %s",
                      qUtf8Printable(request->coords().description()));
            return;
        }
        if (_dashRequest && !canIncludeTileCoords(request->coords()))
            stopAddingToRequest(_dashRequest.get());
        _requestsForNextBatch->push_back(request);
        if (!_dashRequest) {
            _dashRequest = std::make_shared<GMSDASHBatchedTileRequest>(weak_from_this(), _requestsForNextBatch);
            _dashRequest->setAllowsCellularAccess(m_options.allowsCellularAccess);
            if (usesPaintRouteLocked()) {
                paint = m_paintService;
                _dashRequest->setMode(kGMSTileModePaint);
            }
            toSend = _dashRequest;
        }
        if (int(_requestsForNextBatch->size()) >= m_options.maxRequestsPerBatch)
            stopAddingToRequest(_dashRequest.get());
    }
    if (!toSend)
        return;
    if (paint) {
        // The batch stays open meanwhile, so that more tiles can join.
        std::weak_ptr<GMSDASHTileService> weak = weak_from_this();
        const GMSTileType type = m_options.tileType;
        schedule(kPaintGatheringDelayMs, [weak, paint, toSend, type] {
            if (auto self = weak.lock())
                paint->sendRequest(toSend, type, self);
        });
        return;
    }
    if (m_sender)
        m_sender(toSend);
}

void GMSDASHTileService::schedule(int delayMs, std::function<void()> work)
{
    Scheduler scheduler;
    {
        QMutexLocker l(&m_monitor);
        scheduler = m_scheduler;
    }
    if (scheduler) {
        scheduler(delayMs, std::move(work));
        return;
    }
    QPointer<QObject> queue = m_workQueue;
    if (!queue)
        return;
    auto start = [queue, delayMs, work] {
        if (queue)
            QTimer::singleShot(delayMs, Qt::PreciseTimer, queue.data(), work);
    };
    if (QThread::currentThread() == queue->thread())
        start();
    else
        QMetaObject::invokeMethod(queue.data(), start, Qt::QueuedConnection);
}

GMSx_GMMMapTileRequestProto GMSDASHTileService::buildRequestProto(GMSDASHBatchedTileRequest* batch)
{
    QMutexLocker l(&m_monitor);
    stopAddingToRequest(batch);
    GMSx_GMMMapTileRequestProto proto;
    auto* h = proto.mutable_header();
    h->set_tile_size(quint32(m_options.tileEdgeLength));
    std::vector<int> formats = m_options.tileFormats;
    if (formats.empty())
        formats = {TILE_FORMAT_PNG, TILE_FORMAT_JPEG};
    for (int f : formats)
        h->add_tile_format_array(GMSx_GMMTileFormat(f));
    h->set_text_size(GMSx_GMMTextSize(m_options.textSize));
    int fetchType = kEmptyBatchFetchType;
    for (const auto& r : *batch->tileRequests())
        fetchType = std::min(fetchType, r->aggregateFetchType());
    h->set_fetch_type(fetchType);
    h->set_dpi_ratio(float(m_options.screenScale));
    h->set_screen_pixel_density(m_options.screenScale >= 2.0 ? TILE_SCREEN_PIXEL_DENSITY_HIGH
                                                             : TILE_SCREEN_PIXEL_DENSITY_NORMAL);
    for (const auto& r : *batch->tileRequests()) {
        auto* t = proto.add_map_tile_array();
        t->set_tile_type(GMSx_GMMTileType(m_options.tileType.mapTileType));
        t->set_tile_index_x(r->coords().x());
        t->set_tile_index_y(r->coords().y());
        t->set_zoom_level(r->coords().zoom() + _zoomShift);
        if (m_options.tileType.tileVariant)
            t->set_tile_variant(m_options.tileType.tileVariant);
        auto* v = t->mutable_version_id();
        v->set_supports_tile_hash(true);
        if (r->cachedTile() && !r->cachedTile()->versionID.isEmpty())
            v->set_version_id(r->cachedTile()->versionID.toStdString());
    }
    return proto;
}

bool GMSDASHTileService::decodes(const QByteArray& data) const
{
    if (m_options.tileType.dataType != 0)
        return !data.isEmpty();
    // Image tiles are PNG, JPEG or WebP; anything else cannot be drawn.
    return data.startsWith("\x89PNG\r\n\x1a\n") || data.startsWith("\xff\xd8\xff") ||
           (data.startsWith("RIFF") && data.mid(8, 4) == "WEBP");
}

GMSTilePtr GMSDASHTileService::makeTile(const GMSTileCoords& coords, QByteArray data, QString versionID,
                                        qint64 validationTime) const
{
    auto tile = std::make_shared<GMSTile>();
    tile->coords = coords;
    tile->data = std::move(data);
    tile->versionID = std::move(versionID);
    const int d = m_options.tileType.dataType;
    if (d >= 3 && d <= 7)
        tile->expirationState = std::make_shared<GMSPerTileExpirationState>(validationTime, m_options.tileType);
    else
        tile->expirationState = std::make_shared<GMSTileExpirationState>(validationTime, m_options.tileType);
    tile->paintExperiments = m_paintExperiments;
    tile->legalCountry = m_legalCountry;
    return tile;
}

void GMSDASHTileService::handleServerResponse(const std::shared_ptr<GMSDASHBatchedTileRequest>& batch,
                                              std::shared_ptr<const GMSx_GMMMapTileResponseProto> response,
                                              std::optional<GMSDASHError> error)
{
    Completions done;
    QList<GMSCacheableTileData> toStore;
    {
        QMutexLocker l(&m_monitor);
        stopAddingToRequest(batch.get());
        const auto requests = *batch->tileRequests();
        const int mode = batch->mode();
        auto failAll = [&] {
            for (const auto& r : requests)
                if (takeInFlight(r->coords(), r))
                    done.push_back(completion(r, kGMSTileStatusFailed, nullptr));
        };
        if (error || !response) {
            failAll();  // the caches stay as they are
        } else if (response->header().response_code() != 0) {
            qCInfo(lcTiles, "Request failed: %d", int(response->header().response_code()));
            failAll();
        } else {
            if (response->header().has_tile_edition()) {
                const int version = int(response->header().tile_edition());
                if (version != _dataVersion) {
                    _dataVersion = version;
                    if (_tileDataCache)
                        _tileDataCache->setProperty(version, QStringLiteral("TileDataVersion"));
                }
            }
            const qint64 now = m_clock();
            QHash<GMSTileCoords, GMSTilePtr> answers;  // null: failure
            QHash<GMSTileCoords, bool> refreshedOnly;
            QHash<GMSTileCoords, GMSTileRequestPtr> byCoords;
            for (const auto& r : requests)
                byCoords.insert(GMSTileCoords(r->coords().zoom(), r->coords().x(), r->coords().y()), r);
            for (const auto& t : response->map_tile_array()) {
                const auto& mt = t.map_tile();
                const GMSTileCoords c(mt.zoom_level() - _zoomShift, mt.tile_index_x(), mt.tile_index_y());
                const GMSTileRequestPtr r = byCoords.value(c);
                if (!r) {
                    qCInfo(lcTiles, "Unexpected tile in response: %s", qUtf8Printable(c.description()));
                    continue;
                }
                const QString version = QString::fromStdString(mt.version_id().version_id());
                if (t.has_tile_data() && !t.tile_data().empty()) {
                    QByteArray bytes(t.tile_data().data(), qsizetype(t.tile_data().size()));
                    if (decodes(bytes)) {
                        auto tile = std::const_pointer_cast<GMSTile>(makeTile(r->coords(), bytes, version, now));
                        tile->dataVersion = _dataVersion;
                        tile->majorEpoch = _majorEpoch;
                        tile->mode = mode;
                        answers.insert(c, tile);
                    } else {
                        answers.insert(c, nullptr);
                    }
                } else if (!version.isEmpty() && r->cachedTile()) {
                    // The copy in hand is still current: only its validation time moves on.
                    const GMSTilePtr cached = r->cachedTile();
                    auto tile = std::const_pointer_cast<GMSTile>(makeTile(r->coords(), cached->data, version, now));
                    tile->dataVersion = _dataVersion;
                    tile->majorEpoch = _majorEpoch;
                    tile->mode = mode;
                    answers.insert(c, tile);
                    refreshedOnly.insert(c, true);
                } else {
                    answers.insert(c, nullptr);
                }
            }
            for (const auto& r : requests) {
                if (!takeInFlight(r->coords(), r))
                    continue;  // failed meanwhile
                const GMSTileCoords c(r->coords().zoom(), r->coords().x(), r->coords().y());
                if (r->forcedToFail()) {
                    done.push_back(completion(r, kGMSTileStatusFailed, nullptr));
                    continue;
                }
                const auto it = answers.find(c);
                if (it == answers.end() || !it.value()) {
                    if (_memCache)
                        _memCache->markKeyAsNotFound(r->coords());
                    done.push_back(completion(r, kGMSTileStatusFailed, nullptr));
                    continue;
                }
                const GMSTilePtr tile = it.value();
                if (_memCache && r->aggregateFetchType() == 1)
                    _memCache->setObject(tile, r->coords());
                done.push_back(completion(r, kGMSTileStatusFromNetwork, tile));
                GMSCacheableTileData item;
                item.coords = cacheKey(r->coords());
                item.validationTime = now;
                item.versionID = tile->versionID;
                item.data = tile->data;
                item.isEmptyCacheMarker = refreshedOnly.value(c, false);
                toStore.push_back(item);
            }
        }
    }
    if (_tileDataCache && !toStore.isEmpty())
        _tileDataCache->storeCacheableTileDatas(toStore);
    runAll(done);
}

int GMSDASHTileService::shouldRequestUpdate(const GMSTile& tile, int fetchType) const
{
    QMutexLocker l(&m_monitor);
    const qint64 now = m_clock();
    if (tile.isTileStoreTile)
        return kGMSTileUpdateTileStore;
    if (tile.expirationState && tile.expirationState->hasExpiredForClock(now, m_expirations))
        return kGMSTileUpdateExpired;
    if (m_directToPaint && _majorEpoch != -1 && tile.majorEpoch != -1 && tile.majorEpoch != _majorEpoch)
        return kGMSTileUpdateMajorEpoch;
    if (!m_directToPaint && _dataVersion != -1 && tile.dataVersion != -1 && tile.dataVersion != _dataVersion)
        return kGMSTileUpdateDataVersion;
    if (tile.paintExperiments != m_paintExperiments)
        return kGMSTileUpdatePaintExperiments;
    if (tile.legalCountry != m_legalCountry)
        return kGMSTileUpdateLegalCountry;
    if (fetchType == 1 && tile.expirationState && tile.expirationState->hasPerTileExpiredForClock(now, m_expirations))
        return kGMSTileUpdatePerTileExpired;
    // Offline tiles are kept a long time: their epoch must still fit the
    // style tables in force.
    if (_offlineTileDataCache && tile.majorEpoch != -1 && m_isTileEpochStale && m_isTileEpochStale(tile))
        return kGMSTileUpdateEpochStale;
    return kGMSTileUpdateNone;
}

void GMSDASHTileService::cancelCallback(const GMSTileCoords& coords, const void* target)
{
    auto self = shared_from_this();
    hop([self, coords, target] {
        QMutexLocker l(&self->m_monitor);
        if (auto r = self->_requestsInFlight.value(coords))
            r->cancelCallbackForTarget(target);
        if (auto r = self->_cacheRequestsInFlight.value(coords))
            r->cancelCallbackForTarget(target);
    });
}

void GMSDASHTileService::removeTile(const GMSTileCoords& coords)
{
    auto self = shared_from_this();
    hop([self, coords] {
        if (self->_memCache)
            self->_memCache->removeObjectForKey(coords);
        if (self->_tileDataCache)
            self->_tileDataCache->deleteTileWithCoords(cacheKey(coords));
    });
}

void GMSDASHTileService::failAllInFlightRequests()
{
    auto self = shared_from_this();
    hop([self] {
        Completions done;
        {
            QMutexLocker l(&self->m_monitor);
            for (const auto& chain : std::as_const(self->_requestsInFlight))
                done.push_back(completion(chain, kGMSTileStatusFailed, nullptr));
            for (const auto& chain : std::as_const(self->_cacheRequestsInFlight))
                done.push_back(completion(chain, kGMSTileStatusFailed, nullptr));
            self->_requestsInFlight.clear();
            self->_cacheRequestsInFlight.clear();
        }
        runAll(done);
    });
}

bool GMSDASHTileService::hasRequestsInFlight() const
{
    QMutexLocker l(&m_monitor);
    return !_requestsInFlight.isEmpty() || !_cacheRequestsInFlight.isEmpty();
}

void GMSDASHTileService::deleteTileMemCaches()
{
    if (_memCache)
        _memCache->removeAllObjects();
}

void GMSDASHTileService::deleteTileCaches()
{
    deleteTileMemCaches();
    if (_tileDataCache)
        _tileDataCache->deleteTileDataCacheWithCompletionHandler();
}

void GMSDASHTileService::invalidateTileEpochsInCachesWithCompletionHandler(std::function<void(bool)> handler)
{
    if (_tileDataCache)
        _tileDataCache->invalidateTileEpochsInCachesWithCompletionHandler(m_workQueue.data(), std::move(handler));
    else if (handler)
        hop([handler] { handler(true); });
}

void GMSDASHTileService::setTileTypeExpirations(const GMSTileTypeExpirations& expirations)
{
    {
        QMutexLocker l(&m_monitor);
        m_expirations = expirations;
    }
    if (_tileDataCache)
        _tileDataCache->setExpirationPeriodMS(expirations.expirationPeriodMSForTileType(m_options.tileType));
}

GMSTileTypeExpirations GMSDASHTileService::tileTypeExpirations() const
{
    QMutexLocker l(&m_monitor);
    return m_expirations;
}

void GMSDASHTileService::verifyDiskCacheServerSchemaVersion(int version)
{
    if (!_tileDataCache)
        return;
    const QString key = QStringLiteral("ServerSchemaVersion");
    const QVariant stored = _tileDataCache->propertyForKey(key);
    if (stored.isValid() && stored.toInt() != version)
        deleteTileCaches();
    _tileDataCache->setProperty(version, key);
}

void GMSDASHTileService::updateLocale(const QString& locale)
{
    if (!_tileDataCache)
        return;
    const QString key = QStringLiteral("KrotraLocale");
    const QVariant stored = _tileDataCache->propertyForKey(key);
    if (stored.isValid() && stored.toString() != locale)
        _tileDataCache->deleteTileDataCacheWithCompletionHandler();
    _tileDataCache->setProperty(locale, key);
}

void GMSDASHTileService::updateLegalCountry(const QString& country)
{
    {
        QMutexLocker l(&m_monitor);
        m_legalCountry = country;
    }
    if (!_tileDataCache)
        return;
    const QString key = QStringLiteral("KrotraLegalCountry");
    const QVariant stored = _tileDataCache->propertyForKey(key);
    if (stored.isValid() && stored.toString() != country) {
        deleteTileMemCaches();
        _tileDataCache->deleteTileDataCacheWithCompletionHandler();
    }
    _tileDataCache->setProperty(country, key);
}

void GMSDASHTileService::setDirectToPaint(bool on)
{
    QMutexLocker l(&m_monitor);
    m_directToPaint = on;
}

void GMSDASHTileService::setPaintServer(const QUrl& paintServerBaseURL, const QByteArray& requestSigningKey)
{
    const QUrl url = GMSPaintService::resolvedPaintServerURL(m_options.dashEndpointURL, paintServerBaseURL);
    if (!paintServerBaseURL.isEmpty() && url.isEmpty())
        qCWarning(lcTiles, "paint route off: the paint server URL \"%s\" is relative and there is no endpoint to "
                           "take it from",
                  qUtf8Printable(paintServerBaseURL.toString()));
    QMutexLocker l(&m_monitor);
    if (url.isEmpty() || requestSigningKey.isEmpty()) {
        m_paintService.reset();
        return;
    }
    if (m_paintService && m_paintService->paintServerBaseURL() == url &&
        m_paintService->requestSigningKey() == requestSigningKey)
        return;
    // One transport (and its thread) for every paint server this service has.
    if (!m_paintTransport)
        m_paintTransport = std::make_shared<GMSPaintHttpTransport>();
    m_paintService = std::make_shared<GMSPaintService>(url, requestSigningKey, m_paintTransport);
}

bool GMSDASHTileService::usesPaintRouteLocked() const
{
    return m_directToPaint && m_paintService && m_options.tileType.paintTileType >= 0;
}

bool GMSDASHTileService::usesPaintRoute() const
{
    QMutexLocker l(&m_monitor);
    return usesPaintRouteLocked();
}

std::shared_ptr<GMSPaintService> GMSDASHTileService::paintService() const
{
    QMutexLocker l(&m_monitor);
    return m_paintService;
}

void GMSDASHTileService::setPaintTransport(std::shared_ptr<GMSPaintTransport> transport)
{
    QMutexLocker l(&m_monitor);
    m_paintTransport = std::move(transport);
    if (m_paintService)
        m_paintService = std::make_shared<GMSPaintService>(m_paintService->paintServerBaseURL(),
                                                           m_paintService->requestSigningKey(), m_paintTransport);
}

void GMSDASHTileService::setScheduler(Scheduler scheduler)
{
    QMutexLocker l(&m_monitor);
    m_scheduler = std::move(scheduler);
}

void GMSDASHTileService::setOfflineTileDataCache(GMSTileDataCache* cache)
{
    QMutexLocker l(&m_monitor);
    _offlineTileDataCache = cache;
}

void GMSDASHTileService::setTileEpochStalenessCheck(EpochStalenessCheck isTileEpochStale)
{
    QMutexLocker l(&m_monitor);
    m_isTileEpochStale = std::move(isTileEpochStale);
}

void GMSDASHTileService::setPaintExperiments(const QString& experiments)
{
    QMutexLocker l(&m_monitor);
    m_paintExperiments = experiments;
}

int GMSDASHTileService::dataVersion() const
{
    QMutexLocker l(&m_monitor);
    return _dataVersion;
}

int GMSDASHTileService::majorEpoch() const
{
    QMutexLocker l(&m_monitor);
    return _majorEpoch;
}

void GMSDASHTileService::updateMajorEpoch(int epoch)
{
    QMutexLocker l(&m_monitor);
    if (epoch == -1 || epoch == _majorEpoch)
        return;
    _majorEpoch = epoch;
    if (_tileDataCache)
        _tileDataCache->setProperty(epoch, QStringLiteral("PaintMajorEpoch"));
}

void GMSDASHTileService::reserveSetInMemCache(const QSet<GMSTileCoords>& coords, const QString& client)
{
}

void GMSDASHTileService::cancelReserveSetInMemCache(const QString& client)
{
}

void GMSDASHTileService::reserveSetInDataCache(const QSet<GMSTileCoords>& coords, const QString& client)
{
}

void GMSDASHTileService::cancelReserveSetInDataCache(const QString& client)
{
}
