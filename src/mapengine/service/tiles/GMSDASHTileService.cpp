#include "GMSDASHTileService.h"

#include "GMSDASHBatchedTileRequest.h"
#include "TileZoomShift.h"
#include "maptile.pb.h"

#include <QLoggingCategory>
#include <QThread>

using namespace zenloft::wire;

namespace {
Q_LOGGING_CATEGORY(lcTiles, "zenloft.tiles")

// Coordinates as the server answers them: without request parameters.
GMSTileCoords plain(const GMSTileCoords& c) { return GMSTileCoords(c.zoom(), c.x(), c.y()); }
}  // namespace

std::shared_ptr<GMSDASHTileService> GMSDASHTileService::create(GMSDASHTileServiceOptions options, QObject* workQueue,
                                                               Sender sender, const zl::Clock* clock,
                                                               GMSTileDataCache* tileDataCache)
{
    return std::shared_ptr<GMSDASHTileService>(
        new GMSDASHTileService(std::move(options), workQueue, std::move(sender), clock, tileDataCache));
}

GMSDASHTileService::GMSDASHTileService(GMSDASHTileServiceOptions options, QObject* workQueue, Sender sender,
                                       const zl::Clock* clock, GMSTileDataCache* cache)
    : m_options(std::move(options)),
      m_workQueue(workQueue),
      m_zoomShift(zoomShiftForTileEdgeLength(m_options.tileEdgeLength)),
      m_freshness(m_options.tileType, clock),
      m_batcher(m_options, workQueue, std::move(sender), clock),
      m_disk(m_options.tileType.isStorable ? cache : nullptr, workQueue),
      m_memCache(MemCache::create(std::size_t(memCacheSizeForTileType(m_options.tileType, m_options.largestDeviceClass)),
                                  std::make_shared<GMSTile>()))
{
}

GMSDASHTileService::~GMSDASHTileService() = default;

int GMSDASHTileService::zoomShiftForTileEdgeLength(int edge) { return zoomShiftForTileEdge(edge); }

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
    if (m_workQueue)
        QMetaObject::invokeMethod(m_workQueue.data(), std::move(work), Qt::QueuedConnection);
}

void GMSDASHTileService::onQueue(std::function<void(GMSDASHTileService&)> work)
{
    std::weak_ptr<GMSDASHTileService> weak = weak_from_this();
    auto run = [weak, work = std::move(work)] {
        if (auto self = weak.lock())
            work(*self);
    };
    if (m_workQueue && QThread::currentThread() == m_workQueue->thread())
        run();
    else
        hop(std::move(run));
}

void GMSDASHTileService::startRequestQueue()
{
    onQueue([](GMSDASHTileService& self) {
        if (self.m_started)
            return;
        self.m_started = true;
        for (const auto& request : std::exchange(self.m_waitingForStart, {}))
            self.startRequest(request);
    });
}

zl::RequestHandle GMSDASHTileService::requestTile(const GMSTileCoords& coords, GMSTileCallback callback)
{
    auto request = std::make_shared<GMSTileRequest>(coords, std::move(callback));
    std::weak_ptr<GMSDASHTileService> weak = weak_from_this();
    hop([weak, request] {
        if (auto self = weak.lock())
            self->startRequest(request);
    });
    return zl::RequestHandle([weakRequest = std::weak_ptr<GMSTileRequest>(request)] {
        if (auto r = weakRequest.lock())
            r->cancel();
    });
}

void GMSDASHTileService::startRequest(const GMSTileRequestPtr& request)
{
    if (!m_started) {
        m_waitingForStart.push_back(request);
        return;
    }
    if (request->isCancelled())
        return;  // let go before its turn came: nothing to fetch for it
    const GMSTileCoords& coords = request->coords();
    GMSTileRequestPtr head = m_inFlight.value(coords);
    const bool duplicate = bool(head);
    if (duplicate)
        head->addDuplicate(request);
    else
        m_inFlight.insert(coords, head = request);

    if (auto hit = m_memCache->objectForKey(coords)) {
        if (m_memCache->isNotFoundMarker(*hit)) {
            m_inFlight.remove(coords);
            head->completeChain(kGMSTileStatusNotFound, nullptr);
            return;
        }
        const int reason = m_freshness.reasonToUpdate(**hit);
        // An expired tile is not shown at all, but its version may still
        // save the download.
        request->setCachedTile(*hit);
        if (reason != kGMSTileUpdateExpired) {
            const bool final = reason == kGMSTileUpdateNone;
            if (final && !duplicate)
                m_inFlight.remove(coords);
            // A new request is the end of its chain: only it is told.
            request->completeChain(final ? kGMSTileStatusFromNetwork : kGMSTileStatusCachedUpdateFollows, *hit);
            if (final)
                return;
        }
    }
    if (duplicate)
        return;  // the head's fetch answers it
    std::weak_ptr<GMSDASHTileService> weak = weak_from_this();
    m_disk.load(coords, [weak, request](const GMSCachedTileData& loaded) {
        if (auto self = weak.lock())
            self->diskLoaded(request, loaded);
    });
}

void GMSDASHTileService::diskLoaded(const GMSTileRequestPtr& request, const GMSCachedTileData& loaded)
{
    const GMSTileCoords& coords = request->coords();
    if (m_inFlight.value(coords) != request)
        return;  // failed or answered meanwhile
    if (loaded.found) {
        GMSTilePtr tile = m_freshness.makeTile(coords, loaded.data, loaded.versionID, loaded.validationTime, false);
        const int reason = m_freshness.reasonToUpdate(*tile);
        request->setCachedTile(tile);  // its version may spare the download
        if (reason == kGMSTileUpdateNone) {
            m_inFlight.remove(coords);
            m_memCache->setObject(tile, coords);
            request->completeChain(kGMSTileStatusFromNetwork, tile);
            return;
        }
        if (reason != kGMSTileUpdateExpired)
            request->completeChain(kGMSTileStatusCachedUpdateFollows, tile);
    }
    sendToServer(request);
}

void GMSDASHTileService::sendToServer(const GMSTileRequestPtr& request) { m_batcher.add(request, weak_from_this()); }

GMSTileRequestPtr GMSDASHTileService::takeInFlight(const GMSTileRequestPtr& expected)
{
    auto it = m_inFlight.find(expected->coords());
    if (it == m_inFlight.end() || it.value() != expected)
        return {};
    m_inFlight.erase(it);
    return expected;
}

bool GMSDASHTileService::decodes(const QByteArray& data) const
{
    if (m_options.tileType.dataType != 0)
        return !data.isEmpty();
    // Image tiles are PNG, JPEG or WebP; anything else cannot be drawn.
    return data.startsWith("\x89PNG\r\n\x1a\n") || data.startsWith("\xff\xd8\xff") ||
           (data.startsWith("RIFF") && data.mid(8, 4) == "WEBP");
}

void GMSDASHTileService::handleServerResponse(const std::shared_ptr<GMSDASHBatchedTileRequest>& batch,
                                              std::shared_ptr<const GMSx_GMMMapTileResponseProto> response,
                                              std::optional<GMSDASHError> error)
{
    m_batcher.finished(batch.get());
    batch->close();
    const auto requests = batch->tileRequests();
    auto failAll = [&] {
        // The caches stay as they are.
        for (const auto& r : requests)
            if (takeInFlight(r))
                r->completeChain(kGMSTileStatusFailed, nullptr);
    };
    if (error || !response)
        return failAll();
    if (response->header().response_code() != 0) {
        qCInfo(lcTiles, "Request failed: %d", int(response->header().response_code()));
        return failAll();
    }
    if (response->header().has_tile_edition()) {
        const int version = int(response->header().tile_edition());
        if (m_freshness.setDataVersion(version))
            m_disk.setProperty(QStringLiteral("TileDataVersion"), version);
    }
    const qint64 now = m_freshness.nowMs();
    QHash<GMSTileCoords, GMSTileRequestPtr> byCoords;
    for (const auto& r : requests)
        byCoords.insert(plain(r->coords()), r);
    QHash<GMSTileCoords, GMSTilePtr> answers;  // null: failure
    QSet<GMSTileCoords> refreshedOnly;
    for (const auto& t : response->map_tile_array()) {
        const auto& mt = t.map_tile();
        const GMSTileCoords c(mt.zoom_level() - m_zoomShift, mt.tile_index_x(), mt.tile_index_y());
        const GMSTileRequestPtr r = byCoords.value(c);
        if (!r) {
            qCInfo(lcTiles, "Unexpected tile in response: %s", qUtf8Printable(c.description()));
            continue;
        }
        const QString version = QString::fromStdString(mt.version_id().version_id());
        std::shared_ptr<GMSTile> tile;
        if (t.has_tile_data() && !t.tile_data().empty()) {
            QByteArray bytes(t.tile_data().data(), qsizetype(t.tile_data().size()));
            if (decodes(bytes))
                tile = m_freshness.makeTile(r->coords(), bytes, version, now, true);
        } else if (!version.isEmpty() && r->cachedTile()) {
            // The copy in hand is still current: only its validation time moves on.
            tile = m_freshness.makeTile(r->coords(), r->cachedTile()->data, version, now, true);
            refreshedOnly.insert(c);
        }
        if (tile)
            tile->mode = batch->mode();
        answers.insert(c, tile);
    }
    std::vector<std::pair<GMSTileRequestPtr, GMSTilePtr>> done;
    QList<GMSCacheableTileData> toStore;
    for (const auto& r : requests) {
        if (!takeInFlight(r))
            continue;  // failed meanwhile
        const GMSTileCoords c = plain(r->coords());
        const GMSTilePtr tile = answers.value(c);
        if (!tile)
            m_memCache->markKeyAsNotFound(r->coords());
        else
            m_memCache->setObject(tile, r->coords());
        done.emplace_back(r, tile);
        if (!tile)
            continue;
        GMSCacheableTileData item;
        item.coords = GMSTileDiskStage::cacheKey(r->coords());
        item.validationTime = now;
        item.versionID = tile->versionID;
        item.data = tile->data;
        item.isEmptyCacheMarker = refreshedOnly.contains(c);
        toStore.push_back(item);
    }
    m_disk.store(toStore);
    for (const auto& [r, tile] : done)
        r->completeChain(tile ? kGMSTileStatusFromNetwork : kGMSTileStatusFailed, tile);
}

void GMSDASHTileService::emptyCaches(bool memoryToo)
{
    if (memoryToo)
        m_memCache->removeAllObjects();
    m_disk.clear();
}

void GMSDASHTileService::setTileTypeExpirations(const GMSTileTypeExpirations& expirations)
{
    m_freshness.setExpirations(expirations);
    const qint64 period = expirations.expirationPeriodMSForTileType(m_options.tileType);
    onQueue([period](GMSDASHTileService& self) { self.m_disk.setExpirationPeriodMS(period); });
}

void GMSDASHTileService::storeSetting(const QString& key, const QVariant& value, bool memoryToo)
{
    onQueue([key, value, memoryToo](GMSDASHTileService& self) {
        // Tiles made under another value of the setting no longer fit.
        if (self.m_disk.holdsOther(key, value))
            self.emptyCaches(memoryToo);
        self.m_disk.setProperty(key, value);
    });
}

void GMSDASHTileService::verifyDiskCacheServerSchemaVersion(int version)
{
    storeSetting(QStringLiteral("ServerSchemaVersion"), version, true);
}

void GMSDASHTileService::updateLocale(const QString& locale)
{
    storeSetting(QStringLiteral("KrotraLocale"), locale, false);
}

void GMSDASHTileService::updateLegalCountry(const QString& country)
{
    m_freshness.setLegalCountry(country);
    storeSetting(QStringLiteral("KrotraLegalCountry"), country, true);
}

void GMSDASHTileService::updateMajorEpoch(int epoch)
{
    if (m_freshness.setMajorEpoch(epoch))
        onQueue([epoch](GMSDASHTileService& self) { self.m_disk.setProperty(QStringLiteral("PaintMajorEpoch"), epoch); });
}

void GMSDASHTileService::setDirectToPaint(bool on)
{
    m_freshness.setDirectToPaint(on);
    m_batcher.setDirectToPaint(on);
}

void GMSDASHTileService::setPaintServer(const QUrl& paintServerBaseURL, const QByteArray& requestSigningKey)
{
    m_batcher.setPaintServer(paintServerBaseURL, requestSigningKey);
}

void GMSDASHTileService::setPaintTransport(std::shared_ptr<GMSPaintTransport> transport)
{
    m_batcher.setPaintTransport(std::move(transport));
}

void GMSDASHTileService::setTileEpochStalenessCheck(EpochStalenessCheck check)
{
    m_freshness.setTileEpochStalenessCheck(std::move(check));
}
