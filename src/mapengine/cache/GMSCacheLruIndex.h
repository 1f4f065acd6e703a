#pragma once

#include <list>
#include <unordered_map>
#include <utility>

// The in-memory index of a disk cache: rows by key, and the keys in an
// ordered set with the most recently used at the front. Not thread-safe;
// each cache touches its index only on its own queue.
template <class Key, class Row, class Hash = std::hash<Key>>
class GMSCacheLruIndex {
public:
    Row* find(const Key& k) {
        auto it = m_rows.find(k);
        return it == m_rows.end() ? nullptr : &it->second.row;
    }
    const Row* find(const Key& k) const {
        auto it = m_rows.find(k);
        return it == m_rows.end() ? nullptr : &it->second.row;
    }
    bool contains(const Key& k) const { return m_rows.count(k) != 0; }
    std::size_t size() const { return m_rows.size(); }
    bool empty() const { return m_rows.empty(); }

    // Enters a row as the youngest (replacing a row under the same key).
    Row& insertYoungest(const Key& k, Row row) {
        remove(k);
        m_order.push_front(k);
        auto [it, _] = m_rows.emplace(k, Slot{std::move(row), m_order.begin()});
        return it->second.row;
    }
    // Enters a row as the oldest: used when reading rows youngest first.
    Row& insertOldest(const Key& k, Row row) {
        remove(k);
        m_order.push_back(k);
        auto [it, _] = m_rows.emplace(k, Slot{std::move(row), std::prev(m_order.end())});
        return it->second.row;
    }
    void moveToFront(const Key& k) {
        auto it = m_rows.find(k);
        if (it == m_rows.end() || it->second.pos == m_order.begin()) return;
        m_order.splice(m_order.begin(), m_order, it->second.pos);
    }
    bool remove(const Key& k) {
        auto it = m_rows.find(k);
        if (it == m_rows.end()) return false;
        m_order.erase(it->second.pos);
        m_rows.erase(it);
        return true;
    }
    void clear() {
        m_rows.clear();
        m_order.clear();
    }

    // Keys from the youngest to the oldest.
    const std::list<Key>& order() const { return m_order; }

    template <class F>
    void forEach(F f) const {
        for (const auto& [k, slot] : m_rows) f(k, slot.row);
    }

private:
    struct Slot {
        Row row;
        typename std::list<Key>::iterator pos;
    };
    std::unordered_map<Key, Slot, Hash> m_rows;
    std::list<Key> m_order;
};
