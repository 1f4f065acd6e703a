#pragma once

#include "Clock.h"

#include "GMSCallback.h"
#include "SerialQueue.h"
#include "GMSCacheStorageDescriptor.h"
#include "GMSObjectDataCacheCore.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

// The disk cache of named objects (style tables, server resources), with the
// same threading as GMSTileDataCache: calls return at once, the store is used
// on the cache's own thread, handlers go to their context's thread (or run
// on the cache's thread without one). Starts by itself; it is cleared when
// kGMSObjectDataCacheDeleteCaches is posted.
class GMSObjectDataCache {
public:
    // Caches of different objectType share a store without meeting there.
    // maxCount 0: no limit.
    // Stored objects are dated by the clock (the machine's when null).
    explicit GMSObjectDataCache(GMSCacheStorageDescriptor descriptor, qint64 maxCount = 0, int objectType = 0,
                                const zl::Clock* clock = nullptr);
    ~GMSObjectDataCache();
    GMSObjectDataCache(const GMSObjectDataCache&) = delete;
    GMSObjectDataCache& operator=(const GMSObjectDataCache&) = delete;

    void loadObjectDataWithName(const QString& name, QObject* context,
                                std::function<void(GMSCachedObjectData)> handler);
    void storeObjectDataWithName(const QString& name, const QString& version, const QByteArray& data,
                                 QObject* context = nullptr, std::function<void(bool)> handler = {});
    void storeObjectNamesAndData(const QList<QPair<QString, QByteArray>>& namesAndData, const QString& version,
                                 QObject* context = nullptr, std::function<void(bool)> handler = {});
    void deleteObjectDataWithName(const QString& name, QObject* context = nullptr,
                                  std::function<void(bool)> handler = {});
    void deleteObjectDataWithNames(const QStringList& names, QObject* context = nullptr,
                                   std::function<void(bool)> handler = {});
    // The test runs on the cache's thread, over metadata only.
    void findObjectDataPassingTest(std::function<bool(const QString&, const GMSCachedObjectInfo&)> test,
                                   QObject* context, std::function<void(QHash<QString, QByteArray>)> handler);
    void deleteObjectDataCacheWithCompletionHandler(QObject* context = nullptr,
                                                    std::function<void(bool)> handler = {});

    // Whether the store opened (waits for the cache's thread: tests, tools).
    bool hasStorage();
    QStringList lruOrder();

private:
    std::unique_ptr<GMSObjectDataCacheCore> m_core;  // on the queue only
    std::unique_ptr<QObject> m_listener;
    std::unique_ptr<zl::SerialQueue> m_queue;
    const zl::Clock* m_clock;
};
