#include "DashRequestHandler.h"

#include "DashErrors.h"
#include "DashFraming.h"
#include "Mbtiles.h"
#include "TileCache.h"
#include "TileZoomShift.h"
#include "clientparams.pb.h"
#include "dash.pb.h"
#include "maptile.pb.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace zenloft::mapservice {

using namespace zenloft::wire;

namespace {

constexpr int kStatusBadKey = 403;
constexpr int kStatusBadMessage = 400;

struct Request {
    std::uint16_t id = 0;
    std::string_view block;
    int statusCode = 0;  // set: the request is not answered, its status says why
    std::string statusMessage;
};

bool parse(google::protobuf::MessageLite& m, std::string_view block)
{
    return m.ParseFromArray(block.data(), static_cast<int>(block.size()));
}

std::uint64_t fnv1a(std::string_view s, std::uint64_t h = 1469598103934665603ULL)
{
    for (unsigned char c : s) {
        h ^= c;
        h *= 1099511628211ULL;
    }
    return h;
}

}  // namespace

struct DashRequestHandler::Parsed {
    DashRequestHeader header;
    std::vector<Request> requests;
    GMSx_GMMClientPropertiesRequestProto properties;
    bool hasProperties = false;
    bool keyAccepted = false;
    std::string apiKey;
};

DashRequestHandler::DashRequestHandler(const ServiceConfig& config,
                                       std::map<int, std::shared_ptr<zl::MbtilesReader>> stores)
    : m_config(config),
      m_stores(std::move(stores)),
      m_cache(std::make_unique<TileCache>(config.tileCacheBytes)),
      m_rng(std::random_device{}())
{
}

DashRequestHandler::~DashRequestHandler() = default;

std::string DashRequestHandler::versionOf(std::string_view data)
{
    const uLong crc = crc32(crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(data.data()),
                            static_cast<uInt>(data.size()));
    char buf[24];
    std::snprintf(buf, sizeof buf, "%08lx-%zx", static_cast<unsigned long>(crc), data.size());
    return buf;
}

std::uint64_t DashRequestHandler::newCookie() const
{
    std::lock_guard lock(m_rngMutex);
    std::uint64_t c = 0;
    while (c == 0)
        c = m_rng();
    return c;
}

std::string DashRequestHandler::randomToken(std::size_t bytes) const
{
    static const char* digits = "0123456789abcdef";
    std::lock_guard lock(m_rngMutex);
    std::string s;
    for (std::size_t i = 0; i < bytes; ++i) {
        const auto v = m_rng();
        s += digits[v & 15];
        s += digits[(v >> 4) & 15];
    }
    return s;
}

DashAnswer DashRequestHandler::handle(std::string_view body) const
{
    const auto started = std::chrono::steady_clock::now();
    DashAnswer answer;
    Parsed p;
    try {
        DashInput in(body, true);
        p.header = readRequestHeader(in);
        if (p.header.protocolVersion != kDashProtocolVersion)
            throw DashFramingError("unsupported protocol version "
                                   + std::to_string(p.header.protocolVersion));
        while (!in.atEnd()) {
            if (p.requests.size() >= m_config.maxRequestsPerBody)
                throw DashFramingError("more than " + std::to_string(m_config.maxRequestsPerBody)
                                       + " requests in one body");
            Request r;
            r.id = in.readUInt16();
            switch (requestBodyKind(r.id)) {
            case DashBodyKind::Empty:
                break;
            case DashBodyKind::LengthPrefixed:
                r.block = in.readLengthPrefixed();
                break;
            case DashBodyKind::Unknown:
                throw DashFramingError("unknown request " + std::to_string(r.id) + " at byte "
                                       + std::to_string(in.position() - 2));
            }
            p.requests.push_back(r);
        }
        for (const Request& r : p.requests) {
            if (r.id == kDashClientPropertiesRequest && !p.hasProperties) {
                if (!parse(p.properties, r.block))
                    throw DashFramingError("client properties do not parse");
                p.hasProperties = true;
            }
        }
    } catch (const DashFramingError& e) {
        answer.httpStatus = 400;
        answer.contentType = "text/plain";
        answer.error = e.what();
        answer.body = std::string("malformed body: ") + e.what() + "\n";
        answer.requestCount = p.requests.size();
        return answer;
    }
    answer.requestCount = p.requests.size();
    p.apiKey = p.properties.ios_api_app_fingerprint().api_key();
    p.keyAccepted = m_config.apiKeys.empty() || m_config.apiKeys.count(p.apiKey) > 0;

    // Verdicts first: they travel in the client properties answer, ahead of
    // the answers they replace.
    for (Request& r : p.requests) {
        const bool needsKey = r.id == kDashMapTileRequest || r.id == kDashClientParametersRequest;
        if (needsKey && !p.keyAccepted) {
            r.statusCode = kStatusBadKey;
            r.statusMessage = "API key not accepted";
        }
    }

    DashOutput out;
    out.reserve(body.size() * 4 + 1024);
    out.writeUInt16(kDashProtocolVersion);
    for (std::size_t i = 0; i < p.requests.size(); ++i) {
        const Request& r = p.requests[i];
        if (r.statusCode != 0)
            continue;
        out.writeUInt16(r.id);
        switch (r.id) {
        case kDashUserCookieRequest:
            out.writeUInt64(newCookie());
            continue;
        case kDashClientPropertiesRequest: {
            GMSx_GMMClientPropertiesResponseProto resp;
            const auto& q = p.properties;
            if (q.cohort() != m_config.cohort)
                resp.set_new_cohort(m_config.cohort);
            if (!m_config.legalCountry.empty() && q.legal_country() != m_config.legalCountry)
                resp.set_new_legal_country(m_config.legalCountry);
            if (q.zwieback_cookie_enabled() && q.zwieback_nid_cookie().empty())
                resp.set_new_zwieback_nid_cookie(randomToken(16));
            if (q.shortbread_token_enabled() && !q.has_shortbread_token())
                resp.mutable_shortbread_token()->set_token(randomToken(24));
            for (std::size_t k = 0; k < p.requests.size(); ++k) {
                if (p.requests[k].statusCode == 0)
                    continue;
                auto* st = resp.add_datarequest_status_array();
                st->set_request_index(static_cast<int>(k));
                st->set_code(p.requests[k].statusCode);
                st->set_message(p.requests[k].statusMessage);
            }
            resp.set_request_fulfillment_time_ms(std::chrono::duration_cast<std::chrono::milliseconds>(
                                                     std::chrono::steady_clock::now() - started)
                                                     .count());
            out.writeMessage(resp);
            continue;
        }
        case kDashMapTileRequest:
            writeTileResponse(r.block, out, answer, true);
            continue;
        case kDashClientParametersRequest:
            answerClientParameters(r.block, out);
            continue;
        case kDashApiQuotaEventRequest:
            answerQuota(p.keyAccepted, p.apiKey, out);
            continue;
        }
    }
    answer.contentType = kDashContentType;
    answer.body = out.take();
    return answer;
}

namespace {

void appendVarint(std::string& s, std::uint64_t v)
{
    while (v >= 0x80) {
        s.push_back(static_cast<char>((v & 0x7F) | 0x80));
        v >>= 7;
    }
    s.push_back(static_cast<char>(v));
}

std::size_t varintSize(std::uint64_t v)
{
    std::size_t n = 1;
    while (v >= 0x80) {
        v >>= 7;
        ++n;
    }
    return n;
}

}  // namespace

bool DashRequestHandler::writeTileResponse(std::string_view block, wire::DashOutput& out, DashAnswer& stats,
                                           bool lengthPrefixed) const
{
    GMSx_GMMMapTileRequestProto req;
    // Parsed leniently: a tile with a type we do not know still gets its
    // (empty) answer instead of failing the whole batch.
    if (!req.ParsePartialFromArray(block.data(), static_cast<int>(block.size()))) {
        GMSx_GMMMapTileResponseProto resp;
        resp.mutable_header()->set_tile_edition(1);
        resp.mutable_header()->set_response_code(TILE_RESPONSE_ERROR);
        if (lengthPrefixed)
            out.writeMessage(resp);
        else
            out.writeBytes(resp.SerializeAsString());
        return false;
    }
    const int shift = zenloft::wire::zoomShiftForTileEdge(req.header().tile_size());

    // The answer is a GMSx_GMMMapTileResponseProto written field by field,
    // so that each tile's bytes are copied once, straight from the cache.
    struct Entry {
        std::string mapTile;  // serialised GMSx_GMMMapTileProto
        std::shared_ptr<const CachedTile> tile;
        bool sendData = false;
        std::size_t length = 0;
    };
    std::vector<Entry> entries;
    entries.reserve(static_cast<std::size_t>(req.map_tile_array_size()));
    for (auto& t : *req.mutable_map_tile_array()) {
        ++stats.tileCount;
        Entry e;
        if (t.IsInitialized()) {
            const auto store = m_stores.find(t.tile_type());
            if (store != m_stores.end()) {
                e.tile = m_cache->get(t.tile_type(), *store->second, t.zoom_level() - shift, t.tile_index_x(),
                                      t.tile_index_y());
                if (e.tile->data.empty()) {
                    e.tile.reset();
                } else {
                    ++stats.tilesFound;
                    e.sendData = t.version_id().version_id() != e.tile->version;
                    t.mutable_version_id()->set_version_id(e.tile->version);
                }
            }
        }
        t.SerializePartialToString(&e.mapTile);
        e.length = 1 + varintSize(e.mapTile.size()) + e.mapTile.size();
        if (e.sendData)
            e.length += 1 + varintSize(e.tile->data.size()) + e.tile->data.size();
        entries.push_back(std::move(e));
    }
    // header: tile_edition 1, response_code OK.
    static const std::string header("\x0a\x04\x08\x01\x10\x00", 6);
    std::size_t total = header.size();
    for (const Entry& e : entries)
        total += 1 + varintSize(e.length) + e.length;
    if (lengthPrefixed)
        out.writeUInt32(static_cast<std::uint32_t>(total));
    out.reserve(out.size() + total);
    out.writeBytes(header);
    std::string head;
    for (const Entry& e : entries) {
        head.clear();
        head.push_back('\x4a');  // field 9, length-delimited
        appendVarint(head, e.length);
        head.push_back('\x0a');  // field 1: map_tile
        appendVarint(head, e.mapTile.size());
        head += e.mapTile;
        if (e.sendData) {
            head.push_back('\x12');  // field 2: tile_data
            appendVarint(head, e.tile->data.size());
        }
        out.writeBytes(head);
        if (e.sendData)
            out.writeBytes(e.tile->data);
    }
    return true;
}

namespace {

// The style tables on offer: the plain files of the style folder, in name
// order (hidden files left out).
std::vector<std::string> styleTableFiles(const std::string& styleDir)
{
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(styleDir, ec)) {
        const std::string name = entry.path().filename().string();
        std::error_code fileError;
        if (!name.empty() && name[0] != '.' && entry.is_regular_file(fileError))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

void DashRequestHandler::answerClientParameters(std::string_view block, wire::DashOutput& out) const
{
    GMSx_GMMClientParametersRequestProto req;
    GMSx_GMMClientParametersResponseProto resp;
    if (!parse(req, block)) {
        out.writeMessage(resp);
        return;
    }
    const bool paintRoute = !m_config.paintSigningKey.empty();
    for (const auto& asked : req.parameter_group_array()) {
        if (asked.type() == PARAMETER_GROUP_UNKNOWN)
            continue;
        GMSx_GMMParameterGroupProto g;
        g.set_type(asked.type());
        if (asked.type() == PARAMETER_GROUP_VECTOR_MAPS) {
            auto* vm = g.mutable_vector_maps();
            vm->set_disk_cache_server_schema_version(m_config.diskCacheSchemaVersion);
            if (m_config.pertileDurationMinutes > 0)
                vm->set_pertile_duration_in_minutes(m_config.pertileDurationMinutes);
            if (paintRoute)
                for (int type : m_config.directToPaintTileTypes)
                    vm->add_direct_to_paint_enabled_tile_type_array(static_cast<GMSx_GMMTileType>(type));
        }
        if (asked.type() == PARAMETER_GROUP_STYLE_TABLES && !m_config.styleDir.empty()) {
            // Relative URLs: the app takes them from its service endpoint.
            const auto files = styleTableFiles(m_config.styleDir);
            if (!files.empty()) {
                auto* st = g.mutable_style_tables();
                st->set_paint_epoch(m_config.styleEpoch);
                int mapStyle = 0;
                for (const auto& name : files) {
                    auto* m = st->add_style_table_mapping_array();
                    m->set_url("/styles/" + name);
                    m->set_map_style(mapStyle++);
                }
            }
        }
        if (asked.type() == PARAMETER_GROUP_PAINT && paintRoute) {
            g.mutable_paint()->set_paint_server_base_url(kPaintPath);
            g.mutable_paint()->set_request_signing_key(m_config.paintSigningKey);
        }
        const std::uint64_t hash = fnv1a(g.SerializeAsString());
        auto* answered = resp.add_parameter_group_array();
        answered->set_type(asked.type());
        answered->set_hash_p(hash);
        // Unchanged since the client's copy: the hash alone says so.
        if (!(asked.has_hash_p() && asked.hash_p() == hash)) {
            g.set_hash_p(hash);
            *answered = g;
        }
    }
    out.writeMessage(resp);
}

void DashRequestHandler::answerQuota(bool keyAccepted, const std::string& apiKey, wire::DashOutput& out) const
{
    GMSx_GMMApiQuotaEventResponseProto resp;
    if (keyAccepted) {
        resp.set_response(QUOTA_RESPONSE_OK);
    } else {
        resp.set_response(QUOTA_RESPONSE_INVALID_KEY);
        resp.set_localized_user_error_string("This map service does not accept the API key.");
        resp.set_developer_console_error_string("API key '" + apiKey + "' is not in the service's list.");
    }
    out.writeMessage(resp);
}

}  // namespace zenloft::mapservice
