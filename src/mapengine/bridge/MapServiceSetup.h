#pragma once

#include <QString>
#include <QUrl>

#include <memory>

class GMSCoreClientParameters;
class GMSDASHTileService;
class GMSDASHConnection;
class GMSServiceTileSource;
class GMSStyleTableService;
namespace zl {
class Clock;
}

struct MapServiceOptions {
    QUrl endpoint;            // e.g. http://127.0.0.1:8765/glm/mmap
    QString apiKey;           // 39 characters
    QString settingsIniPath;  // the engine's identity and last-run version live here
    QString cacheDir;         // disk caches and "ServerControlledParams"
    int tileEdgeLength = 256;
    double screenScale = 1.0;
    zl::Clock* clock = nullptr;  // the machine's when none is given
};

// Builds the engine's traffic with the map service: connection, disk caches,
// client parameters, the style tables they name, one tile service per layer
// and the tile source that the map views draw from, which it installs with GMSServices. Call on the GUI
// thread after QGuiApplication exists and GMSServices::provideAPIKey; stop()
// before the application object goes.
class MapServiceSetup {
public:
    explicit MapServiceSetup(MapServiceOptions options);
    ~MapServiceSetup();
    MapServiceSetup(const MapServiceSetup&) = delete;
    MapServiceSetup& operator=(const MapServiceSetup&) = delete;

    // Starts everything; `install` puts the source into GMSServices, where
    // only one setup's source may be. False (with a logged reason) when the
    // options are unusable, no key was given or another setup is installed;
    // the map then keeps its built-in tiles.
    bool startServices(bool install);
    bool isReady() const;  // client parameters (or their failure) and disk caches in hand

    GMSServiceTileSource* tileSource() const;
    GMSCoreClientParameters* clientParameters() const;
    GMSStyleTableService* styleTableService() const;
    // The tile service of a map service tile type; null when there is none.
    GMSDASHTileService* tileServiceForType(int mapTileType) const;
    GMSDASHConnection* connection() const;

    static const QString kEngineVersion;
    static const QString kLastRunCoreVersionKey;
    static const QString kLastRunSDKVersionKey;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
