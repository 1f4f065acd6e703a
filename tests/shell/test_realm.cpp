// The object store: points, tracks, queries and the serial "realmQueue".

#include "Clock.h"
#include "store/Realm.h"
#include "testsupport.h"

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <thread>

namespace {

class RealmTest : public ::testing::Test {
protected:
    void TearDown() override { store.flush(); }
    std::shared_ptr<Realm> open() {
        QString err;
        auto r = store.open(&err);
        EXPECT_TRUE(r) << err.toStdString();
        return r;
    }
    void reopen() {
        store.flush();
        store.reset();
    }
    QTemporaryDir dir;
    zl::ManualClock clock{QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC)};
    RealmConfiguration store{QDir(dir.path()).filePath("default.realm"), &clock};
};

}  // namespace

TEST_F(RealmTest, PointsAddUpdateDeleteSurviveReopeningDuplicateIdsAreLeftAloneAndARefusedWriteChangesNothing) {
    realm_ptp::addPoint(store, "mast", "roof", 52.1, 21.0, 255, 0, 10, "P1");
    realm_ptp::addPoint(store, "tower", "", -33.9, 151.2, 1, 2, 3, "P2");
    realm_ptp::updatePoint(store, "P1", "mast 2", "roof top", 52.2, 21.1, 9, 8, 7);
    EXPECT_TRUE(realm_ptp::deletePoint(store, "P2"));
    EXPECT_FALSE(realm_ptp::deletePoint(store, "unknown"));  // ignored
    reopen();
    auto points = open()->objects<realm_ptp>();
    ASSERT_EQ(points.count(), 1);
    const realm_ptp p = *points.first();
    const QString numbers =
        QString::asprintf("%g %g %lld %lld", p.latitude, p.longitude, qint64(p.markerRed), qint64(p.markerBlue));
    EXPECT_EQ((QStringList{p.id, p.name, p.ptp_description, numbers}),
              (QStringList{"P1", "mast 2", "roof top", "52.2 21.1 9 7"}));

    // Two points with one id can be neither updated nor deleted.
    realm_ptp::addPoint(store, "a", "", 1, 1, 0, 0, 0, "SAME");
    realm_ptp::addPoint(store, "b", "", 2, 2, 0, 0, 0, "SAME");
    realm_ptp::updatePoint(store, "SAME", "changed", "", 0, 0, 0, 0, 0);
    EXPECT_FALSE(realm_ptp::deletePoint(store, "SAME"));
    QStringList names;
    for (const auto& p : open()->points()) names << p.name;
    EXPECT_EQ(names, QStringList({"mast 2", "a", "b"}));

    // A refused write leaves everything as it was.
    auto realm = open();
    QString err;
    EXPECT_FALSE(realm->write(
        [](Realm& r, QString* e) {
            realm_ptp p;
            p.id = "X";
            r.add(p);
            *e = "refused";
            return false;
        },
        &err));
    EXPECT_EQ(realm->points().count(), 3);
    reopen();
    EXPECT_EQ(open()->points().count(), 3);
}

TEST_F(RealmTest, TracksAndTheirPoints) {
    realmValidation_tracks::addTrack(store, "T1", "drive", 10, 20, 30);
    {
        zltest::LogCapture log;
        realmValidation_tracks::addTrack(store, "T1", "second", 0, 0, 0);
        EXPECT_TRUE(log.contains("existing primary key")) << "a track with an existing id is dropped";
    }
    const auto head = realmValidation_tracks::trackById(store, "T1");
    ASSERT_EQ(head.size(), 1);
    // Stamped by the store's clock; the stop is the start until the track ends.
    EXPECT_EQ(std::tuple(head[0].desc, head[0].distance, head[0].dateStart, head[0].dateStop),
              std::tuple(QString("drive"), 0.0, clock.now(), clock.now()));
    clock.advance(90'000);
    for (int i = 0; i < 3; ++i) realmValidation_tracksData::addTrackPoint(store, "T1", 50.0 + i, 20.0);
    realmValidation_tracksData::addTrackPoint(store, "T2", 1, 1);
    realmValidation_tracks::updateTrack(store, "T1", "walk", 1, 2, 3);
    realmValidation_tracks::finishTrack(store, "T1", 12.5);
    reopen();
    const auto done = realmValidation_tracks::trackById(store, "T1");
    ASSERT_EQ(done.size(), 1);
    EXPECT_EQ(std::tuple(done[0].desc, done[0].colorGreen, done[0].distance, done[0].dateStop),
              std::tuple(QString("walk"), 2, 12.5, done[0].dateStart.addSecs(90)));
    const auto pts = realmValidation_tracksData::pointsOfTrack(store, "T1");
    ASSERT_EQ(pts.size(), 3);
    EXPECT_EQ(std::tuple(pts[2].latitude, pts[0].date, pts[0].date.timeSpec()), std::tuple(52.0, clock.now(), Qt::UTC));

    // Deleting the head leaves the points: the caller deletes those itself.
    realmValidation_tracks::deleteTrack(store, "T1");
    EXPECT_TRUE(realmValidation_tracks::trackById(store, "T1").isEmpty());
    EXPECT_EQ(realmValidation_tracksData::pointsOfTrack(store, "T1").size(), 3);
    ASSERT_TRUE(open()->write(
        [](Realm& r, QString*) {
            for (const auto& p : r.trackPoints().filter("id = %@", "T1")) r.remove(p);
            return true;
        },
        nullptr));
    reopen();
    EXPECT_EQ(std::pair(realmValidation_tracksData::pointsOfTrack(store, "T1").size(),
                        realmValidation_tracksData::pointsOfTrack(store, "T2").size()),
              std::pair(qsizetype(0), qsizetype(1)));
}

TEST_F(RealmTest, QueriesSortStablyAndFilterByKey) {
    // More than 16 equal keys: below that, an unstable sort keeps order too.
    constexpr int kEach = 30;
    for (int i = 0; i < 2 * kEach; ++i) realm_ptp::addPoint(store, QString::number(i), "", 1 + i % 2, 0, 0, 0, 0, QString::number(i));
    realm_ptp::addPoint(store, "c", "", 0.5, 0, 0, 0, 0, "c");
    auto points = open()->points();
    for (const bool ascending : {true, false}) {
        // Within each run of equal latitudes the store order stays.
        QStringList got, expected;
        for (int latitude : ascending ? std::array{1, 2} : std::array{2, 1})
            for (int i = latitude - 1; i < 2 * kEach; i += 2) expected << QString::number(i);
        expected.insert(ascending ? 0 : expected.size(), "c");
        for (const auto& p : points.sorted("latitude", ascending)) got << p.name;
        EXPECT_EQ(got, expected) << ascending;
    }
    EXPECT_EQ(points.sorted("name", false)[0].name, "c");
    EXPECT_EQ(points.filter("name = %@", "7").count(), 1);
    EXPECT_EQ(points.filter("name BEGINSWITH b", {}).count(), 0) << "unsupported forms match nothing";
}

TEST_F(RealmTest, PointsAddedFromManyThreadsAllArriveOnceThroughTheRealmQueue) {
    constexpr int kThreads = 4, kEach = 50;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([this, t] {
            for (int i = 0; i < kEach; ++i)
                realm_ptp::addPoint(store, QString::number(t), "", i, t, 0, 0, 0, QStringLiteral("%1-%2").arg(t).arg(i));
        });
    for (auto& th : threads) th.join();
    reopen();
    auto points = open()->points();
    ASSERT_EQ(points.count(), kThreads * kEach);
    // Each thread's points arrive once and in their order.
    for (int t = 0; t < kThreads; ++t) {
        QStringList got, expected;
        for (const auto& p : points.filter("name = %@", QString::number(t))) got << p.id;
        for (int i = 0; i < kEach; ++i) expected << QStringLiteral("%1-%2").arg(t).arg(i);
        EXPECT_EQ(got, expected);
    }
    // The writes run on the serial queue named realmQueue (its behaviour is tested in tests/base).
    std::thread::id ran;
    store.syncOnQueue([&] { ran = std::this_thread::get_id(); });
    EXPECT_NE(ran, std::this_thread::get_id());
    EXPECT_EQ(store.queueLabel(), "realmQueue");
}

TEST(RealmOpen, WithoutALocationOrWithACorruptFileOpeningFails) {
    QString err;
    EXPECT_FALSE(RealmConfiguration(QString()).open(&err));
    QTemporaryDir dir;
    const QString path = zltest::writeFile(QDir(dir.path()).filePath("default.realm"), QByteArray(4096, '\x7f'));
    RealmConfiguration store(path);
    zltest::LogCapture log;
    EXPECT_FALSE(store.open(&err));
    EXPECT_TRUE(err.contains(path));
    realm_ptp::addPoint(store, "x", "", 0, 0, 0, 0, 0, "X");  // dropped, logged
    EXPECT_FALSE(log.messages().isEmpty());
    EXPECT_EQ(QFileInfo(path).size(), 4096);
}
