#pragma once

#include "DashFraming.h"
#include "GMSDASHConnection.h"
#include "GMSDASHProtobufferRequest.h"
#include "GMSDASHRequest.h"
#include "GMSDASHStreamingReply.h"
#include "dash.pb.h"
#include "maptile.pb.h"

#include <httplib.h>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
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
        outcomes.push_back("ok:" + std::string(in.readLengthPrefixed()));
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

// Feeds a reply for `sent` the body byte by byte, then finishes it.
inline void reply(std::vector<GMSDASHRequestPtr> sent, const std::string& body, GMSDASHConnection* conn = nullptr,
                  const std::optional<GMSDASHError>& transportError = std::nullopt)
{
    GMSDASHStreamingReply r(sent, conn);
    for (char c : body)
        r.appendData(&c, 1);
    r.finish(transportError);
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

// A loopback HTTP server on a free port that stands in for the map service.
// The handler decides what each POST gets (by default echoAnswer()); bodies
// are recorded.
class FakeDashServer {
public:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    explicit FakeDashServer(Handler handler = {})
    {
        m_server.Post("/glm/mmap", [this, handler](const httplib::Request& req, httplib::Response& res) {
            {
                std::lock_guard lock(m_mutex);
                m_bodies.push_back(req.body);
            }
            ++m_posts;
            if (handler)
                handler(req, res);
            else
                res.set_content(echoAnswer(req.body), "application/binary");
        });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
    }
    ~FakeDashServer()
    {
        release();
        m_server.stop();
        m_thread.join();
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_port) + "/glm/mmap"; }
    std::vector<std::string> bodies() const
    {
        std::lock_guard lock(m_mutex);
        return m_bodies;
    }
    int postCount() const { return m_posts.load(); }
    // Lets stalled handlers return: they block in waitUntilReleased().
    void release() { std::call_once(m_releaseOnce, [this] { m_release.set_value(); }); }
    void waitUntilReleased() { m_released.wait(); }

    // A well-formed answer to a framed body: cookie 77 for request 15,
    // a client properties answer naming cohort "test-cohort" for 62, and for
    // every other request its own body echoed back.
    static std::string echoAnswer(const std::string& body)
    {
        using namespace zenloft::wire;
        DashInput in(body, true);
        readRequestHeader(in);
        DashOutput out;
        out.writeUInt16(kDashProtocolVersion);
        while (!in.atEnd()) {
            const auto id = in.readUInt16();
            out.writeUInt16(id);
            if (id == kDashUserCookieRequest) {
                out.writeUInt64(77);
            } else if (id == kDashClientPropertiesRequest) {
                in.readLengthPrefixed();
                GMSx_GMMClientPropertiesResponseProto resp;
                resp.set_new_cohort("test-cohort");
                out.writeMessage(resp);
            } else {
                out.writeLengthPrefixed(in.readLengthPrefixed());
            }
        }
        return out.take();
    }

private:
    httplib::Server m_server;
    std::thread m_thread;
    int m_port = 0;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_bodies;
    std::atomic<int> m_posts{0};
    std::promise<void> m_release;
    std::shared_future<void> m_released = m_release.get_future().share();
    std::once_flag m_releaseOnce;
};

}  // namespace zltest
