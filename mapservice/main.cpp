// zenloft-mapservice: answers the map engine's framed POSTs on loopback (or a
// configured address) with tiles from MBTiles files.
#include "server/MapServiceServer.h"

#include <csignal>
#include <cstdio>
#include <iostream>

using zenloft::mapservice::MapServiceServer;
using zenloft::mapservice::ServiceConfig;

namespace {
MapServiceServer* g_server = nullptr;
extern "C" void onSignal(int)
{
    if (g_server)
        g_server->stop();
}
}  // namespace

int main(int argc, char** argv)
{
    ServiceConfig config;
    std::string error;
    bool help = false;
    if (!zenloft::mapservice::parseCommandLine(argc, argv, config, error, help)) {
        if (help)
            return 0;
        std::cerr << "zenloft-mapservice: " << error << "\n";
        return 2;
    }
    MapServiceServer server(config);
    if (!server.prepare(error)) {
        std::cerr << "zenloft-mapservice: " << error << "\n";
        return 1;
    }
    // The app is pointed at these two values.
    std::printf("endpoint %s\n", server.endpointUrl().c_str());
    if (config.apiKeys.empty())
        std::printf("api-key (any key is accepted)\n");
    for (const auto& key : config.apiKeys)
        std::printf("api-key %s\n", key.c_str());
    for (const auto& [type, path] : config.tilesByType)
        std::printf("tiles %s %s\n", zenloft::mapservice::tileTypeName(type).c_str(), path.c_str());
    if (!config.styleDir.empty())
        std::printf("styles %s epoch %d\n", config.styleDir.c_str(), config.styleEpoch);
    if (!config.paintSigningKey.empty()) {
        std::printf("paint route on for");
        for (int type : config.directToPaintTileTypes)
            std::printf(" %s", zenloft::mapservice::tileTypeName(type).c_str());
        std::printf("\n");
    }
    std::fflush(stdout);

    g_server = &server;
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    const bool ok = server.run();
    g_server = nullptr;
    return ok ? 0 : 1;
}
