#include "ServiceConfig.h"

#include "maptile.pb.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace zenloft::mapservice {

namespace {

std::string trim(const std::string& s)
{
    const auto b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos)
        return {};
    const auto e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

bool toInt(const std::string& v, long long lo, long long hi, long long& out)
{
    const auto* end = v.data() + v.size();
    const auto r = std::from_chars(v.data(), end, out);
    return r.ec == std::errc() && r.ptr == end && out >= lo && out <= hi;
}

std::string resolve(const std::string& path, const std::string& baseDir)
{
    if (path.empty() || baseDir.empty() || std::filesystem::path(path).is_absolute())
        return path;
    return (std::filesystem::path(baseDir) / path).lexically_normal().string();
}

}  // namespace

int tileTypeFromName(const std::string& name)
{
    long long n = 0;
    if (toInt(name, 0, 1 << 20, n))
        return wire::GMSx_GMMTileType_IsValid(static_cast<int>(n)) ? static_cast<int>(n) : -1;
    std::string upper;
    for (char c : name)
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (upper.rfind("TILE_TYPE_", 0) != 0)
        upper = "TILE_TYPE_" + upper;
    wire::GMSx_GMMTileType t;
    return wire::GMSx_GMMTileType_Parse(upper, &t) ? static_cast<int>(t) : -1;
}

std::string tileTypeName(int type)
{
    if (!wire::GMSx_GMMTileType_IsValid(type))
        return std::to_string(type);
    std::string n = wire::GMSx_GMMTileType_Name(static_cast<wire::GMSx_GMMTileType>(type)).substr(10);
    std::transform(n.begin(), n.end(), n.begin(), [](unsigned char c) { return std::tolower(c); });
    return n;
}

bool applySetting(const std::string& key, const std::string& value, const std::string& baseDir,
                  ServiceConfig& c, std::string& error)
{
    long long n = 0;
    if (key == "address") {
        c.address = value;
    } else if (key == "port") {
        if (!toInt(value, 0, 65535, n))
            return error = "port must be 0..65535, not '" + value + "'", false;
        c.port = static_cast<int>(n);
    } else if (key == "threads") {
        if (!toInt(value, 1, 256, n))
            return error = "threads must be 1..256", false;
        c.threads = static_cast<int>(n);
    } else if (key == "api_key") {
        if (value.empty())
            return error = "api_key is empty", false;
        c.apiKeys.insert(value);
    } else if (key.rfind("tiles.", 0) == 0) {
        const int type = tileTypeFromName(key.substr(6));
        if (type < 0)
            return error = "unknown tile type '" + key.substr(6) + "'", false;
        c.tilesByType[type] = resolve(value, baseDir);
    } else if (key == "style_dir") {
        c.styleDir = resolve(value, baseDir);
    } else if (key == "style_epoch") {
        if (!toInt(value, 1, (1LL << 31) - 1, n))
            return error = "style_epoch must be 1..2147483647", false;
        c.styleEpoch = static_cast<int>(n);
    } else if (key == "paint_signing_key") {
        c.paintSigningKey = value;
    } else if (key == "direct_to_paint_types") {
        // A list of tile types; empty turns the paint route off for all.
        std::set<int> types;
        std::string rest = value;
        while (!rest.empty()) {
            const auto comma = rest.find(',');
            const std::string name = trim(rest.substr(0, comma));
            rest = comma == std::string::npos ? std::string() : rest.substr(comma + 1);
            if (name.empty())
                continue;
            const int type = tileTypeFromName(name);
            if (type < 0)
                return error = "unknown tile type '" + name + "' in direct_to_paint_types", false;
            types.insert(type);
        }
        c.directToPaintTileTypes = std::move(types);
    } else if (key == "max_body_bytes") {
        if (!toInt(value, 64, 1LL << 32, n))
            return error = "max_body_bytes must be 64..4294967296", false;
        c.maxBodyBytes = static_cast<std::size_t>(n);
    } else if (key == "max_requests_per_body") {
        if (!toInt(value, 1, 65535, n))
            return error = "max_requests_per_body must be 1..65535", false;
        c.maxRequestsPerBody = static_cast<std::size_t>(n);
    } else if (key == "cohort") {
        c.cohort = value;
    } else if (key == "legal_country") {
        c.legalCountry = value;
    } else if (key == "pertile_duration_minutes") {
        if (!toInt(value, 0, 1 << 30, n))
            return error = "pertile_duration_minutes must be a positive number", false;
        c.pertileDurationMinutes = static_cast<int>(n);
    } else if (key == "disk_cache_schema_version") {
        if (!toInt(value, 0, 1 << 30, n))
            return error = "disk_cache_schema_version must be a positive number", false;
        c.diskCacheSchemaVersion = static_cast<int>(n);
    } else if (key == "tile_cache_bytes") {
        if (!toInt(value, 0, 1LL << 40, n))
            return error = "tile_cache_bytes must be a number of bytes", false;
        c.tileCacheBytes = static_cast<std::size_t>(n);
    } else if (key == "quiet") {
        c.quiet = value == "1" || value == "true" || value == "yes";
    } else {
        return error = "unknown setting '" + key + "'", false;
    }
    return true;
}

bool loadConfigFile(const std::string& path, ServiceConfig& config, std::string& error)
{
    std::ifstream in(path);
    if (!in)
        return error = "cannot read config file " + path, false;
    const std::string baseDir = std::filesystem::absolute(path).parent_path().string();
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        const auto hash = line.find('#');
        if (hash != std::string::npos)
            line.erase(hash);
        line = trim(line);
        if (line.empty())
            continue;
        const auto eq = line.find('=');
        if (eq == std::string::npos)
            return error = path + ":" + std::to_string(number) + ": expected key = value", false;
        std::string e;
        if (!applySetting(trim(line.substr(0, eq)), trim(line.substr(eq + 1)), baseDir, config, e))
            return error = path + ":" + std::to_string(number) + ": " + e, false;
    }
    return true;
}

bool parseCommandLine(int argc, char** argv, ServiceConfig& config, std::string& error, bool& helpShown)
{
    helpShown = false;
    // The config file is read first so that the other options override it.
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--config") {
            if (i + 1 >= argc)
                return error = "--config needs a file", false;
            if (!loadConfigFile(argv[i + 1], config, error))
                return false;
        }
    }
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::cout << "usage: zenloft-mapservice [--config FILE] [--address A] [--port N]\n"
                         "         [--threads N] [--api-key KEY]... [--tiles TYPE=FILE.mbtiles]...\n"
                         "         [--style-dir DIR] [--style-epoch N] [--paint-signing-key KEY]\n"
                         "         [--direct-to-paint-types TYPE,...] [--quiet]\n"
                         "Answers POST /glm/mmap and serves GET /styles/<file> from the style folder.\n";
            helpShown = true;
            return false;
        }
        if (a == "--quiet") {
            config.quiet = true;
            continue;
        }
        if (i + 1 >= argc)
            return error = a + " needs a value", false;
        const std::string v = argv[++i];
        if (a == "--config")
            continue;
        std::string key;
        std::string value = v;
        if (a == "--tiles") {
            const auto eq = v.find('=');
            if (eq == std::string::npos)
                return error = "--tiles takes TYPE=FILE", false;
            key = "tiles." + v.substr(0, eq);
            value = v.substr(eq + 1);
        } else if (a.rfind("--", 0) == 0) {
            key = a.substr(2);
            std::replace(key.begin(), key.end(), '-', '_');
        } else {
            return error = "unexpected argument '" + a + "'", false;
        }
        if (!applySetting(key, value, std::filesystem::current_path().string(), config, error))
            return false;
    }
    return true;
}

}  // namespace zenloft::mapservice
