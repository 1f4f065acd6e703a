#include "GMSServices.h"

#include <QDebug>

#include "GMSCoordinateTileSource.h"
#include "GMSDisplayLink.h"

namespace {
QString g_key;
bool g_keyGiven = false;
GMSServices* g_services = nullptr;
}  // namespace

bool GMSServices::provideAPIKey(const QString& key) {
    if (key.isEmpty()) {
        qWarning().noquote() << "provideAPIKey: requires non-empty API key";
        return false;
    }
    if (g_keyGiven) {
        qWarning().noquote() << "provideAPIKey: should be called at most once";
        return false;
    }
    g_key = key;
    g_keyGiven = true;
    return true;
}

GMSServices* GMSServices::sharedServices() {
    if (g_services) return g_services;
    if (!g_keyGiven) {
        qWarning().noquote() << "GMSServicesException: GMSServices must be initialized via "
                                "[GMSServices provideAPIKey:...] prior to use";
        return nullptr;
    }
    g_services = new GMSServices(g_key);
    return g_services;
}

GMSServices* GMSServices::sharedServicesSync() { return sharedServices(); }

GMSServices* GMSServices::sharedServicesIfActive() { return g_services; }

GMSServices::GMSServices(const QString& key) : key_(key), displayLink_(new GMSDisplayLink()) {}

GMSServices::~GMSServices() {
    delete displayLink_;
    delete defaultSource_;
}

GMSTileSource* GMSServices::tileSource() const {
    if (tileSource_) return tileSource_;
    if (!defaultSource_) defaultSource_ = new GMSCoordinateTileSource();
    return defaultSource_;
}

void GMSServices::waitForTileWorkers() {
    if (g_services && g_services->defaultSource_)
        static_cast<GMSCoordinateTileSource*>(g_services->defaultSource_)->waitForDone();
}

void GMSServices::resetForTests() {
    delete g_services;
    g_services = nullptr;
    g_key.clear();
    g_keyGiven = false;
}
