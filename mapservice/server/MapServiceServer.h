#pragma once

#include "ServiceConfig.h"

#include <memory>
#include <string>
#include <thread>

namespace httplib { class Server; }

namespace zenloft::mapservice {

class DashRequestHandler;
class PaintRequestHandler;

// The HTTP side: POST /glm/mmap through DashRequestHandler, POST /glm/paint
// through PaintRequestHandler (404 without a signing key), GET /styles/...
// from the style folder, a thread pool, size limits and one log line per POST.
class MapServiceServer {
public:
    explicit MapServiceServer(ServiceConfig config);
    ~MapServiceServer();

    // Opens the MBTiles files and binds the socket (port 0 picks a free one).
    bool prepare(std::string& error);
    int port() const { return m_port; }
    std::string endpointUrl() const;

    // Blocks until stop().
    bool run();
    // Runs in a background thread; for tests and embedding.
    bool start(std::string& error);
    void stop();

private:
    ServiceConfig m_config;
    std::unique_ptr<httplib::Server> m_http;
    std::shared_ptr<DashRequestHandler> m_handler;
    std::shared_ptr<PaintRequestHandler> m_paintHandler;
    std::thread m_thread;
    int m_port = 0;
};

}  // namespace zenloft::mapservice
