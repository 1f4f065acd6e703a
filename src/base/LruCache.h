#pragma once

#include <QHashFunctions>

#include <cstddef>
#include <limits>
#include <list>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zl {

// Hashes a key as QHash would, so that every key with a qHash overload
// serves.
template <class Key>
struct QtKeyHash {
    std::size_t operator()(const Key& key) const { return qHash(key); }
};

// Values by key, ordered from the most to the least recently used.
//
// A bounded cache makes room for a new key by dropping its oldest entries.
// An unbounded one (the default) only shrinks when its owner trims it: that
// is for owners that weigh entries by more than their number (bytes on disk,
// tiles still on screen), who walk from the old end and remove what they
// choose, or trim and step over what must stay.
//
// No lock of its own: owners serialise access.
template <class Key, class Value, class Hash = QtKeyHash<Key>>
class LruCache {
public:
    struct Entry {
        const Key key;
        Value value;
    };
    using List = std::list<Entry>;
    using iterator = typename List::iterator;
    using const_iterator = typename List::const_iterator;
    using reverse_iterator = typename List::reverse_iterator;
    using const_reverse_iterator = typename List::const_reverse_iterator;

    static constexpr std::size_t kUnbounded = std::numeric_limits<std::size_t>::max();

    // At most `capacity` entries; a capacity of 0 is taken as 1, since a
    // cache must hold what was just put in it.
    explicit LruCache(std::size_t capacity = kUnbounded) : m_capacity(capacity == 0 ? 1 : capacity) {}

    std::size_t capacity() const { return m_capacity; }
    std::size_t size() const { return m_index.size(); }
    bool empty() const { return m_index.empty(); }
    bool contains(const Key& key) const { return m_index.count(key) != 0; }

    // Looks without changing the order.
    Value* find(const Key& key) {
        auto it = m_index.find(key);
        return it == m_index.end() ? nullptr : &it->second->value;
    }
    const Value* find(const Key& key) const {
        auto it = m_index.find(key);
        return it == m_index.end() ? nullptr : &it->second->value;
    }

    // A use: the entry found becomes the youngest.
    Value* get(const Key& key) {
        auto it = m_index.find(key);
        if (it == m_index.end()) return nullptr;
        toFront(it->second);
        return &it->second->value;
    }
    bool touch(const Key& key) { return get(key) != nullptr; }

    // Enters the value as the youngest; a value already under the key is
    // replaced. A new key in a full cache first drops the oldest.
    Value& put(const Key& key, Value value) {
        if (auto it = m_index.find(key); it != m_index.end()) {
            it->second->value = std::move(value);
            toFront(it->second);
            return it->second->value;
        }
        if (m_index.size() >= m_capacity) trimTo(m_capacity - 1);
        m_order.push_front(Entry{key, std::move(value)});
        m_index.emplace(key, m_order.begin());
        return m_order.front().value;
    }

    // Enters the value as the oldest, for reading entries back youngest
    // first. A full cache takes nothing (nullptr): what comes later is older
    // than all it holds.
    Value* putOldest(const Key& key, Value value) {
        remove(key);
        if (m_index.size() >= m_capacity) return nullptr;
        m_order.push_back(Entry{key, std::move(value)});
        m_index.emplace(key, std::prev(m_order.end()));
        return &m_order.back().value;
    }

    bool remove(const Key& key) {
        auto it = m_index.find(key);
        if (it == m_index.end()) return false;
        m_order.erase(it->second);
        m_index.erase(it);
        return true;
    }

    void clear() {
        m_index.clear();
        m_order.clear();
    }

    // Drops entries from the oldest toward the youngest until at most
    // `target` are left, stepping over those `keep(entry)` holds on to (so
    // the cache may stay above the target). Returns how many went.
    template <class Keep>
    std::size_t trimTo(std::size_t target, Keep keep) {
        std::size_t dropped = 0;
        for (auto it = m_order.end(); m_index.size() > target && it != m_order.begin();) {
            --it;
            if (keep(std::as_const(*it))) continue;
            m_index.erase(it->key);
            it = m_order.erase(it);
            ++dropped;
        }
        return dropped;
    }
    std::size_t trimTo(std::size_t target) {
        return trimTo(target, [](const Entry&) { return false; });
    }

    // From the youngest to the oldest; r-iterators go from the oldest.
    iterator begin() { return m_order.begin(); }
    iterator end() { return m_order.end(); }
    const_iterator begin() const { return m_order.begin(); }
    const_iterator end() const { return m_order.end(); }
    reverse_iterator rbegin() { return m_order.rbegin(); }
    reverse_iterator rend() { return m_order.rend(); }
    const_reverse_iterator rbegin() const { return m_order.rbegin(); }
    const_reverse_iterator rend() const { return m_order.rend(); }

    // The keys from the youngest to the oldest, in any list that can be
    // appended to (a QList, a std::vector).
    template <class Keys = std::vector<Key>>
    Keys keys() const {
        Keys out;
        for (const Entry& e : m_order) out.push_back(e.key);
        return out;
    }

private:
    void toFront(iterator it) {
        if (it != m_order.begin()) m_order.splice(m_order.begin(), m_order, it);
    }

    std::size_t m_capacity;
    List m_order;  // youngest first
    std::unordered_map<Key, iterator, Hash> m_index;
};

}  // namespace zl
