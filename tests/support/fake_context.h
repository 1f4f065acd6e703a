#pragma once

// A ScreenContext for tests: a temporary data folder with a real store and
// settings file, location services fed by hand, a manual clock and a sound
// recorder. Header only: it stands on the shell, which only the screen tests
// link.

#include "AppDelegate.h"
#include "Clock.h"
#include "LocationBackend.h"
#include "LocationServices.h"
#include "ScreenContext.h"
#include "store/Realm.h"
#include "SystemSound.h"
#include "settings/UserDefaults.h"

#include <QTemporaryDir>
#include <QThreadPool>

#include <memory>

namespace zltest {

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

struct FakeScreenContext {
    FakeScreenContext()
        : realm(dir.filePath("default.realm"), &clock),
          defaults(dir.filePath("settings.ini")),
          location(&clock),
          appDelegate(AppPaths(dir.path())) {
        backend = new FakeBackend;
        location.setBackends(backend, backend);
        context.appDelegate = &appDelegate;
        context.realm = &realm;
        context.defaults = &defaults;
        context.location = &location;
        context.clock = &clock;
        context.sound = &player;
        context.paths = AppPaths(dir.path());
    }
    ~FakeScreenContext() {
        // Screens make folders on the global pool; the temporary folder goes
        // only once they are done writing into it.
        QThreadPool::globalInstance()->waitForDone();
        realm.flush();
        if (appDelegate.hasOpenedStore())
            if (auto* c = appDelegate.persistentContainer()->viewContext()) c->flush();
    }

    QTemporaryDir dir;
    zl::ManualClock clock{QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC)};
    RealmConfiguration realm;
    UserDefaults defaults;
    LocationServices location;
    FakeBackend* backend = nullptr;  // owned by location
    RecordingPlayer player;
    AppDelegate appDelegate;
    ScreenContext context;
};

}  // namespace zltest
