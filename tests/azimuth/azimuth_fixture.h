#pragma once

// What every azimuth screen test stands on: a temporary data folder with a
// real store and settings file, an application delegate, location services
// fed by hand, a sound recorder, and a navigation stack with the area's
// screens registered above a blank root.

#include "AppDelegate.h"
#include "AppPaths.h"
#include "AzimuthScreens.h"
#include "Clock.h"
#include "GMSServices.h"
#include "LocationBackend.h"
#include "LocationServices.h"
#include "SystemSound.h"
#include "settings/UserDefaults.h"
#include "store/Entities.h"
#include "testsupport.h"
#include "ui/NavigationController.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <memory>

namespace aztest {

class FakeBackend : public LocationBackend {
public:
    bool providesPositions() const override { return true; }
    bool providesHeadings() const override { return true; }
    void fix(double lat, double lon) {
        CLLocation loc;
        loc.coordinate = {lat, lon};
        loc.timestamp = QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC);
        emit locationsUpdated({loc});
    }
    void heading(double magnetic) {
        emit magneticHeadingUpdated(magnetic, 3.0, QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC));
    }
};

class RecordingPlayer : public SoundPlayer {
public:
    void play(int soundId) override { played << soundId; }
    QList<int> played;
};

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
        ASSERT_TRUE(dir.isValid());
        // Maps draw the built-in coordinate tiles: no network.
        GMSServices::provideAPIKey(QString(39, QChar('A')));
        AppPaths::setDataDir(dir.path());
        UserDefaults::setStandardPath(dir.filePath("settings.ini"));
        services = new LocationServices(&clock);
        backend = new FakeBackend;
        services->setBackends(backend, backend);
        LocationServices::setShared(services);
        player = std::make_shared<RecordingPlayer>();
        SystemSound::setPlayer(player);
        appDelegate = std::make_unique<AppDelegate>();
        nav = std::make_unique<NavigationController>();
        AzimuthScreens::registerScreens(*nav);
        root = new Root;
        nav->setRootViewController(root, QUrl());
    }
    void TearDown() override {
        nav.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (auto* c = context()) c->flush();
        appDelegate.reset();
        SystemSound::setPlayer(nullptr);
        LocationServices::setShared(nullptr);
        delete services;
    }

    NSManagedObjectContext* context() const {
        return appDelegate ? appDelegate->persistentContainer()->viewContext() : nullptr;
    }
    UserDefaults& defaults() const { return UserDefaults::standardUserDefaults(); }
    QList<Azimuth*> stored() const {
        QString error;
        return context()->fetchAll<Azimuth>(&error);
    }
    Azimuth* addAzimuth(double azimuth, double km, const QString& desc = QString(), int r = 255, int g = 0,
                        int b = 0, bool active = true) {
        Azimuth* a = context()->insertNewObject<Azimuth>();
        a->setId(QStringLiteral("ID-%1").arg(++ids_));
        a->setAzimuth(azimuth);
        a->setDistance(km);
        if (!desc.isNull()) a->setDesc(desc);
        a->setColorRed(r);
        a->setColorGreen(g);
        a->setColorBlue(b);
        a->setIsActive(active);
        QString error;
        EXPECT_TRUE(context()->save(&error)) << error.toStdString();
        return a;
    }
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

    QTemporaryDir dir;
    ManualClock clock{QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC)};
    LocationServices* services = nullptr;
    FakeBackend* backend = nullptr;
    std::shared_ptr<RecordingPlayer> player;
    std::unique_ptr<AppDelegate> appDelegate;
    std::unique_ptr<NavigationController> nav;
    Root* root = nullptr;

private:
    int ids_ = 0;
};

}  // namespace aztest
