#include "FakeDashServer.h"

#include "DashFraming.h"
#include "dash.pb.h"

namespace zltest {

using namespace zenloft::wire;

FakeDashServer::FakeDashServer(Handler handler)
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

FakeDashServer::~FakeDashServer()
{
    release();
    m_server.stop();
    m_thread.join();
}

void FakeDashServer::release()
{
    {
        std::lock_guard lock(m_mutex);
        m_released = true;
    }
    m_releasedChanged.notify_all();
}

void FakeDashServer::waitUntilReleased()
{
    std::unique_lock lock(m_mutex);
    m_releasedChanged.wait(lock, [this] { return m_released; });
}

std::string FakeDashServer::url() const
{
    return "http://127.0.0.1:" + std::to_string(m_port) + "/glm/mmap";
}

std::vector<std::string> FakeDashServer::bodies() const
{
    std::lock_guard lock(m_mutex);
    return m_bodies;
}

std::string FakeDashServer::echoAnswer(const std::string& body, unsigned long long cookie)
{
    DashInput in(body, true);
    readRequestHeader(in);
    DashOutput out;
    out.writeUInt16(kDashProtocolVersion);
    while (!in.atEnd()) {
        const auto id = in.readUInt16();
        out.writeUInt16(id);
        if (id == kDashUserCookieRequest) {
            out.writeUInt64(cookie);
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

}  // namespace zltest
