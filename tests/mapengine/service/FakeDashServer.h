#pragma once

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
    explicit FakeDashServer(Handler handler = {});
    ~FakeDashServer();

    std::string url() const;
    std::vector<std::string> bodies() const;
    int postCount() const { return m_posts.load(); }
    // Lets stalled handlers return: they block in waitUntilReleased().
    void release();
    void waitUntilReleased();

    // A well-formed answer to a framed body: cookie `cookie` for request 15,
    // an empty client properties answer (plus `statuses`) for 62, and for
    // every other request its own body echoed back.
    static std::string echoAnswer(const std::string& body, unsigned long long cookie = 77);

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
