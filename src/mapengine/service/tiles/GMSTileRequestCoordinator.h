#pragma once

#include "GMSTileRequest.h"

#include <QMutex>

#include <deque>
#include <memory>
#include <vector>

class GMSDASHTileService;

// In front of all tile services: at most `requestMax` tile requests run at
// once; the rest wait in order.
class GMSTileRequestCoordinator {
public:
    struct Entry {
        GMSTileCoords coords;
        std::weak_ptr<GMSDASHTileService> service;
        const void* target = nullptr;
        GMSTileCallback selector;
        bool scrubTileParams = false;
    };
    using EntryPtr = std::shared_ptr<Entry>;

    explicit GMSTileRequestCoordinator(int requestMax = 16);

    // The callback is the service's; once it has given its final answer
    // (any status but 2) the request counts as finished.
    EntryPtr requestTileCoords(const GMSTileCoords& coords, const std::shared_ptr<GMSDASHTileService>& service,
                               const void* target, GMSTileCallback selector, bool scrubTileParams = false);
    void startRequestsIfNeeded();
    void requestFinished(const EntryPtr& entry);
    // Forgets a request that has not started; true when it was pending.
    bool dropRequest(const EntryPtr& entry);

    int requestMax() const { return m_requestMax; }
    int pendingCount() const;
    int inFlightCount() const;

private:
    const int m_requestMax;
    mutable QMutex m_monitor;
    std::deque<EntryPtr> m_pending;
    std::vector<EntryPtr> m_inFlight;
};
