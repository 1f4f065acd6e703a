#include "GMSTileRequestCoordinator.h"

#include "GMSDASHTileService.h"

#include <algorithm>

GMSTileRequestCoordinator::GMSTileRequestCoordinator(int requestMax) : m_requestMax(requestMax) {}

GMSTileRequestCoordinator::EntryPtr GMSTileRequestCoordinator::requestTileCoords(
    const GMSTileCoords& coords, const std::shared_ptr<GMSDASHTileService>& service, const void* target,
    GMSTileCallback selector, bool scrubTileParams)
{
    auto entry = std::make_shared<Entry>(Entry{coords, service, target, std::move(selector), scrubTileParams});
    {
        QMutexLocker l(&m_monitor);
        m_pending.push_back(entry);
    }
    startRequestsIfNeeded();
    return entry;
}

void GMSTileRequestCoordinator::startRequestsIfNeeded()
{
    std::vector<EntryPtr> starting;
    {
        QMutexLocker l(&m_monitor);
        while (!m_pending.empty() && int(m_inFlight.size()) < m_requestMax) {
            starting.push_back(m_pending.front());
            m_inFlight.push_back(m_pending.front());
            m_pending.pop_front();
        }
    }
    // The services are called outside the monitor.
    for (const EntryPtr& e : starting) {
        auto service = e->service.lock();
        if (!service) {
            requestFinished(e);
            continue;
        }
        const GMSTileCoords coords =
            e->scrubTileParams ? GMSTileCoords(e->coords.zoom(), e->coords.x(), e->coords.y()) : e->coords;
        std::weak_ptr<Entry> weak = e;
        GMSTileCallback selector = e->selector;
        service->requestTile(coords, e->target, [this, weak, selector](const GMSTileCoords& c, int status,
                                                                      const GMSTilePtr& tile) {
            if (selector)
                selector(c, status, tile);
            if (status != kGMSTileStatusCachedUpdateFollows)
                if (auto entry = weak.lock())
                    requestFinished(entry);
        });
    }
}

void GMSTileRequestCoordinator::requestFinished(const EntryPtr& entry)
{
    {
        QMutexLocker l(&m_monitor);
        auto it = std::find(m_inFlight.begin(), m_inFlight.end(), entry);
        if (it == m_inFlight.end())
            return;
        m_inFlight.erase(it);
    }
    startRequestsIfNeeded();
}

bool GMSTileRequestCoordinator::dropRequest(const EntryPtr& entry)
{
    QMutexLocker l(&m_monitor);
    auto it = std::find(m_pending.begin(), m_pending.end(), entry);
    if (it == m_pending.end())
        return false;
    m_pending.erase(it);
    return true;
}

int GMSTileRequestCoordinator::pendingCount() const
{
    QMutexLocker l(&m_monitor);
    return int(m_pending.size());
}

int GMSTileRequestCoordinator::inFlightCount() const
{
    QMutexLocker l(&m_monitor);
    return int(m_inFlight.size());
}
