#pragma once

#include "GMSCallback.h"
#include "LruCache.h"
#include "SerialQueue.h"
#include "GMSCacheStorageDescriptor.h"
#include "GMSLazyMultiZoomStyleTable.h"
#include "GMSObjectDataCache.h"
#include "GMSStyleTableEpochResources.h"
#include "GMSStyleTableFetcher.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QSet>

#include <memory>

// Gets the style tables of the map styles: from memory, from the disk cache
// (raw deflate, by URL text), from the application's resources, or by HTTP
// with three tries; many requests for one URL make one fetch. Keeps the
// active paint epoch, which changes only once every table of a new epoch is
// in. Handlers go to their context's thread (without one: the thread that
// completed the work).
class GMSStyleTableService : public QObject {
    Q_OBJECT
public:
    using Table = std::shared_ptr<GMSLazyMultiZoomStyleTable>;

    // Object types of the service's two caches in the "Objects" store.
    static constexpr int kStyleTableObjectType = 1;
    static constexpr int kEpochResourcesObjectType = 2;
    static constexpr int kTries = 3;
    static constexpr int kRequestTimeoutMs = 90000;
    // The client parameters' group of the style tables.
    static constexpr int kStyleTablesParameterGroup = 37;

    GMSStyleTableService(std::shared_ptr<GMSStyleTableFetcher> fetcherService,
                         const GMSCacheStorageDescriptor& cacheStorageDescriptor, QList<int> mapStyles,
                         std::shared_ptr<GMSStyleTableServiceResourceLoader> resourceLoader = {},
                         GMSLazyMultiZoomStyleTable::Decoder decoder = &GMSLazyMultiZoomStyleTable::tableFromData,
                         const zl::Clock* clock = nullptr);
    ~GMSStyleTableService() override;

    // The bytes of a table, plain or as stored (raw deflate); empty when
    // they can't be had.
    void fetchStyleTableData(const QString& url, bool decompressed, int format, QObject* context,
                             std::function<void(QByteArray)> handler);
    // The decoded table of a mapping entry; nullptr when it can't be had.
    void loadStyleTable(const GMSStyleTableMapping& mapping, QObject* context, std::function<void(Table)> handler);
    // The decoded table of a map style in a paint epoch, by the epoch's
    // resources (from memory, the epoch resources cache, or the client
    // parameters); nullptr when it can't be had.
    void loadStyleTableForMapStyle(int mapStyle, qint32 epoch, QObject* context, std::function<void(Table)> handler);
    // Starts loading the tables of a paint epoch beside the active one.
    void loadEpoch(qint32 epoch, const QList<GMSStyleTableMapping>& mappings);

    // Where the paint epoch and its tables come from; set before the first
    // notification.
    void setClientParameters(std::shared_ptr<GMSStyleTableClientParameters> clientParameters);
    // kGMSClientParametersUpdated: a change of the style tables group (37)
    // loads the current epoch's tables on the work queue.
    void clientParametersNotification(const QList<int>& changedGroupTypes);

    qint32 activeEpoch() const;
    bool hasActiveEpoch() const;
    void setActiveEpoch(qint32 epoch);
    qint32 stableActiveEpoch() const;
    bool isTileEpochStale(bool usesGlobalStyles, qint32 majorEpoch) const;

    void clearCachesWithCompletionHandler(QObject* context = nullptr, std::function<void()> handler = {});

    GMSObjectDataCache& styleTableDiskCache() { return *m_styleTableDiskCache; }
    GMSObjectDataCache& epochResourcesDiskCache() { return *m_epochResourcesDiskCache; }

signals:
    // GMSStyleTableServiceActiveEpochUpdate: a new epoch became active.
    void activeEpochUpdate(qint32 epoch);

private:
    struct DataRequest {
        bool wantsDecompressed = false;
        int format = 0;
        std::function<void(QByteArray)> complete;  // runs on the work thread
    };

    void loadCurrentStyleTables();
    void fetchStyleTableWithEpochResources(const GMSStyleTableEpochResources& resources, qint32 epoch, int mapStyle,
                                           std::function<void(Table)> complete);
    void storeEpochResources(const GMSStyleTableEpochResources& resources);
    void fetchData(const QString& url, bool decompressed, int format, std::function<void(QByteArray)> complete);
    void lookUpResourcesOrNetwork(const QString& url);
    void requestStyleTable(const QString& url, int triesRemaining);
    void handleServerReply(const QString& url, const QByteArray& data);
    QByteArray compressedDataStoringTableURLString(const QString& url, const QByteArray& data);
    void completeKey(const QString& url, QByteArray compressed, const QByteArray& data);
    void loadedDataForURLString(const QString& url);
    bool updatePendingStyleTableURLsForLoadedURL(const QString& url);
    void handleFetchedStyleTable(const GMSStyleTableMapping& mapping, const QByteArray& data);
    void completeKey(const QString& key, const Table& table);
    void writeActiveEpoch(qint32 epoch);
    // Runs the block on the work thread, unless the service is going away.
    void post(std::function<void()> block);

    struct Guard {
        QMutex lock;
        bool alive = true;
    };
    std::shared_ptr<Guard> m_guard = std::make_shared<Guard>();

    std::shared_ptr<GMSStyleTableFetcher> m_fetcherService;
    std::shared_ptr<GMSStyleTableClientParameters> m_clientParameters;
    QList<int> m_mapStyles;
    std::shared_ptr<GMSStyleTableServiceResourceLoader> m_resourceLoader;
    GMSLazyMultiZoomStyleTable::Decoder m_decoder;
    std::unique_ptr<GMSObjectDataCache> m_epochResourcesDiskCache;
    std::unique_ptr<GMSObjectDataCache> m_styleTableDiskCache;

    mutable QMutex m_lock;  // the monitor: never held across a completion
    zl::LruCache<QString, Table> m_styleTableMemCache;  // one entry per map style
    QHash<QString, QList<std::function<void(Table)>>> m_inflightTableRequests;
    QHash<QString, QList<DataRequest>> m_inflightDataRequests;
    qint32 m_loadingEpoch = 0;
    std::unique_ptr<QSet<QString>> m_styleTableURLsPending;
    qint32 m_activeEpoch = 0;
    bool m_activeEpochSet = false;
    QHash<qint32, GMSStyleTableEpochResources> m_epochResources;  // the epochs loaded in this run

    std::unique_ptr<zl::SerialQueue> m_workQueue;  // last: drained first
};
