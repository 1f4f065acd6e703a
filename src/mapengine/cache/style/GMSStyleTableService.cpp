#include "GMSStyleTableService.h"

#include "GMSCacheLog.h"
#include "GMSRawDeflate.h"

namespace {
const QString kActiveEpochKey = QStringLiteral("ActiveEpochKey");
}  // namespace

GMSStyleTableService::GMSStyleTableService(std::shared_ptr<GMSStyleTableFetcher> fetcherService,
                                           const GMSCacheStorageDescriptor& cacheStorageDescriptor,
                                           QList<int> mapStyles,
                                           std::shared_ptr<GMSStyleTableServiceResourceLoader> resourceLoader,
                                           GMSLazyMultiZoomStyleTable::Decoder decoder, const zl::Clock* clock)
    : m_fetcherService(std::move(fetcherService)),
      m_mapStyles(std::move(mapStyles)),
      m_resourceLoader(std::move(resourceLoader)),
      m_decoder(std::move(decoder)),
      m_epochResourcesDiskCache(
          std::make_unique<GMSObjectDataCache>(cacheStorageDescriptor, 0, kEpochResourcesObjectType, clock)),
      m_styleTableDiskCache(
          std::make_unique<GMSObjectDataCache>(cacheStorageDescriptor, 0, kStyleTableObjectType, clock)),
      m_styleTableMemCache(std::size_t(std::max<qsizetype>(1, m_mapStyles.size()))),
      m_workQueue(std::make_unique<zl::SerialQueue>(QStringLiteral("GMSStyleTableService"), zl::SerialQueue::kCacheSpinMicroseconds)) {
    // The epoch in force at the last run, unless one is set before it is read.
    auto guard = m_guard;
    m_epochResourcesDiskCache->loadObjectDataWithName(kActiveEpochKey, nullptr, [this, guard](GMSCachedObjectData d) {
        QMutexLocker g(&guard->lock);
        if (!guard->alive || !d.found) return;
        bool ok = false;
        const qint32 epoch = d.data.toInt(&ok);
        QMutexLocker l(&m_lock);
        if (ok && !m_activeEpochSet) m_activeEpoch = epoch;
    });
}

GMSStyleTableService::~GMSStyleTableService() {
    {
        QMutexLocker g(&m_guard->lock);
        m_guard->alive = false;
    }
    m_workQueue.reset();
    m_styleTableDiskCache.reset();
    m_epochResourcesDiskCache.reset();
}

void GMSStyleTableService::post(std::function<void()> block) {
    QMutexLocker g(&m_guard->lock);
    if (m_guard->alive) m_workQueue->async(std::move(block));
}

// ---- bytes ----------------------------------------------------------------

void GMSStyleTableService::fetchStyleTableData(const QString& url, bool decompressed, int format, QObject* context,
                                               std::function<void(QByteArray)> handler) {
    GMSCallback<QByteArray> done(context, std::move(handler));
    fetchData(url, decompressed, format, [done](QByteArray data) { done(std::move(data)); });
}

void GMSStyleTableService::fetchData(const QString& url, bool decompressed, int format,
                                     std::function<void(QByteArray)> complete) {
    {
        QMutexLocker l(&m_lock);
        auto it = m_inflightDataRequests.find(url);
        const bool fetching = it != m_inflightDataRequests.end();
        if (!fetching) {
            it = m_inflightDataRequests.insert(url, {});
            it->reserve(1);
        }
        it->append(DataRequest{decompressed, format, std::move(complete)});
        if (fetching) return;  // one fetch serves every request for the URL
    }
    auto guard = m_guard;
    m_styleTableDiskCache->loadObjectDataWithName(url, nullptr, [this, guard, url](GMSCachedObjectData d) {
        QMutexLocker g(&guard->lock);
        if (!guard->alive) return;
        m_workQueue->async([this, url, d] {
            if (!d.data.isEmpty())
                completeKey(url, d.data, QByteArray());
            else
                lookUpResourcesOrNetwork(url);
        });
    });
}

void GMSStyleTableService::lookUpResourcesOrNetwork(const QString& url) {
    const QByteArray bundled = m_resourceLoader ? m_resourceLoader->styleTableForURLString(url) : QByteArray();
    if (!bundled.isEmpty()) {
        completeKey(url, compressedDataStoringTableURLString(url, bundled), bundled);
        return;
    }
    requestStyleTable(url, kTries);
}

void GMSStyleTableService::requestStyleTable(const QString& url, int triesRemaining) {
    if (!m_fetcherService) {
        handleServerReply(url, QByteArray());
        return;
    }
    auto guard = m_guard;
    m_fetcherService->fetch(url, kRequestTimeoutMs,
                            [this, guard, url, triesRemaining](const QByteArray& reply, const QString& error) {
                                QMutexLocker g(&guard->lock);
                                if (!guard->alive) return;
                                m_workQueue->async([this, url, triesRemaining, reply, error] {
                                    QByteArray data = reply;
                                    if (!error.isEmpty()) {
                                        qCInfo(lcMapCache, "Error requesting StyleTable (%s): %s",
                                               qUtf8Printable(url), qUtf8Printable(error));
                                        data.clear();
                                    }
                                    // Three tries, one right after the other.
                                    if (!data.isEmpty() || triesRemaining - 1 < 1)
                                        handleServerReply(url, data);
                                    else
                                        requestStyleTable(url, triesRemaining - 1);
                                });
                            });
}

void GMSStyleTableService::handleServerReply(const QString& url, const QByteArray& data) {
    completeKey(url, compressedDataStoringTableURLString(url, data), data);
}

QByteArray GMSStyleTableService::compressedDataStoringTableURLString(const QString& url, const QByteArray& data) {
    if (data.isEmpty()) return {};
    QByteArray compressed = gmsRawDeflate(data);
    if (compressed.isEmpty()) {
        qCInfo(lcMapCache, "Failed to deflate StyleTable");
        return {};
    }
    m_styleTableDiskCache->storeObjectDataWithName(url, QStringLiteral("0"), compressed);
    return compressed;
}

void GMSStyleTableService::completeKey(const QString& url, QByteArray compressed, const QByteArray& data) {
    QList<DataRequest> requests;
    {
        QMutexLocker l(&m_lock);
        requests = m_inflightDataRequests.take(url);
    }
    if (!compressed.isEmpty()) loadedDataForURLString(url);
    QByteArray plain = data;
    bool inflated = false;
    for (const DataRequest& r : requests) {
        if (!r.wantsDecompressed) {
            r.complete(compressed);
            continue;
        }
        if (plain.isEmpty() && !inflated && !compressed.isEmpty()) {
            inflated = true;
            plain = gmsRawInflate(compressed);
            if (plain.isEmpty()) {
                qCInfo(lcMapCache, "Failed to inflate data for %s", qUtf8Printable(url));
                compressed.clear();
            }
        }
        r.complete(plain);
    }
}

// ---- epochs ---------------------------------------------------------------

void GMSStyleTableService::loadedDataForURLString(const QString& url) {
    if (!updatePendingStyleTableURLsForLoadedURL(url)) return;
    qint32 epoch;
    {
        QMutexLocker l(&m_lock);
        epoch = m_activeEpoch;
    }
    emit activeEpochUpdate(epoch);
}

bool GMSStyleTableService::updatePendingStyleTableURLsForLoadedURL(const QString& url) {
    qint32 becomesActive = 0;
    {
        QMutexLocker l(&m_lock);
        if (!m_styleTableURLsPending || !m_styleTableURLsPending->contains(url)) return m_loadingEpoch != 0;
        m_styleTableURLsPending->remove(url);
        // The old epoch stays in force until the last table of the new one is in.
        if (!m_styleTableURLsPending->isEmpty() && m_activeEpoch != 0) return false;
        if (m_styleTableURLsPending->isEmpty()) m_styleTableURLsPending.reset();
        becomesActive = m_loadingEpoch;
    }
    setActiveEpoch(becomesActive);
    return true;
}

qint32 GMSStyleTableService::activeEpoch() const {
    QMutexLocker l(&m_lock);
    return m_activeEpoch;
}

bool GMSStyleTableService::hasActiveEpoch() const {
    QMutexLocker l(&m_lock);
    return m_activeEpoch != 0;
}

void GMSStyleTableService::setActiveEpoch(qint32 epoch) {
    {
        QMutexLocker l(&m_lock);
        m_activeEpochSet = true;
        if (m_activeEpoch == epoch) return;
        m_activeEpoch = epoch;
    }
    writeActiveEpoch(epoch);
}

void GMSStyleTableService::writeActiveEpoch(qint32 epoch) {
    m_epochResourcesDiskCache->storeObjectDataWithName(kActiveEpochKey, QStringLiteral("0"), QByteArray::number(epoch));
}

qint32 GMSStyleTableService::stableActiveEpoch() const {
    QMutexLocker l(&m_lock);
    if (m_loadingEpoch == 0) return m_activeEpoch;
    return m_loadingEpoch == m_activeEpoch ? m_loadingEpoch : 0;
}

bool GMSStyleTableService::isTileEpochStale(bool usesGlobalStyles, qint32 majorEpoch) const {
    if (!usesGlobalStyles) return false;
    const qint32 stable = stableActiveEpoch();
    return stable != 0 && majorEpoch != stable;
}

void GMSStyleTableService::loadEpoch(qint32 epoch, const QList<GMSStyleTableMapping>& mappings) {
    bool complete = false;
    {
        QMutexLocker l(&m_lock);
        m_loadingEpoch = epoch;
        m_epochResources.insert(epoch, GMSStyleTableEpochResources{epoch, mappings});
        // Tables already decoded in this run are in: only the others are pending.
        m_styleTableURLsPending = std::make_unique<QSet<QString>>();
        for (const auto& m : mappings)
            if (!m_styleTableMemCache.get(m.url)) m_styleTableURLsPending->insert(m.url);
        if (m_styleTableURLsPending->isEmpty()) {
            m_styleTableURLsPending.reset();
            complete = m_activeEpoch != epoch;
        }
    }
    if (complete) {
        setActiveEpoch(epoch);
        emit activeEpochUpdate(epoch);
    }
    for (const GMSStyleTableMapping& m : mappings) {
        loadStyleTable(m, nullptr, [epoch, url = m.url](Table t) {
            if (!t) qCInfo(lcMapCache, "A StyleTable fetch/validation failed for epoch %d, %s", epoch, qUtf8Printable(url));
        });
    }
}

// ---- client parameters ----------------------------------------------------

void GMSStyleTableService::setClientParameters(std::shared_ptr<GMSStyleTableClientParameters> clientParameters) {
    QMutexLocker l(&m_lock);
    m_clientParameters = std::move(clientParameters);
}

void GMSStyleTableService::clientParametersNotification(const QList<int>& changedGroupTypes) {
    if (!changedGroupTypes.contains(kStyleTablesParameterGroup)) return;
    post([this] { loadCurrentStyleTables(); });
}

void GMSStyleTableService::loadCurrentStyleTables() {
    std::shared_ptr<GMSStyleTableClientParameters> params;
    {
        QMutexLocker l(&m_lock);
        params = m_clientParameters;
    }
    if (!params) return;
    const GMSStyleTableEpochResources resources = params->currentEpochResources();
    if (resources.epoch == 0 || resources.styleTableMappingArray.isEmpty()) return;
    storeEpochResources(resources);
    loadEpoch(resources.epoch, resources.styleTableMappingArray);
}

void GMSStyleTableService::storeEpochResources(const GMSStyleTableEpochResources& resources) {
    const qint32 epoch = resources.epoch;
    m_epochResourcesDiskCache->storeObjectDataWithName(
        GMSStyleTableEpochResources::cacheNameForEpoch(epoch), QStringLiteral("0"), resources.serialized(), nullptr,
        [epoch](bool ok) {
            if (!ok) qCInfo(lcMapCache, "Failed to store EpochResources %d", epoch);
        });
}

void GMSStyleTableService::loadStyleTableForMapStyle(int mapStyle, qint32 epoch, QObject* context,
                                                     std::function<void(Table)> handler) {
    GMSCallback<Table> done(context, std::move(handler));
    auto complete = [done](Table t) { done(std::move(t)); };
    {
        QMutexLocker l(&m_lock);
        auto known = m_epochResources.constFind(epoch);
        if (known != m_epochResources.cend()) {
            const GMSStyleTableEpochResources resources = *known;
            l.unlock();
            fetchStyleTableWithEpochResources(resources, epoch, mapStyle, complete);
            return;
        }
    }
    // An epoch of an earlier run: its resources may be on disk; otherwise
    // the client parameters in hand are all there is.
    auto guard = m_guard;
    m_epochResourcesDiskCache->loadObjectDataWithName(
        GMSStyleTableEpochResources::cacheNameForEpoch(epoch), nullptr,
        [this, guard, epoch, mapStyle, complete](GMSCachedObjectData d) {
            QMutexLocker g(&guard->lock);
            if (!guard->alive) return;
            m_workQueue->async([this, epoch, mapStyle, complete, d] {
                auto resources = d.found ? GMSStyleTableEpochResources::parse(d.data) : std::nullopt;
                std::shared_ptr<GMSStyleTableClientParameters> params;
                {
                    QMutexLocker l(&m_lock);
                    params = m_clientParameters;
                    if (resources && resources->epoch == epoch) m_epochResources.insert(epoch, *resources);
                }
                if (!resources || resources->epoch != epoch)
                    resources = params ? params->currentEpochResources() : GMSStyleTableEpochResources{};
                fetchStyleTableWithEpochResources(*resources, epoch, mapStyle, complete);
            });
        });
}

void GMSStyleTableService::fetchStyleTableWithEpochResources(const GMSStyleTableEpochResources& resources,
                                                             qint32 epoch, int mapStyle,
                                                             std::function<void(Table)> complete) {
    if (resources.epoch != epoch) {
        // A newer epoch than the parameters know: they are out of date.
        std::shared_ptr<GMSStyleTableClientParameters> params;
        {
            QMutexLocker l(&m_lock);
            params = m_clientParameters;
        }
        if (params) params->refetchClientParametersExpectingPaintEpoch(epoch);
        complete(nullptr);
        return;
    }
    const auto mapping = resources.mappingForMapStyle(mapStyle);
    if (!mapping) {
        qCInfo(lcMapCache, "A StyleTable fetch/validation failed for epoch %d, %s", epoch,
               qUtf8Printable(QStringLiteral("no style table for map style %1").arg(mapStyle)));
        complete(nullptr);
        return;
    }
    loadStyleTable(*mapping, nullptr, [epoch, url = mapping->url, complete](Table t) {
        if (!t) qCInfo(lcMapCache, "A StyleTable fetch/validation failed for epoch %d, %s", epoch, qUtf8Printable(url));
        complete(std::move(t));
    });
}

// ---- tables ---------------------------------------------------------------

void GMSStyleTableService::loadStyleTable(const GMSStyleTableMapping& mapping, QObject* context,
                                          std::function<void(Table)> handler) {
    GMSCallback<Table> done(context, std::move(handler));
    const QString key = mapping.url;
    {
        QMutexLocker l(&m_lock);
        if (const Table* hit = m_styleTableMemCache.get(key)) {
            const Table table = *hit;  // the entry may go once unlocked
            l.unlock();
            done(table);
            return;
        }
        auto it = m_inflightTableRequests.find(key);
        const bool loading = it != m_inflightTableRequests.end();
        if (!loading) it = m_inflightTableRequests.insert(key, {});
        it->append([done](Table t) { done(std::move(t)); });
        if (loading) return;
    }
    fetchData(mapping.url, true, mapping.styleTableFormat,
              [this, mapping](QByteArray data) { handleFetchedStyleTable(mapping, data); });
}

void GMSStyleTableService::handleFetchedStyleTable(const GMSStyleTableMapping& mapping, const QByteArray& fetched) {
    QByteArray data = fetched;
    if (data.isEmpty() && m_resourceLoader) data = m_resourceLoader->styleTableForURLString(mapping.url);
    Table table;
    if (!data.isEmpty()) {
        try {
            table = m_decoder(data, mapping.styleTableFormat);
        } catch (const std::exception& e) {
            // A broken table must not be met again.
            qCInfo(lcMapCache, "style table %s does not decode: %s", qUtf8Printable(mapping.url), e.what());
            m_styleTableDiskCache->deleteObjectDataWithName(mapping.url);
            table.reset();
        } catch (...) {
            m_styleTableDiskCache->deleteObjectDataWithName(mapping.url);
            table.reset();
        }
    }
    completeKey(mapping.url, table);
}

void GMSStyleTableService::completeKey(const QString& key, const Table& table) {
    QList<std::function<void(Table)>> waiting;
    {
        QMutexLocker l(&m_lock);
        if (table) m_styleTableMemCache.put(key, table);
        waiting = m_inflightTableRequests.take(key);
    }
    for (const auto& w : waiting) w(table);
}

void GMSStyleTableService::clearCachesWithCompletionHandler(QObject* context, std::function<void()> handler) {
    {
        QMutexLocker l(&m_lock);
        m_styleTableMemCache.clear();
    }
    GMSCallback<> done(context, std::move(handler));
    m_styleTableDiskCache->deleteObjectDataCacheWithCompletionHandler(nullptr, [done](bool) { done(); });
}
