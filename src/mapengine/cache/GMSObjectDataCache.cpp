#include "GMSObjectDataCache.h"

#include "GMSCacheLog.h"
#include "GMSCacheNotificationCenter.h"


GMSObjectDataCache::GMSObjectDataCache(GMSCacheStorageDescriptor descriptor, qint64 maxCount, int objectType,
                                       const zl::Clock* clock)
    : m_core(std::make_unique<GMSObjectDataCacheCore>(objectType, maxCount)),
      m_listener(std::make_unique<QObject>()),
      m_queue(std::make_unique<zl::SerialQueue>(QStringLiteral("GMSObjectDataCache-%1").arg(descriptor.name), zl::SerialQueue::kCacheSpinMicroseconds)),
      m_clock(clock ? clock : &zl::Clock::system()) {
    m_queue->async([this, descriptor] {
        if (!m_core->start(GMSCacheStorage::open(descriptor)))
            qCWarning(lcMapCache, "Failed to initialize object cache storage, can't use disk caching.");
    });
    QObject::connect(
        GMSCacheNotificationCenter::instance(), &GMSCacheNotificationCenter::posted, m_listener.get(),
        [this](const QString& name) {
            if (name == kGMSObjectDataCacheDeleteCaches) deleteObjectDataCacheWithCompletionHandler();
        },
        Qt::DirectConnection);
}

GMSObjectDataCache::~GMSObjectDataCache() {
    m_listener.reset();
    m_queue->sync([this] { m_core.reset(); });
    m_queue.reset();
}

void GMSObjectDataCache::loadObjectDataWithName(const QString& name, QObject* context,
                                                std::function<void(GMSCachedObjectData)> handler) {
    GMSCallback<GMSCachedObjectData> done(context, std::move(handler));
    m_queue->async([this, name, done] { done(m_core->load(name).value_or(GMSCachedObjectData{})); });
}

void GMSObjectDataCache::storeObjectDataWithName(const QString& name, const QString& version,
                                                 const QByteArray& data, QObject* context,
                                                 std::function<void(bool)> handler) {
    storeObjectNamesAndData({{name, data}}, version, context, std::move(handler));
}

void GMSObjectDataCache::storeObjectNamesAndData(const QList<QPair<QString, QByteArray>>& namesAndData,
                                                 const QString& version, QObject* context,
                                                 std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    m_queue->async([this, namesAndData, version, done] {
        done(m_core->store(namesAndData, version, m_clock->now()));
    });
}

void GMSObjectDataCache::deleteObjectDataWithName(const QString& name, QObject* context,
                                                  std::function<void(bool)> handler) {
    deleteObjectDataWithNames({name}, context, std::move(handler));
}

void GMSObjectDataCache::deleteObjectDataWithNames(const QStringList& names, QObject* context,
                                                   std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    m_queue->async([this, names, done] { done(m_core->remove(names)); });
}

void GMSObjectDataCache::findObjectDataPassingTest(
    std::function<bool(const QString&, const GMSCachedObjectInfo&)> test, QObject* context,
    std::function<void(QHash<QString, QByteArray>)> handler) {
    GMSCallback<QHash<QString, QByteArray>> done(context, std::move(handler));
    m_queue->async([this, test = std::move(test), done] { done(m_core->find(test)); });
}

void GMSObjectDataCache::deleteObjectDataCacheWithCompletionHandler(QObject* context,
                                                                    std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    m_queue->async([this, done] { done(m_core->removeAll()); });
}

bool GMSObjectDataCache::hasStorage() {
    bool has = false;
    m_queue->sync([&] { has = m_core->hasStorage(); });
    return has;
}

QStringList GMSObjectDataCache::lruOrder() {
    QStringList out;
    m_queue->sync([&] { out = m_core->lruOrder(); });
    return out;
}
