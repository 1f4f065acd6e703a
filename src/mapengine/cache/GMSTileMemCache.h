#pragma once

#include "LruCache.h"

#include <QtGlobal>
#include <QMutex>
#include <QSet>

#include <functional>
#include <memory>
#include <optional>

// The memory cache in front of a tile service: a bounded LRU under a mutex,
// plus the keys the server said it doesn't have. A key in that set answers
// with the not-found marker, without touching the LRU.
template <class Key, class Value>
class GMSTileMemCache {
public:
    // Decides whether a new tile may replace the one already cached.
    using UpdatePredicate = std::function<bool(const Value& existing, const Value& incoming)>;

    // nullptr (with a note) when maxEntries is 0.
    static std::unique_ptr<GMSTileMemCache> create(std::size_t maxEntries, Value notFoundMarker,
                                                   UpdatePredicate updatePredicate = {}) {
        if (maxEntries == 0) {
            qWarning("TileMemCache: a cache of 0 entries is refused");
            return nullptr;
        }
        return std::unique_ptr<GMSTileMemCache>(
            new GMSTileMemCache(maxEntries, std::move(notFoundMarker), std::move(updatePredicate)));
    }

    void setObject(const Value& value, const Key& key) {
        QMutexLocker l(&m_lock);
        if (m_updatePredicate) {
            if (const Value* existing = m_lru.find(key); existing && !m_updatePredicate(*existing, value))
                return;  // the predicate keeps the old tile
        }
        m_lru.put(key, value);
    }

    std::optional<Value> objectForKey(const Key& key) {
        QMutexLocker l(&m_lock);
        if (m_notFound.contains(key)) return m_notFoundMarker;
        if (const Value* v = m_lru.get(key)) return *v;
        return std::nullopt;
    }

    // Removing a key also forgets that it was not found.
    void removeObjectForKey(const Key& key) {
        QMutexLocker l(&m_lock);
        m_lru.remove(key);
        m_notFound.remove(key);
    }

    void markKeyAsNotFound(const Key& key) {
        QMutexLocker l(&m_lock);
        m_notFound.insert(key);
    }

    bool isNotFoundMarker(const Value& v) const { return v == m_notFoundMarker; }
    const Value& notFoundMarker() const { return m_notFoundMarker; }

    void removeAllObjects() {
        QMutexLocker l(&m_lock);
        m_lru.clear();
        m_notFound.clear();
    }

    // Memory is short: the tiles go; what the server lacks is still known.
    void didReceiveMemoryWarning() {
        QMutexLocker l(&m_lock);
        m_lru.clear();
    }

    std::size_t count() const {
        QMutexLocker l(&m_lock);
        return m_lru.size();
    }

private:
    GMSTileMemCache(std::size_t maxEntries, Value marker, UpdatePredicate predicate)
        : m_lru(maxEntries), m_notFoundMarker(std::move(marker)), m_updatePredicate(std::move(predicate)) {}

    mutable QMutex m_lock;
    zl::LruCache<Key, Value> m_lru;
    QSet<Key> m_notFound;
    Value m_notFoundMarker;
    UpdatePredicate m_updatePredicate;
};
