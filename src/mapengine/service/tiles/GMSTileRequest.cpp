#include "GMSTileRequest.h"

#include <algorithm>

GMSTileRequest::GMSTileRequest(GMSTileCoords coords, int fetchType, const void* target, GMSTileCallback selector,
                               std::optional<QVariantMap> extraRequestParams)
    : _coords(std::move(coords)),
      _extraRequestParams(std::move(extraRequestParams)),
      _fetchType(fetchType),
      _aggregateFetchType(fetchType),
      _target(target),
      _selector(std::move(selector))
{
}

void GMSTileRequest::addDuplicate(const GMSTileRequestPtr& duplicate)
{
    GMSTileRequest* last = this;
    while (last->_nextRequest)
        last = last->_nextRequest.get();
    last->_nextRequest = duplicate;
    _aggregateFetchType = std::min(_aggregateFetchType, duplicate->_aggregateFetchType);
}

int GMSTileRequest::duplicateCount() const
{
    int n = 0;
    for (const GMSTileRequest* r = _nextRequest.get(); r; r = r->_nextRequest.get())
        ++n;
    return n;
}

void GMSTileRequest::cancelCallbackForTarget(const void* target)
{
    for (GMSTileRequest* r = this; r; r = r->_nextRequest.get()) {
        if (r->_target == target && r->_selector) {
            r->_savedTarget = r->_target;
            r->_savedSelector = std::move(r->_selector);
            r->_selector = nullptr;
            r->_target = nullptr;
        }
    }
}

void GMSTileRequest::completeChain(int status, const GMSTilePtr& tile)
{
    // Callbacks are copied out first: one of them may cancel another.
    std::vector<GMSTileCallback> callbacks;
    for (GMSTileRequest* r = this; r; r = r->_nextRequest.get()) {
        if (r->_calledToComplete)
            continue;
        // A status 2 answer is a preview; the final answer is still to come.
        if (status != 2)
            r->_calledToComplete = true;
        if (r->_selector)
            callbacks.push_back(r->_selector);
    }
    for (const auto& cb : callbacks)
        cb(_coords, status, tile);
}
