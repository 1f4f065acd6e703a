#pragma once

#include "GMSLRUCache.h"

#include <QMutex>

#include <memory>

// The memory cache in front of a tile service: an LRU named "TileMemCache"
// under a mutex, plus the keys the server said it doesn't have. A key in
// that set answers with the not-found marker, without touching the LRU.
template <class Key, class Value, class Hash = std::hash<Key>>
class GMSTileMemCache {
public:
    // Decides whether a new tile may replace the one already cached.
    using UpdatePredicate = std::function<bool(const Value& existing, const Value& incoming)>;

    // nullptr when maxEntries is 0.
    static std::unique_ptr<GMSTileMemCache> create(std::size_t maxEntries, Value notFoundMarker,
                                                   UpdatePredicate updatePredicate = {}) {
        auto lru = GMSLRUCache<Key, Value, Hash>::create(maxEntries, QStringLiteral("TileMemCache"));
        if (!lru) return nullptr;
        return std::unique_ptr<GMSTileMemCache>(
            new GMSTileMemCache(std::move(lru), std::move(notFoundMarker), std::move(updatePredicate)));
    }

    void setObject(const Value& value, const Key& key) {
        QMutexLocker l(&m_lock);
        if (m_updatePredicate) {
            if (auto existing = m_lru->findObjectForKey(key); existing && !m_updatePredicate(*existing, value))
                return;  // the predicate keeps the old tile
        }
        m_lru->setObject(value, key);
    }

    std::optional<Value> objectForKey(const Key& key) {
        QMutexLocker l(&m_lock);
        if (m_notFoundSet && m_notFoundSet->contains(key)) return m_notFoundMarker;
        return m_lru->objectForKey(key);
    }

    // Removing a key also forgets that it was not found.
    void removeObjectForKey(const Key& key) {
        QMutexLocker l(&m_lock);
        m_lru->removeObjectForKey(key);
        if (m_notFoundSet) m_notFoundSet->remove(key);
    }

    void markKeyAsNotFound(const Key& key) {
        QMutexLocker l(&m_lock);
        if (!m_notFoundSet) m_notFoundSet = std::make_unique<QSet<Key>>();
        m_notFoundSet->insert(key);
    }

    bool isNotFoundMarker(const Value& v) const { return v == m_notFoundMarker; }
    const Value& notFoundMarker() const { return m_notFoundMarker; }

    void reserveSet(const QSet<Key>& keys, const QString& client) {
        QMutexLocker l(&m_lock);
        m_lru->reserveSet(keys, client);
    }
    void cancelReservationForClient(const QString& client) {
        QMutexLocker l(&m_lock);
        m_lru->cancelReservationForClient(client);
    }

    void removeAllObjects() {
        QMutexLocker l(&m_lock);
        m_lru->removeAllObjects();
        m_notFoundSet.reset();
    }

    // Memory is short: everything not reserved goes.
    void didReceiveMemoryWarning() {
        QMutexLocker l(&m_lock);
        m_lru->trimToTargetSize(0);
    }

    std::size_t count() const {
        QMutexLocker l(&m_lock);
        return m_lru->count();
    }
    double hitRatio() const {
        QMutexLocker l(&m_lock);
        return m_lru->hitRatio();
    }

private:
    GMSTileMemCache(std::unique_ptr<GMSLRUCache<Key, Value, Hash>> lru, Value marker, UpdatePredicate predicate)
        : m_lru(std::move(lru)), m_notFoundMarker(std::move(marker)), m_updatePredicate(std::move(predicate)) {}

    mutable QMutex m_lock;
    std::unique_ptr<GMSLRUCache<Key, Value, Hash>> m_lru;
    std::unique_ptr<QSet<Key>> m_notFoundSet;  // made on first use
    Value m_notFoundMarker;
    UpdatePredicate m_updatePredicate;
};
