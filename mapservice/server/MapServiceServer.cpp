#include "MapServiceServer.h"

#include "DashFraming.h"
#include "DashRequestHandler.h"
#include "Mbtiles.h"
#include "PaintRequestHandler.h"
#include "PaintSignature.h"

#include <httplib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <mutex>

namespace zenloft::mapservice {

namespace {

std::mutex g_logMutex;

void logLine(const char* fmt, const std::string& remote, int status, std::size_t in, std::size_t out,
             const DashAnswer* a, double ms)
{
    char when[32];
    const std::time_t now = std::time(nullptr);
    std::tm tm{};
    gmtime_r(&now, &tm);
    std::strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%SZ", &tm);
    std::lock_guard lock(g_logMutex);
    std::fprintf(stderr, fmt, when, remote.c_str(), status, in, out, a ? a->requestCount : 0,
                 a ? a->tilesFound : 0, a ? a->tileCount : 0, ms,
                 a && !a->error.empty() ? (" error: " + a->error).c_str() : "");
}

constexpr const char* kPostLog = "%s POST /glm/mmap %s %d in=%zu out=%zu requests=%zu tiles=%zu/%zu %.1fms%s\n";
constexpr const char* kPaintLog = "%s POST /glm/paint %s %d in=%zu out=%zu requests=%zu tiles=%zu/%zu %.1fms%s\n";

}  // namespace

MapServiceServer::MapServiceServer(ServiceConfig config)
    : m_config(std::move(config)), m_http(std::make_unique<httplib::Server>())
{
}

MapServiceServer::~MapServiceServer()
{
    stop();
}

std::string MapServiceServer::endpointUrl() const
{
    return "http://" + m_config.address + ":" + std::to_string(m_port) + wire::kDashPath;
}

bool MapServiceServer::prepare(std::string& error)
{
    std::map<int, std::shared_ptr<zl::MbtilesReader>> stores;
    for (const auto& [type, path] : m_config.tilesByType) {
        auto store = std::make_shared<zl::MbtilesReader>(path);
        if (!store->check(error))
            return false;
        stores[type] = store;
    }
    m_handler = std::make_shared<DashRequestHandler>(m_config, std::move(stores));

    const int threads = m_config.threads;
    m_http->new_task_queue = [threads] { return new httplib::ThreadPool(static_cast<std::size_t>(threads)); };
    m_http->set_payload_max_length(m_config.maxBodyBytes);
    m_http->set_keep_alive_max_count(1000);
    // An idle kept-alive connection holds a pool thread; let it go soon.
    m_http->set_keep_alive_timeout(2);
    m_http->set_tcp_nodelay(true);

    const bool quiet = m_config.quiet;
    // Both routes answer the same way: the handler's status, type and body,
    // and one log line with the time it took.
    const auto route = [this, quiet](const char* path, const char* logFormat, auto handle) {
        m_http->Post(path, [handle, quiet, logFormat](const httplib::Request& req, httplib::Response& res) {
            const auto t0 = std::chrono::steady_clock::now();
            DashAnswer a = handle(req);
            res.status = a.httpStatus;
            res.set_header("Content-Type", a.contentType);
            res.body = std::move(a.body);
            if (!quiet) {
                const double ms =
                    std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
                logLine(logFormat, req.remote_addr, res.status, req.body.size(), res.body.size(), &a, ms);
            }
        });
    };
    auto handler = m_handler;
    route(wire::kDashPath, kPostLog, [handler](const httplib::Request& req) { return handler->handle(req.body); });
    m_paintHandler = std::make_shared<PaintRequestHandler>(m_config.paintSigningKey, m_handler);
    auto paint = m_paintHandler;
    route(wire::kPaintPath, kPaintLog, [paint](const httplib::Request& req) {
        const bool signed_ = req.has_header(wire::kPaintSignatureHeader);
        const std::string signature = req.get_header_value(wire::kPaintSignatureHeader);
        return paint->handle(req.body, signed_ ? &signature : nullptr);
    });
    // Bodies refused before the handler (too large) still get their line.
    m_http->set_logger([quiet](const httplib::Request& req, const httplib::Response& res) {
        if (!quiet && req.method == "POST" && res.status == 413)
            logLine(req.path == wire::kPaintPath ? kPaintLog : kPostLog, req.remote_addr, res.status, std::strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10), 0,
                    nullptr, 0.0);
    });
    m_http->set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (res.body.empty()) {
            const char* text = res.status == 413 ? "body too large\n" : "not found\n";
            res.set_content(text, "text/plain");
        }
    });
    m_http->set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
        res.status = 500;
        res.set_content("internal error\n", "text/plain");
    });
    if (!m_config.styleDir.empty()) {
        if (!std::filesystem::is_directory(m_config.styleDir)) {
            error = "style folder " + m_config.styleDir + " does not exist";
            return false;
        }
        m_http->set_mount_point("/styles", m_config.styleDir);
    }

    if (m_config.port == 0) {
        m_port = m_http->bind_to_any_port(m_config.address);
    } else {
        m_port = m_http->bind_to_port(m_config.address, m_config.port) ? m_config.port : -1;
    }
    if (m_port <= 0) {
        error = "cannot listen on " + m_config.address + ":" + std::to_string(m_config.port);
        return false;
    }
    return true;
}

bool MapServiceServer::run()
{
    return m_http->listen_after_bind();
}

bool MapServiceServer::start(std::string& error)
{
    if (!prepare(error))
        return false;
    m_thread = std::thread([this] { m_http->listen_after_bind(); });
    // The socket is bound already: connections made before the loop runs
    // wait in the backlog.
    return true;
}

void MapServiceServer::stop()
{
    if (m_http)
        m_http->stop();
    if (m_thread.joinable())
        m_thread.join();
}

}  // namespace zenloft::mapservice
