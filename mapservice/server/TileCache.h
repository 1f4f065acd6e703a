#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace zl {
class MbtilesReader;
}

namespace zenloft::mapservice {

// A tile as the service sends it: its bytes and their version tag. Empty
// data means the store has no such tile.
struct CachedTile {
    std::string data;
    std::string version;
};

// Recently served tiles, shared by all server threads, bounded in bytes.
// Lookups of hot tiles touch neither SQLite nor the checksum.
class TileCache {
public:
    explicit TileCache(std::size_t budgetBytes) : m_shardBudget(budgetBytes / kShards + 1) {}

    std::shared_ptr<const CachedTile> get(int type, const zl::MbtilesReader& store, int z, int x, int y);

    std::uint64_t hits() const { return m_hits.load(); }
    std::uint64_t misses() const { return m_misses.load(); }

private:
    static constexpr std::size_t kShards = 16;
    struct Shard {
        std::mutex mutex;
        std::unordered_map<std::uint64_t, std::shared_ptr<const CachedTile>> tiles;
        std::size_t bytes = 0;
    };
    std::array<Shard, kShards> m_shards;
    std::size_t m_shardBudget;
    std::atomic<std::uint64_t> m_hits{0};
    std::atomic<std::uint64_t> m_misses{0};
};

}  // namespace zenloft::mapservice
