#include "LocationManager.h"
#include "LocationServices.h"
#include "ReplayBackend.h"
#include "WorkPosition.h"
#include "testsupport.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

CLLocation at(double lat, double lon) {
    CLLocation loc;
    loc.coordinate = {lat, lon};
    return loc;
}

// A source the test drives by hand, recording what is asked of it.
class FakeBackend : public LocationBackend {
public:
    bool providesPositions() const override { return true; }
    bool providesHeadings() const override { return true; }
    void setPositionsWanted(bool wanted) override { positionsWanted = wanted; }
    void setHeadingsWanted(bool wanted) override { headingsWanted = wanted; }

    void fix(double lat, double lon, QDateTime when = QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC)) {
        CLLocation loc = at(lat, lon);
        loc.timestamp = when;
        emit locationsUpdated({loc});
    }
    void batch(const QList<CLLocation>& locations) { emit locationsUpdated(locations); }
    void heading(double magnetic) { emit magneticHeadingUpdated(magnetic, 3.0, QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC)); }

    bool positionsWanted = false;
    bool headingsWanted = false;
};

// Each delivered batch as its latitudes, e.g. "52 52.00002".
QStringList batches(const QSignalSpy& spy) {
    QStringList out;
    for (const QList<QVariant>& call : spy) {
        QStringList lats;
        for (const CLLocation& l : call.at(0).value<QList<CLLocation>>()) lats << QString::number(l.coordinate.latitude, 'g', 8);
        out << lats.join(' ');
    }
    return out;
}

class LocationTest : public ::testing::Test {
protected:
    void SetUp() override { services.setBackends(backend, backend); }

    zl::ManualClock clock{QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC)};
    LocationServices services{&clock};
    FakeBackend* backend = new FakeBackend;  // owned by services
};

}  // namespace

TEST_F(LocationTest, EveryStatusChangeIsHeardAndANewManagerHearsTheStatusOnceAfterItIsBuilt) {
    services.setAuthorizationStatus(kCLAuthorizationStatusDenied);
    QCoreApplication::processEvents();
    LocationManager manager(&services);
    QSignalSpy changed(&manager, &LocationManager::didChangeAuthorizationStatus);
    EXPECT_EQ(changed.count(), 0);  // not from inside the constructor
    ASSERT_TRUE(zltest::waitFor([&] { return changed.count() == 1; }));
    for (int status : {0, 1, 2, 3, 4}) services.setAuthorizationStatus(status);
    ASSERT_TRUE(zltest::waitFor([&] { return changed.count() == 6; }));
    QList<int> heard;
    for (const auto& call : changed) heard << call.at(0).toInt();
    EXPECT_EQ(heard, (QList<int>{kCLAuthorizationStatusDenied, 0, 1, 2, 3, 4}));

    zltest::LogCapture log;
    services.setAuthorizationStatus(7);
    EXPECT_EQ(std::pair(services.authorizationStatus(), log.contains("unknown authorization status")), std::pair(4, true));
}

TEST_F(LocationTest, RequestCompletesAsynchronouslyWithTheAnswerOnceAndEnableMyLocationNeedsWhenInUse) {
    services.setAuthorizationStatus(kCLAuthorizationStatusNotDetermined);
    services.setPromptAnswer(kCLAuthorizationStatusDenied);
    LocationManager manager(&services);
    QCoreApplication::processEvents();  // the status every new manager hears
    QSignalSpy changed(&manager, &LocationManager::didChangeAuthorizationStatus);
    manager.requestWhenInUseAuthorization();
    manager.requestWhenInUseAuthorization();  // one question only
    EXPECT_EQ(services.authorizationStatus(), kCLAuthorizationStatusNotDetermined);
    ASSERT_TRUE(zltest::waitFor([&] { return changed.count() >= 1; }));
    manager.requestWhenInUseAuthorization();  // once decided, asking again does nothing
    QCoreApplication::processEvents();
    EXPECT_EQ(std::tuple(changed.count(), changed.value(0).value(0).toInt(), services.authorizationStatus()),
              std::tuple(qsizetype(1), kCLAuthorizationStatusDenied, kCLAuthorizationStatusDenied));

    // The blue dot only for "when in use"; from "not determined" it asks, and the answer comes later.
    for (auto [status, enabled] : {std::pair{kCLAuthorizationStatusAuthorizedWhenInUse, true},
                                   {kCLAuthorizationStatusAuthorizedAlways, false}, {kCLAuthorizationStatusDenied, false},
                                   {kCLAuthorizationStatusNotDetermined, false}}) {
        services.setPromptAnswer(kCLAuthorizationStatusAuthorizedWhenInUse);
        services.setAuthorizationStatus(status);
        EXPECT_EQ(enableMyLocation(manager), enabled) << status;
    }
    ASSERT_TRUE(zltest::waitFor([&] { return services.authorizationStatus() == 4; }));
}

TEST_F(LocationTest, PositionsFlowOnlyWithPermissionAndAManagerInBatchesThroughTheDistanceFilter) {
    EXPECT_FALSE(backend->positionsWanted);
    auto manager = std::make_unique<LocationManager>(&services);
    EXPECT_EQ(std::pair(backend->positionsWanted, backend->headingsWanted), std::pair(true, false));

    // A manager that starts nothing still sees the latest fix.
    backend->fix(52.0, 21.0);
    EXPECT_EQ(manager->location().value_or(CLLocation{}).coordinate, (CLLocationCoordinate2D{52.0, 21.0}));

    services.setAuthorizationStatus(kCLAuthorizationStatusDenied);
    EXPECT_EQ(std::pair(backend->positionsWanted, manager->location().has_value()), std::pair(false, false));
    backend->fix(1.0, 1.0);  // a stray fix without permission is dropped
    // Updates and requests without permission fail with "denied", later.
    QSignalSpy failed(manager.get(), &LocationManager::didFailWithError);
    manager->startUpdatingLocation();
    manager->requestLocation();
    EXPECT_EQ(failed.count(), 0);  // not from inside the calls
    ASSERT_TRUE(zltest::waitFor([&] { return failed.count() == 2; }));
    for (int i : {0, 1}) EXPECT_EQ(failed.at(i).at(0).value<CLError>().code, kCLErrorDenied);
    manager->stopUpdatingLocation();
    services.setAuthorizationStatus(kCLAuthorizationStatusAuthorizedAlways);
    EXPECT_EQ(std::tuple(backend->positionsWanted, manager->location().value_or(CLLocation{}).coordinate),
              std::tuple(true, CLLocationCoordinate2D{52.0, 21.0}));

    manager.reset();
    EXPECT_FALSE(backend->positionsWanted);

    // Updates deliver batches through the distance filter, only to the manager that started them.
    LocationManager quiet(&services);
    LocationManager updating(&services);
    QSignalSpy quietSpy(&quiet, &LocationManager::didUpdateLocations);
    QSignalSpy spy(&updating, &LocationManager::didUpdateLocations);
    updating.setDistanceFilter(1.0);
    updating.startUpdatingLocation();

    backend->batch({at(52.0, 21.0), at(52.000001, 21.0), at(52.00002, 21.0)});  // 0.1 m, then 2.1 m
    backend->fix(52.00002, 21.000001);  // under a metre: nothing
    updating.stopUpdatingLocation();
    backend->fix(53.0, 21.0);
    EXPECT_EQ(std::pair(batches(spy), quietSpy.isEmpty()), std::pair(QStringList{"52 52.00002"}, true));
}

TEST_F(LocationTest, RequestLocationGivesOneFixOrFailsInTime) {
    LocationManager manager(&services);
    QSignalSpy updated(&manager, &LocationManager::didUpdateLocations);
    QSignalSpy failed(&manager, &LocationManager::didFailWithError);

    // No fix yet: waits for the next, gives its last place, then stops listening.
    manager.requestLocation();
    backend->batch({at(1, 1), at(2, 2)});
    backend->fix(3, 3);
    EXPECT_EQ(std::pair(batches(updated), clock.pendingCount() == 0), std::pair(QStringList{"2"}, true));

    // A recent fix comes back at once (on the next turn of the loop).
    clock.advance(5000);
    manager.requestLocation();
    ASSERT_TRUE(zltest::waitFor([&] { return updated.count() == 2; }));
    EXPECT_EQ(batches(updated), (QStringList{"2", "3"}));

    // A stale one doesn't; with no new fix the request fails after 10 s.
    clock.advance(20000);
    manager.requestLocation();
    clock.advance(9999);
    EXPECT_EQ(failed.count(), 0);
    clock.advance(1);
    EXPECT_EQ(std::pair(failed.count(), failed.value(0).value(0).value<CLError>().code),
              std::pair(qsizetype(1), int(kCLErrorLocationUnknown)));
}

TEST_F(LocationTest, HeadingIsTrueOnceAPositionIsKnown) {
    LocationManager manager(&services);
    QSignalSpy spy(&manager, &LocationManager::didUpdateHeading);
    backend->heading(10.0);
    EXPECT_EQ(spy.count(), 0);  // heading updates not started
    manager.startUpdatingHeading();
    EXPECT_TRUE(backend->headingsWanted);

    backend->heading(10.0);
    auto h = spy.value(0).value(0).value<CLHeading>();
    EXPECT_EQ(std::tuple(spy.count(), h.isTrueHeading, h.trueHeading, h.headingAccuracy),
              std::tuple(1, false, 10.0, 3.0));

    backend->fix(40.7128, -74.006);  // New York, mid 2026: about 12.47° west
    backend->heading(10.0);
    h = spy.value(1).value(0).value<CLHeading>();
    EXPECT_EQ(std::pair(spy.count(), h.isTrueHeading), std::pair(qsizetype(2), true));
    EXPECT_NEAR(h.trueHeading, 360.0 + 10.0 - 12.47, 0.015);
    EXPECT_EQ(manager.heading(), std::optional(h));

    // Outside the model's years: flagged, and logged once.
    zltest::LogCapture log;
    backend->fix(52.2297, 21.0122, QDateTime(QDate(2031, 6, 1), QTime(0, 0), Qt::UTC));
    backend->fix(52.2297, 21.0122, QDateTime(QDate(2031, 6, 2), QTime(0, 0), Qt::UTC));
    backend->heading(100.0);
    EXPECT_EQ(std::tuple(spy.last().at(0).value<CLHeading>().declinationOutsideModel, log.messages().filter("extrapolated").size()),
              std::tuple(true, 1));

    manager.stopUpdatingHeading();
    EXPECT_EQ(std::pair(backend->headingsWanted, manager.heading().has_value()), std::pair(false, false));
}

TEST_F(LocationTest, ARecordedWalkPlaysThroughTheManagerWithTrueHeadings) {
    ASSERT_TRUE(services.configure("replay:" + zltest::sourcePath("tests/shell/platform/data/warsaw-walk.json")));
    auto* replay = qobject_cast<ReplayBackend*>(services.positionBackend());
    ASSERT_TRUE(replay);
    EXPECT_EQ(services.headingBackend(), replay);
    ASSERT_TRUE(zltest::waitFor([&] { return replay->hasTrack(); }));
    LocationManager manager(&services);
    manager.setDistanceFilter(1.0);
    manager.startUpdatingLocation();
    manager.startUpdatingHeading();
    QList<CLLocation> fixes;
    QList<CLHeading> headings;
    QObject::connect(&manager, &LocationManager::didUpdateLocations, [&](const QList<CLLocation>& l) { fixes += l; });
    QObject::connect(&manager, &LocationManager::didUpdateHeading, [&](const CLHeading& h) { headings += h; });
    clock.advance(0);
    clock.advance(60000);
    // 1.4 m apart: all fixes pass a 1 m filter.
    ASSERT_EQ(std::tuple(replay->isPlaying(), fixes.size(), headings.size()), std::tuple(false, 61, 121));
    EXPECT_NEAR(fixes.first().distanceFromLocation(fixes.last()), 84.0, 0.5);
    // The walk heads east; corrected by Warsaw's declination, so does the phone.
    EXPECT_TRUE(headings.last().isTrueHeading);
    EXPECT_NEAR(headings.last().trueHeading, 90.0, 10.5);  // the swing, and a year of drift

    zltest::LogCapture log;
    EXPECT_FALSE(services.configure("gps"));
    EXPECT_EQ(services.positionBackend(), replay);  // the old source stays
    EXPECT_TRUE(log.contains("Position source not changed"));
}

// The manual, device and (0, 0) cases run through the work screens; what
// they can't reach is the position kept from before.
TEST(WorkPosition, WithoutManualPointOrDeviceThePreviousStays) {
    const CLLocationCoordinate2D previous{1.0, 2.0};
    EXPECT_EQ(workPosition(true, {-0.0, 0.0}, std::nullopt, previous), previous);
    EXPECT_EQ(workPosition(false, {10.0, 20.0}, std::nullopt, std::nullopt), std::nullopt);
}
