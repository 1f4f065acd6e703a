#include "TileCache.h"

#include "DashRequestHandler.h"
#include "Mbtiles.h"

namespace zenloft::mapservice {

std::shared_ptr<const CachedTile> TileCache::get(int type, const zl::MbtilesReader& store, int z, int x, int y)
{
    // type (8 bits), zoom (6), x and y (25 each) fit one key.
    const std::uint64_t key = (std::uint64_t(type & 0xFF) << 56) | (std::uint64_t(z & 0x3F) << 50)
        | (std::uint64_t(x & 0x1FFFFFF) << 25) | std::uint64_t(y & 0x1FFFFFF);
    Shard& shard = m_shards[(key * 0x9E3779B97F4A7C15ULL) >> 60];
    {
        std::lock_guard lock(shard.mutex);
        const auto it = shard.tiles.find(key);
        if (it != shard.tiles.end()) {
            ++m_hits;
            return it->second;
        }
    }
    ++m_misses;
    auto tile = std::make_shared<CachedTile>();
    if (store.tile(z, x, y, tile->data))
        tile->version = DashRequestHandler::versionOf(tile->data);
    const std::size_t cost = tile->data.size() + 64;
    std::lock_guard lock(shard.mutex);
    if (cost > m_shardBudget)
        return tile;
    // Over budget: drop whatever comes first; hot tiles come back at once.
    while (shard.bytes + cost > m_shardBudget && !shard.tiles.empty()) {
        const auto victim = shard.tiles.begin();
        shard.bytes -= victim->second->data.size() + 64;
        shard.tiles.erase(victim);
    }
    const auto [it, inserted] = shard.tiles.emplace(key, tile);
    if (inserted)
        shard.bytes += cost;
    return it->second;
}

}  // namespace zenloft::mapservice
