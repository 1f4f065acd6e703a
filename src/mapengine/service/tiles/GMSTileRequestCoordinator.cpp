#include "GMSTileRequestCoordinator.h"

#include "GMSDASHTileService.h"

#include <algorithm>

GMSTileRequestCoordinator::GMSTileRequestCoordinator(int requestMax) : m_requestMax(requestMax) {}

zl::RequestHandle GMSTileRequestCoordinator::requestTile(const GMSTileCoords& coords,
                                                         const std::shared_ptr<GMSDASHTileService>& service,
                                                         GMSTileCallback callback)
{
    auto entry = std::make_shared<Entry>(Entry{coords, service, std::move(callback), {}});
    {
        QMutexLocker l(&m_lock);
        m_pending.push_back(entry);
    }
    startRequestsIfNeeded();
    return zl::RequestHandle([weakSelf = weak_from_this(), weakEntry = std::weak_ptr<Entry>(entry)] {
        auto self = weakSelf.lock();
        auto e = weakEntry.lock();
        if (self && e)
            self->letGo(e);
    });
}

void GMSTileRequestCoordinator::startRequestsIfNeeded()
{
    std::vector<EntryPtr> starting;
    {
        QMutexLocker l(&m_lock);
        while (!m_pending.empty() && int(m_inFlight.size()) < m_requestMax) {
            starting.push_back(m_pending.front());
            m_inFlight.push_back(m_pending.front());
            m_pending.pop_front();
        }
    }
    for (const EntryPtr& e : starting) {
        auto service = e->service.lock();
        if (!service) {
            finished(e);
            continue;
        }
        std::weak_ptr<GMSTileRequestCoordinator> weakSelf = weak_from_this();
        std::weak_ptr<Entry> weakEntry = e;
        zl::RequestHandle request = service->requestTile(
            e->coords, [weakSelf, weakEntry](const GMSTileCoords& c, int status, const GMSTilePtr& tile) {
                auto self = weakSelf.lock();
                auto entry = weakEntry.lock();
                if (!self || !entry)
                    return;
                GMSTileCallback callback;
                {
                    QMutexLocker l(&self->m_lock);
                    callback = entry->callback;
                }
                if (callback)
                    callback(c, status, tile);
                if (status != kGMSTileStatusCachedUpdateFollows)
                    self->finished(entry);
            });
        QMutexLocker l(&m_lock);
        e->serviceRequest = std::move(request);
    }
}

void GMSTileRequestCoordinator::finished(const EntryPtr& entry)
{
    zl::RequestHandle done;  // let go outside the lock
    {
        QMutexLocker l(&m_lock);
        auto it = std::find(m_inFlight.begin(), m_inFlight.end(), entry);
        if (it == m_inFlight.end())
            return;
        done = std::move(entry->serviceRequest);
        m_inFlight.erase(it);
    }
    startRequestsIfNeeded();
}

void GMSTileRequestCoordinator::letGo(const EntryPtr& entry)
{
    GMSTileCallback callback;  // destroyed outside the lock
    QMutexLocker l(&m_lock);
    callback = std::move(entry->callback);
    entry->callback = nullptr;
    auto it = std::find(m_pending.begin(), m_pending.end(), entry);
    if (it != m_pending.end())
        m_pending.erase(it);
}

int GMSTileRequestCoordinator::pendingCount() const
{
    QMutexLocker l(&m_lock);
    return int(m_pending.size());
}

int GMSTileRequestCoordinator::inFlightCount() const
{
    QMutexLocker l(&m_lock);
    return int(m_inFlight.size());
}
