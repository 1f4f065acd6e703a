#pragma once

#include "GMSCacheStorage.h"
#include "LruCache.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

// A stored object's metadata.
struct GMSCachedObjectInfo {
    qint32 type = 0;
    QDateTime updatedDate;
    QString version;
};

// What a load of a named object answers.
struct GMSCachedObjectData {
    bool found = false;
    QByteArray data;
    QString version;
    QDateTime updatedDate;
};

// The synchronous part of the named-object cache: the store connection and
// the index by name, in LRU order. Called on the cache's queue only.
class GMSObjectDataCacheCore {
public:
    GMSObjectDataCacheCore(int objectType, qint64 maxCount);
    ~GMSObjectDataCacheCore();

    bool start(std::unique_ptr<GMSCacheStorage> storage);
    bool hasStorage() const { return m_storage != nullptr; }

    std::optional<GMSCachedObjectData> load(const QString& name);
    // All objects in one transaction; false when nothing was saved.
    bool store(const QList<QPair<QString, QByteArray>>& objects, const QString& version, const QDateTime& now);
    bool remove(const QStringList& names);
    bool removeAll();
    // Names and bytes of the objects whose metadata pass the test.
    QHash<QString, QByteArray> find(const std::function<bool(const QString&, const GMSCachedObjectInfo&)>& test);
    bool pruneCache();

    qint64 count() const { return qint64(m_objects.size()); }
    QStringList lruOrder() const;

private:
    struct Row {
        qint64 id = 0;
        qint64 touched = 0;
        GMSCachedObjectInfo info;
    };
    bool readIndex();
    bool deleteRow(qint64 id);
    void recover(const char* what);
    zl::sqlite::Connection& db() { return m_storage->db(); }

    std::unique_ptr<GMSCacheStorage> m_storage;
    int m_objectType;
    qint64 m_maxCount;
    qint64 m_nextTouched = 1;
    zl::LruCache<QString, Row> m_objects;  // unbounded: pruneCache keeps the limit
};
