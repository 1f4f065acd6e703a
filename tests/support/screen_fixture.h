#pragma once

// What every screen test of a work area stands on: a fake screen context and
// the area's screens, registered by the given function, above a blank root.

#include "GMSServices.h"
#include "fake_context.h"
#include "testsupport.h"
#include "ui/NavigationController.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

#include <memory>

namespace zltest {

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

template <void (*Register)(NavigationController&, const ScreenContext&)>
class ScreenTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Maps draw the built-in coordinate tiles: no network. The key is given once per process.
        static const bool keyed = (GMSServices::provideAPIKey(QString(39, QChar('A'))), true);
        Q_UNUSED(keyed);
        nav = std::make_unique<NavigationController>();
        Register(*nav, fake.context);
        root = new Root;
        nav->setRootViewController(root, QUrl());
    }
    void TearDown() override {
        nav.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    UserDefaults& defaults() const { return fake.defaults; }
    // The manual position: in use, latitude, longitude.
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

    mutable FakeScreenContext fake;
    std::unique_ptr<NavigationController> nav;
    Root* root = nullptr;
};

}  // namespace zltest
