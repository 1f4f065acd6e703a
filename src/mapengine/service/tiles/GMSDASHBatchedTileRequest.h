#pragma once

#include "GMSDASHRequest.h"
#include "GMSDASHTileServiceOptions.h"
#include "GMSTileRequest.h"

#include <QMutex>

#include <memory>
#include <optional>
#include <vector>

class GMSDASHTileService;

namespace zenloft::wire {
class GMSx_GMMMapTileRequestProto;
class GMSx_GMMMapTileResponseProto;
}  // namespace zenloft::wire

// One batch of tile requests in a POST (request id 108), of one zoom and at
// most maxRequestsPerBatch tiles. Tiles keep joining until the transport
// asks for the body: the message is built only then, and the first thing
// building does is close the batch. Tiles join on the tile service's work
// queue while the transport builds on its own thread, so the tile list has a
// plain lock of its own.
class GMSDASHBatchedTileRequest : public GMSDASHRequest {
public:
    using Requests = std::vector<GMSTileRequestPtr>;
    using Response = std::shared_ptr<const zenloft::wire::GMSx_GMMMapTileResponseProto>;

    // mode: the mode that tiles of this batch get (3 on the paint route).
    GMSDASHBatchedTileRequest(GMSDASHTileServiceOptions options, std::weak_ptr<GMSDASHTileService> service,
                              int mode = 0);

    // False when the batch is closed, full, or of another zoom.
    bool add(const GMSTileRequestPtr& request);
    // No tile joins any more.
    void close();
    // The tiles it holds.
    Requests tileRequests() const;
    int mode() const { return m_mode; }

    // Closes the batch and builds its message (also for tests).
    zenloft::wire::GMSx_GMMMapTileRequestProto buildRequestProto();
    // Hands the outcome to the service on its work queue; from any thread.
    void answer(Response response, std::optional<GMSDASHError> error);

    quint16 requestID() const override { return 108; }
    void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection* connection) override;
    bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection* connection) override;
    void asyncRequestFailed(const GMSDASHError& error, GMSDASHConnection* connection) override;

private:
    const GMSDASHTileServiceOptions m_options;
    const std::weak_ptr<GMSDASHTileService> m_service;
    const int m_mode;
    mutable QMutex m_lock;
    bool m_open = true;
    Requests m_requests;
};
