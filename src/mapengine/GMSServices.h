#pragma once

#include <QString>

class GMSDisplayLink;
class GMSTileSource;

// The engine's one shared object: holds the API key and the parts every map
// view shares (display link, tile source). The key must be given once,
// before any map view is made.
class GMSServices {
public:
    // Returns false and keeps the first key for an empty key or a second call.
    static bool provideAPIKey(const QString& key);

    // The singleton; nullptr (with a logged "GMSServicesException") while no
    // key was given.
    static GMSServices* sharedServices();
    // What a map view uses: finishes any pending start, then as above.
    static GMSServices* sharedServicesSync();
    // The singleton if one exists already, else nullptr.
    static GMSServices* sharedServicesIfActive();

    QString APIKey() const { return key_; }

    GMSDisplayLink* displayLink() const { return displayLink_; }

    // The raster source every new map view draws from. Not owned. Without
    // one, views use the built-in coordinate tile source.
    GMSTileSource* tileSource() const;
    void setTileSource(GMSTileSource* source) { tileSource_ = source; }
    bool hasInstalledTileSource() const { return tileSource_ != nullptr; }

    // Forgets the key and the singleton, so that each test starts clean.
    static void resetForTests();
    // Waits for the built-in tile source's workers still drawing; call
    // before the application object goes (they draw text with its fonts).
    static void waitForTileWorkers();

private:
    explicit GMSServices(const QString& key);
    ~GMSServices();

    QString key_;
    GMSDisplayLink* displayLink_ = nullptr;
    GMSTileSource* tileSource_ = nullptr;
    mutable GMSTileSource* defaultSource_ = nullptr;
};
