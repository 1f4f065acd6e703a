#pragma once

#include "DashFraming.h"
#include "GMSDASHConnection.h"
#include "GMSDASHProtobufferRequest.h"
#include "GMSDASHRequest.h"
#include "maptile.pb.h"

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace zltest {

// A request that records what became of it: "ok:<bytes>" or
// "fail:<domain>:<code>". Outcomes must come exactly once.
class RecordingRequest : public GMSDASHRequest {
public:
    explicit RecordingRequest(quint16 id, std::string payload = "p") : m_id(id), m_payload(std::move(payload)) {}
    quint16 requestID() const override { return m_id; }
    void asyncSerializeRequestData(zenloft::wire::DashOutput& out, GMSDASHConnection*) override
    {
        out.writeLengthPrefixed(m_payload);
    }
    bool asyncReadResponse(zenloft::wire::DashInput& in, GMSDASHConnection*) override
    {
        const auto block = in.readLengthPrefixed();
        outcomes.push_back("ok:" + std::string(block));
        return true;
    }
    void asyncRequestFailed(const GMSDASHError& e, GMSDASHConnection*) override
    {
        outcomes.push_back("fail:" + e.domain.toStdString() + ":" + std::to_string(e.code));
    }
    std::vector<std::string> outcomes;

private:
    quint16 m_id;
    std::string m_payload;
};

// A connection to `url` on a manual clock.
inline std::unique_ptr<GMSDASHConnection> connection(const std::string& url, const GMSDASHClientDescription& d = {},
                                                     std::shared_ptr<GMSDASHClientState> state = nullptr)
{
    return std::make_unique<GMSDASHConnection>(QUrl(QString::fromStdString(url)), d, std::move(state),
                                               std::make_shared<zl::ManualClock>());
}

inline std::string answerBody(std::uint16_t version, const std::vector<std::pair<std::uint16_t, std::string>>& answers)
{
    zenloft::wire::DashOutput out;
    out.writeUInt16(version);
    for (const auto& [id, data] : answers) {
        out.writeUInt16(id);
        out.writeLengthPrefixed(data);
    }
    return out.take();
}

// What became of a protobuffer request; `done` counts the handler's calls
// and is set last (the handler runs on the connection's thread).
struct Outcome {
    std::atomic<int> done{0};
    std::string payload;
    std::optional<GMSDASHError> error;
};

// A tile-request-shaped message (which the fake server echoes back),
// reporting into `outcome`.
inline std::shared_ptr<GMSDASHProtobufferRequest> tileRequest(Outcome& outcome, int x = 1)
{
    auto msg = std::make_shared<zenloft::wire::GMSx_GMMMapTileRequestProto>();
    auto* t = msg->add_map_tile_array();
    t->set_tile_type(zenloft::wire::TILE_TYPE_SATELLITE);
    t->set_tile_index_x(x);
    t->set_tile_index_y(2);
    t->set_zoom_level(3);
    auto r = std::make_shared<GMSDASHProtobufferRequest>(zenloft::wire::kDashMapTileRequest, msg,
                                                         &zenloft::wire::GMSx_GMMMapTileRequestProto::default_instance());
    r->setHandler(nullptr, [&outcome](GMSDASHProtobufferRequest::Response resp, std::optional<GMSDASHError> e) {
        outcome.error = e;
        if (resp)
            outcome.payload = resp->SerializeAsString();
        ++outcome.done;
    });
    return r;
}

}  // namespace zltest
