#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zenloft::mapservice {

// Everything the service is told at start, from the config file and the
// command line (the command line wins).
struct ServiceConfig {
    std::string address = "127.0.0.1";
    int port = 8765;
    int threads = 4;
    std::set<std::string> apiKeys;              // empty: any key is accepted
    std::map<int, std::string> tilesByType;     // tile type number -> MBTiles path
    std::string styleDir;                       // served under /styles/
    int styleEpoch = 1;                         // the paint epoch of the style folder's tables
    std::size_t maxBodyBytes = 1u << 20;
    std::size_t maxRequestsPerBody = 256;
    std::string cohort = "zenloft";
    std::string legalCountry;
    int pertileDurationMinutes = 0;             // 0: not sent
    int diskCacheSchemaVersion = 1;
    std::size_t tileCacheBytes = 256u << 20;    // hot tiles kept in memory
    bool quiet = false;                          // no per-request log lines
    // The paint route: offered only with a signing key; tiles of these types
    // are then asked for at the paint path, each batch signed with the key.
    std::string paintSigningKey;
    std::set<int> directToPaintTileTypes;
};

// Parses "key = value" lines ('#' starts a comment). Returns false with a
// message naming the line on any unknown key or bad value; relative paths are
// taken from the config file's folder.
bool loadConfigFile(const std::string& path, ServiceConfig& config, std::string& error);

// Applies one setting; shared by the file reader and the command line.
bool applySetting(const std::string& key, const std::string& value, const std::string& baseDir,
                  ServiceConfig& config, std::string& error);

// "satellite", "TILE_TYPE_SATELLITE" or a number; -1 when unknown.
int tileTypeFromName(const std::string& name);
std::string tileTypeName(int type);

// Parses the command line; prints usage on --help. Returns false on error
// (message in error) or when the program should stop (help shown).
bool parseCommandLine(int argc, char** argv, ServiceConfig& config, std::string& error, bool& helpShown);

}  // namespace zenloft::mapservice
