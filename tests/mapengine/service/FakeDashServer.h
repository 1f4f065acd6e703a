#pragma once

#include "DashFraming.h"
#include "dash.pb.h"

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zltest {

// A loopback HTTP server on a free port that stands in for the map service.
// The handler decides what each POST gets; bodies are recorded.
class FakeDashServer {
public:
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    // Without a handler every POST gets echoAnswer().
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
    void release()
    {
        {
            std::lock_guard lock(m_mutex);
            m_released = true;
        }
        m_releasedChanged.notify_all();
    }
    void waitUntilReleased()
    {
        std::unique_lock lock(m_mutex);
        m_releasedChanged.wait(lock, [this] { return m_released; });
    }

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
    std::condition_variable m_releasedChanged;
    bool m_released = false;
};

}  // namespace zltest
