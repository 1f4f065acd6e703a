#include "GMSTileRequest.h"

#include <vector>

GMSTileRequest::GMSTileRequest(GMSTileCoords coords, GMSTileCallback callback)
    : _coords(std::move(coords)), _callback(std::move(callback))
{
}

void GMSTileRequest::addDuplicate(const GMSTileRequestPtr& duplicate)
{
    GMSTileRequest* last = this;
    while (last->_nextRequest)
        last = last->_nextRequest.get();
    last->_nextRequest = duplicate;
}

void GMSTileRequest::completeChain(int status, const GMSTilePtr& tile)
{
    // The chain is marked first: a callback may ask for the same tile again.
    std::vector<GMSTileRequest*> told;
    for (GMSTileRequest* r = this; r; r = r->_nextRequest.get()) {
        if (r->_completed)
            continue;
        // A status 2 answer is a stand-in; the final answer is still to come.
        if (status != kGMSTileStatusCachedUpdateFollows)
            r->_completed = true;
        told.push_back(r);
    }
    for (GMSTileRequest* r : told)
        if (!r->_cancelled && r->_callback)
            r->_callback(_coords, status, tile);
}
