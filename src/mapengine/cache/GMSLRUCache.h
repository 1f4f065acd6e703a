#pragma once

#include <QHash>
#include <QLoggingCategory>
#include <QSet>
#include <QString>

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

// A bounded map that forgets the least recently used entries first; entries
// that a client reserved are stepped over. No lock of its own: the owner
// serialises access (GMSTileMemCache wraps one in a mutex).
template <class Key, class Value, class Hash = std::hash<Key>>
class GMSLRUCache {
public:
    // Told when setObject replaces the value of a key.
    using Delegate = std::function<void(const Key&, const Value&)>;

    // A cache of at most maxEntries entries; a limit of 0 is refused
    // (nullptr, with a note).
    static std::unique_ptr<GMSLRUCache> create(std::size_t maxEntries, const QString& cacheName) {
        if (maxEntries == 0) {
            qWarning("GMSLRUCache %s: a cache of 0 entries is refused", qUtf8Printable(cacheName));
            return nullptr;
        }
        return std::unique_ptr<GMSLRUCache>(new GMSLRUCache(maxEntries, cacheName));
    }

    void setDelegate(Delegate d) { m_delegate = std::move(d); }

    void setObject(const Value& value, const Key& key) {
        ++m_mutationsCounter;
        auto it = m_map.find(key);
        if (it == m_map.end()) {
            trimToTargetSize(m_maxEntries - 1);
        } else {
            Value old = std::move(it->second->second);
            m_list.erase(it->second);
            m_map.erase(it);
            if (m_delegate) m_delegate(key, old);
        }
        m_list.emplace_front(key, value);
        m_map.emplace(key, m_list.begin());
    }

    // A hit makes the entry the youngest.
    std::optional<Value> objectForKey(const Key& key) {
        auto it = m_map.find(key);
        if (it == m_map.end()) {
            ++m_missCounter;
            return std::nullopt;
        }
        if (it->second != m_list.begin()) m_list.splice(m_list.begin(), m_list, it->second);
        ++m_hitCounter;
        return it->second->second;
    }

    // Looks without touching the order or the counters.
    std::optional<Value> findObjectForKey(const Key& key) const {
        auto it = m_map.find(key);
        if (it == m_map.end()) return std::nullopt;
        return it->second->second;
    }

    bool removeObjectForKey(const Key& key) {
        auto it = m_map.find(key);
        if (it == m_map.end()) return false;
        ++m_mutationsCounter;
        m_list.erase(it->second);
        m_map.erase(it);
        return true;
    }

    bool removeOldestObject() { return m_list.empty() ? false : removeObjectForKey(Key(m_list.back().first)); }
    bool removeYoungestObject() { return m_list.empty() ? false : removeObjectForKey(Key(m_list.front().first)); }

    void removeAllObjects() {
        ++m_mutationsCounter;
        m_map.clear();
        m_list.clear();
    }

    // A client's new set replaces its old one.
    void reserveSet(const QSet<Key>& keys, const QString& client) { m_reservations.insert(client, keys); }
    void cancelReservationForClient(const QString& client) { m_reservations.remove(client); }
    bool isReserved(const Key& key) const {
        for (const QSet<Key>& set : m_reservations)
            if (set.contains(key)) return true;
        return false;
    }

    // From the oldest toward the youngest while above the target: unreserved
    // entries go, reserved ones stay (so the cache may stay above it).
    void trimToTargetSize(std::size_t target) {
        auto it = m_list.end();
        while (m_map.size() > target && it != m_list.begin()) {
            --it;
            if (isReserved(it->first)) continue;
            m_map.erase(it->first);
            it = m_list.erase(it);
            ++m_ejectCounter;
            ++m_mutationsCounter;
        }
    }

    double hitRatio() const {
        const quint64 total = m_hitCounter + m_missCounter;
        return total == 0 ? 0.0 : double(m_hitCounter) / double(total);
    }

    std::size_t count() const { return m_map.size(); }
    std::size_t maxEntries() const { return m_maxEntries; }
    const QString& cacheName() const { return m_cacheName; }
    quint64 hitCounter() const { return m_hitCounter; }
    quint64 missCounter() const { return m_missCounter; }
    quint64 ejectCounter() const { return m_ejectCounter; }
    quint64 mutationsCounter() const { return m_mutationsCounter; }

    // Keys from the youngest to the oldest.
    QList<Key> keysYoungestFirst() const {
        QList<Key> out;
        for (const auto& e : m_list) out.append(e.first);
        return out;
    }

private:
    GMSLRUCache(std::size_t maxEntries, QString cacheName) : m_maxEntries(maxEntries), m_cacheName(std::move(cacheName)) {}

    using Entry = std::pair<Key, Value>;
    QHash<QString, QSet<Key>> m_reservations;
    std::unordered_map<Key, typename std::list<Entry>::iterator, Hash> m_map;
    std::list<Entry> m_list;  // youngest at the front
    quint64 m_mutationsCounter = 0;
    std::size_t m_maxEntries;
    QString m_cacheName;
    Delegate m_delegate;
    quint64 m_hitCounter = 0;
    quint64 m_missCounter = 0;
    quint64 m_ejectCounter = 0;
};
