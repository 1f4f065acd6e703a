#pragma once

// What every point-to-point screen test stands on: a temporary data folder
// with a real object store and settings file, location services fed by
// hand, a sound recorder, and a navigation stack with the area's screens
// registered above a blank root.

#include "GMSServices.h"
#include "PtpScreens.h"
#include "fake_context.h"
#include "settings/UserDefaults.h"
#include "store/Realm.h"
#include "testsupport.h"
#include "ui/NavigationController.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

#include <memory>

namespace ptptest {

class Root : public UIViewController {};

// The engine's tile workers must be done before the application object
// goes, or a worker still drawing a tile meets a torn-down font system.
inline const bool kServicesShutAtEnd = [] {
    struct ServicesShutdown : ::testing::Environment {
        void TearDown() override { GMSServices::waitForTileWorkers(); }
    };
    ::testing::AddGlobalTestEnvironment(new ServicesShutdown);
    return true;
}();

class ScreenTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Maps draw the built-in coordinate tiles: no network. The key is given once per process.
        static const bool keyed = (GMSServices::provideAPIKey(QString(39, QChar('A'))), true);
        Q_UNUSED(keyed);
        nav = std::make_unique<NavigationController>();
        PtpScreens::registerScreens(*nav, fake.context);
        root = new Root;
        nav->setRootViewController(root, QUrl());
    }
    void TearDown() override {
        nav.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    UserDefaults& defaults() const { return fake.defaults; }

    // Stores a point as the editor does; returns its id.
    QString addPoint(const QString& name, double lat, double lon, const QString& desc = QString(), int r = 255,
                     int g = 0, int b = 0) {
        const QString id = QStringLiteral("P-%1").arg(++ids_);
        realm_ptp::addPoint(fake.realm, name, desc, lat, lon, r, g, b, id);
        return id;
    }
    // One line per stored point, in store order: "name|desc|lat,lon|r,g,b".
    QStringList points() const {
        QStringList out;
        const auto realm = fake.realm.open(nullptr);
        if (!realm) return out;
        for (const realm_ptp& p : realm->points())
            out << QStringLiteral("%1|%2|%3,%4|%5,%6,%7")
                       .arg(p.name, p.ptp_description)
                       .arg(p.latitude)
                       .arg(p.longitude)
                       .arg(p.markerRed)
                       .arg(p.markerGreen)
                       .arg(p.markerBlue);
        return out;
    }
    // The manual from point: in use, latitude, longitude.
    void setManual(bool use, double lat, double lon) {
        defaults().setBool(use, SettingsKey::useGeocoder);
        defaults().setDouble(lat, SettingsKey::latitude);
        defaults().setDouble(lon, SettingsKey::longitude);
    }
    // Opens a screen above the root as its segue would.
    template <class T>
    T* open(const char* segue, const QVariant& sender = QVariant()) {
        while (nav->depth() > 1) nav->popViewControllerAnimated(false);
        EXPECT_TRUE(root->performSegueWithIdentifier(QString::fromLatin1(segue), sender));
        return qobject_cast<T*>(nav->topViewController());
    }

    mutable zltest::FakeScreenContext fake;
    zl::ManualClock& clock = fake.clock;
    LocationServices* services = &fake.location;
    zltest::FakeBackend* backend = fake.backend;
    zltest::RecordingPlayer* player = &fake.player;
    std::unique_ptr<NavigationController> nav;
    Root* root = nullptr;

private:
    int ids_ = 0;
};

}  // namespace ptptest
