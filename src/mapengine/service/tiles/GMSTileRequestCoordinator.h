#pragma once

#include "GMSTileRequest.h"
#include "RequestHandle.h"

#include <QMutex>

#include <deque>
#include <memory>
#include <vector>

class GMSDASHTileService;

// In front of all tile services: at most `requestMax` tile requests run at
// once; the rest wait in order. Used from the GUI thread and the services'
// work queue at once, so its lists sit behind a plain mutex; services and
// callbacks are called outside it. Must be owned by a shared_ptr.
class GMSTileRequestCoordinator : public std::enable_shared_from_this<GMSTileRequestCoordinator> {
public:
    explicit GMSTileRequestCoordinator(int requestMax = 16);

    // Waits for its turn, then asks the service; the callback runs on the
    // service's work queue. A request counts as running until the service's
    // final answer (any status but 2). Letting the handle go drops a request
    // still waiting; one already running finishes and fills the caches, but
    // its callback is not called any more.
    zl::RequestHandle requestTile(const GMSTileCoords& coords, const std::shared_ptr<GMSDASHTileService>& service,
                                  GMSTileCallback callback);

    int requestMax() const { return m_requestMax; }
    int pendingCount() const;
    int inFlightCount() const;

private:
    struct Entry {
        GMSTileCoords coords;
        std::weak_ptr<GMSDASHTileService> service;
        GMSTileCallback callback;        // null once let go; under m_lock
        zl::RequestHandle serviceRequest;  // under m_lock
    };
    using EntryPtr = std::shared_ptr<Entry>;

    void startRequestsIfNeeded();
    void finished(const EntryPtr& entry);
    void letGo(const EntryPtr& entry);

    const int m_requestMax;
    mutable QMutex m_lock;
    std::deque<EntryPtr> m_pending;
    std::vector<EntryPtr> m_inFlight;
};
