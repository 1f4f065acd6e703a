#pragma once

// What every azimuth screen test stands on: a fake screen context and the
// area's screens registered above a blank root.

#include "AzimuthScreens.h"
#include "GMSServices.h"
#include "fake_context.h"
#include "store/Entities.h"
#include "testsupport.h"
#include "ui/NavigationController.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

#include <memory>
#include <tuple>

namespace aztest {

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
        AzimuthScreens::registerScreens(*nav, fake.context);
        root = new Root;
        nav->setRootViewController(root, QUrl());
    }
    void TearDown() override {
        nav.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (auto* c = context()) c->flush();
    }

    NSManagedObjectContext* context() const {
        return fake.appDelegate.persistentContainer()->viewContext();
    }
    UserDefaults& defaults() const { return fake.defaults; }
    QList<Azimuth*> stored() const { return context()->fetchAll<Azimuth>(nullptr); }
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
        EXPECT_TRUE(context()->save(nullptr));
        return a;
    }
    // One line per stored azimuth: "azimuth distance r,g,b on|off desc".
    QStringList rows() const {
        QStringList out;
        for (const Azimuth* a : stored())
            out << QString::asprintf("%g %g %d,%d,%d %s ", a->azimuth(), a->distance(), a->colorRed(), a->colorGreen(),
                                     a->colorBlue(), a->isActive() ? "on" : "off") + a->desc();
        return out;
    }
    // The manual position settings: in use, latitude, longitude.
    std::tuple<bool, double, double> manual() const {
        return {defaults().boolForKey(SettingsKey::useGeocoder), defaults().doubleForKey(SettingsKey::latitude),
                defaults().doubleForKey(SettingsKey::longitude)};
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

    mutable zltest::FakeScreenContext fake;
    std::unique_ptr<NavigationController> nav;
    Root* root = nullptr;

private:
    int ids_ = 0;
};

}  // namespace aztest
