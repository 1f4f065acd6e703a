#pragma once

// The azimuth screens' tests: the shared screen fixture with the stored
// azimuths at hand.

#include "AzimuthScreens.h"
#include "screen_fixture.h"
#include "store/Entities.h"

#include <tuple>

namespace aztest {

class ScreenTest : public zltest::ScreenTest<&AzimuthScreens::registerScreens> {
protected:
    void TearDown() override {
        zltest::ScreenTest<&AzimuthScreens::registerScreens>::TearDown();
        if (auto* c = context()) c->flush();
    }

    NSManagedObjectContext* context() const {
        return fake.appDelegate.persistentContainer()->viewContext();
    }
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
private:
    int ids_ = 0;
};

}  // namespace aztest
