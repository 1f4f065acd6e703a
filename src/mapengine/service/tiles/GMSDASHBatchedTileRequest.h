#pragma once

#include "GMSDASHRequest.h"
#include "GMSTileRequest.h"

#include <memory>
#include <vector>

class GMSDASHTileService;

namespace zenloft::wire {
class GMSx_GMMMapTileRequestProto;
class GMSx_GMMMapTileResponseProto;
}  // namespace zenloft::wire

// One batch of tile requests in a POST (request id 108). Tiles keep joining
// until the transport asks for the body: the message is built only then, and
// the first thing building does is close the batch.
class GMSDASHBatchedTileRequest : public GMSDASHRequest {
public:
    using Requests = std::shared_ptr<std::vector<GMSTileRequestPtr>>;
    GMSDASHBatchedTileRequest(std::weak_ptr<GMSDASHTileService> service, Requests requests);

    // Guarded by the service's monitor.
    const Requests& tileRequests() const { return m_requests; }

    // Closes the batch and builds its message (also for tests).
    zenloft::wire::GMSx_GMMMapTileRequestProto buildRequestProto();

    // The mode that tiles of this batch get: 3 on the paint route. Set when
    // the batch is made, before anyone else sees it.
    int mode() const { return m_mode; }
    void setMode(int mode) { m_mode = mode; }

    quint16 requestID() const override { return 108; }
    void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection* connection) override;
    bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection* connection) override;
    void asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection* connection) override;

private:
    std::weak_ptr<GMSDASHTileService> m_service;
    Requests m_requests;
    int m_mode = 0;
};
