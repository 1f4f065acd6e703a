#pragma once

#include "GMSTile.h"

#include <atomic>
#include <functional>
#include <memory>

class GMSTileRequest;
using GMSTileRequestPtr = std::shared_ptr<GMSTileRequest>;

// Told the outcome of a tile request: a status value and, for 1 and 2, the tile.
using GMSTileCallback = std::function<void(const GMSTileCoords& coords, int status, const GMSTilePtr& tile)>;

// One client's wish for a tile. Requests for the same coordinates that come
// while one is in flight hang on it as duplicates and share its outcome.
// Lives on the tile service's work queue, except cancel().
class GMSTileRequest {
public:
    GMSTileRequest(GMSTileCoords coords, GMSTileCallback callback);

    const GMSTileCoords& coords() const { return _coords; }
    void addDuplicate(const GMSTileRequestPtr& duplicate);

    // From any thread: the callback is not called from now on, though an
    // answer already being delivered on the work queue may still finish.
    // The fetch itself goes on and fills the caches.
    void cancel() { _cancelled = true; }
    bool isCancelled() const { return _cancelled; }
    // Runs every callback of the chain not yet finished or cancelled.
    void completeChain(int status, const GMSTilePtr& tile);

    // A copy in hand (memory or disk): its version may spare the download.
    GMSTilePtr cachedTile() const { return _cachedTile; }
    void setCachedTile(GMSTilePtr tile) { _cachedTile = std::move(tile); }

private:
    GMSTileCoords _coords;
    GMSTileCallback _callback;
    std::atomic<bool> _cancelled{false};
    bool _completed = false;
    GMSTilePtr _cachedTile;
    GMSTileRequestPtr _nextRequest;
};
