#pragma once

#include "DashOutput.h"
#include "ServiceConfig.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <string_view>

namespace zl {
class MbtilesReader;
}

namespace zenloft::mapservice {

class TileCache;

// What one POST body turns into.
struct DashAnswer {
    int httpStatus = 200;
    std::string contentType;
    std::string body;
    // For the log line.
    std::size_t requestCount = 0;
    std::size_t tileCount = 0;
    std::size_t tilesFound = 0;
    std::string error;  // why the body was refused, if it was
};

// Reads a framed POST body and builds the framed answer. Thread-safe: one
// handler serves all of the server's threads.
class DashRequestHandler {
public:
    DashRequestHandler(const ServiceConfig& config,
                       std::map<int, std::shared_ptr<zl::MbtilesReader>> stores);
    ~DashRequestHandler();
    DashRequestHandler(DashRequestHandler&&) = default;

    DashAnswer handle(std::string_view body) const;

    // Answers a serialised GMSx_GMMMapTileRequestProto with a
    // GMSx_GMMMapTileResponseProto from the stores: framed (32-bit length
    // first) for the DASH body, bare for the paint route. A request that does
    // not parse gets an answer with an error code; false says so.
    bool writeTileResponse(std::string_view request, wire::DashOutput& out, DashAnswer& stats,
                           bool lengthPrefixed) const;

    // Weak version tag of a tile: clients send it back to learn that their
    // copy is still current.
    static std::string versionOf(std::string_view tileData);

private:
    struct Parsed;
    std::uint64_t newCookie() const;
    std::string randomToken(std::size_t bytes) const;
    void answerClientParameters(std::string_view block, wire::DashOutput& out) const;
    void answerQuota(bool keyAccepted, const std::string& apiKey, wire::DashOutput& out) const;

    ServiceConfig m_config;
    std::map<int, std::shared_ptr<zl::MbtilesReader>> m_stores;
    std::unique_ptr<TileCache> m_cache;
    mutable std::mutex m_rngMutex;
    mutable std::mt19937_64 m_rng;
};

}  // namespace zenloft::mapservice
