#pragma once

// The point-to-point screens' tests: the shared screen fixture with the
// stored points at hand.

#include "PtpScreens.h"
#include "screen_fixture.h"
#include "store/Realm.h"

namespace ptptest {

using Root = zltest::Root;

class ScreenTest : public zltest::ScreenTest<&PtpScreens::registerScreens> {
protected:
    // Stores a point as the editor does; returns its id.
    QString addPoint(const QString& name, double lat, double lon, const QString& desc = QString(), int r = 255,
                     int g = 0, int b = 0) {
        const QString id = QStringLiteral("P-%1").arg(++ids_);
        realm_ptp::addPoint(fake.realm, name, desc, lat, lon, r, g, b, id);
        return id;
    }
    // The stored points, in store order.
    QList<realm_ptp> points() const {
        const auto realm = fake.realm.open(nullptr);
        return realm ? realm->points().toList() : QList<realm_ptp>();
    }

    zl::ManualClock& clock = fake.clock;
    zltest::FakeBackend* backend = fake.backend;
    zltest::RecordingPlayer* player = &fake.player;

private:
    int ids_ = 0;
};

}  // namespace ptptest
