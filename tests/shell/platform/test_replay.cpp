#include "Clock.h"
#include "LocationSourceConfig.h"
#include "QtPositionBackend.h"
#include "ReplayBackend.h"
#include "ReplayTrack.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <random>

namespace {

const QByteArray kRun = R"({
  "format": "zenloft-replay", "version": 1,
  "start": "2026-05-04T09:30:00Z",
  "events": [
    {"t": 0.0, "type": "location", "lat": 52.2297, "lon": 21.0122, "alt": 110, "hacc": 4, "speed": 1.5, "course": 90},
    {"t": 0.5, "type": "heading", "magnetic": 41.0, "accuracy": 5},
    {"t": 2.0, "type": "location", "lat": 52.2298, "lon": 21.0123},
    {"t": 2.0, "type": "location", "lat": 52.2299, "lon": 21.0124},
    {"t": 1.0, "type": "heading", "magnetic": 42.5}
  ]
})";

struct Recorder {
    struct Item {
        QString kind;
        QDateTime clockTime;
        QList<CLLocation> locations;
        double heading = 0, accuracy = 0;
        QDateTime headingTime;
    };
    std::vector<Item> items;

    void attach(LocationBackend* backend, zl::Clock* clock) {
        QObject::connect(backend, &LocationBackend::locationsUpdated, [this, clock](const QList<CLLocation>& l) {
            items.push_back({QStringLiteral("loc"), clock->now(), l, 0, 0, {}});
        });
        QObject::connect(backend, &LocationBackend::magneticHeadingUpdated,
                         [this, clock](double h, double a, const QDateTime& t) {
                             items.push_back({QStringLiteral("hdg"), clock->now(), {}, h, a, t});
                         });
    }
};

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& data) {
    const QString path = dir.filePath(name);
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(data);
    return path;
}

QByteArray nmea(const QByteArray& body) {
    quint8 sum = 0;
    for (char c : body)
        sum ^= quint8(c);
    return "$" + body + "*" + QByteArray::number(sum, 16).toUpper().rightJustified(2, '0') + "\r\n";
}

}  // namespace

TEST(ReplayTrack, ParsesAndSortsEvents) {
    QString error;
    const auto track = ReplayTrack::parse(kRun, &error);
    ASSERT_TRUE(track) << qPrintable(error);
    ASSERT_EQ(track->events.size(), 5u);
    EXPECT_EQ(track->start, QDateTime(QDate(2026, 5, 4), QTime(9, 30), Qt::UTC));
    EXPECT_FALSE(track->loop);
    const std::vector<qint64> offsets = {0, 500, 1000, 2000, 2000};
    for (size_t i = 0; i < offsets.size(); ++i)
        EXPECT_EQ(track->events[i].offsetMs, offsets[i]);
    const auto& first = track->events[0];
    EXPECT_FALSE(first.isHeading);
    EXPECT_EQ(first.location.coordinate, (CLLocationCoordinate2D{52.2297, 21.0122}));
    EXPECT_EQ(first.location.altitude, 110.0);
    EXPECT_EQ(first.location.horizontalAccuracy, 4.0);
    EXPECT_EQ(first.location.verticalAccuracy, -1.0);
    EXPECT_EQ(first.location.speed, 1.5);
    EXPECT_EQ(first.location.course, 90.0);
    EXPECT_TRUE(track->events[2].isHeading);
    EXPECT_EQ(track->events[2].magneticHeading, 42.5);
    EXPECT_EQ(track->events[2].headingAccuracy, -1.0);
    // Same offset keeps file order.
    EXPECT_EQ(track->events[3].location.coordinate.latitude, 52.2298);
    EXPECT_EQ(track->events[4].location.coordinate.latitude, 52.2299);
    EXPECT_EQ(track->durationMs(), 2000);
}

TEST(ReplayTrack, RefusesBadFilesWithAReason) {
    const std::vector<std::pair<QByteArray, QString>> cases = {
        {"", "not JSON"},
        {"[]", "JSON object"},
        {R"({"format":"other","version":1,"events":[]})", "format"},
        {R"({"format":"zenloft-replay","version":2,"events":[]})", "version"},
        {R"({"format":"zenloft-replay","version":1})", "events"},
        {R"({"format":"zenloft-replay","version":1,"start":"yesterday","events":[]})", "start"},
        {R"({"format":"zenloft-replay","version":1,"events":[{"t":-1,"type":"heading","magnetic":1}]})", "event 0"},
        {R"({"format":"zenloft-replay","version":1,"events":[{"t":0,"type":"location","lat":91,"lon":0}]})", "range"},
        {R"({"format":"zenloft-replay","version":1,"events":[{"t":0,"type":"location","lat":"1","lon":0}]})", "lat"},
        {R"({"format":"zenloft-replay","version":1,"events":[{"t":0,"type":"location","lat":1,"lon":0,"speed":"x"}]})", "speed"},
        {R"({"format":"zenloft-replay","version":1,"events":[{"t":0,"type":"heading"}]})", "magnetic"},
        {R"({"format":"zenloft-replay","version":1,"events":[{"t":0,"type":"teleport"}]})", "type"},
        {R"({"format":"zenloft-replay","version":1,"events":[3]})", "object"},
    };
    for (const auto& [json, expected] : cases) {
        QString error;
        EXPECT_FALSE(ReplayTrack::parse(json, &error)) << json.constData();
        EXPECT_TRUE(error.contains(expected)) << qPrintable(error);
    }
    EXPECT_TRUE(ReplayTrack::parse(R"({"format":"zenloft-replay","version":1,"events":[]})"));
}

TEST(ReplayTrack, SurvivesRandomAndTruncatedInput) {
    for (qsizetype n = 0; n < kRun.size(); ++n)
        (void)ReplayTrack::parse(kRun.left(n));
    std::mt19937 rng(1302);
    for (int round = 0; round < 500; ++round) {
        QByteArray mutated = kRun;
        for (int e = 0; e < 4; ++e)
            mutated[qsizetype(rng() % mutated.size())] = char(rng() % 128);
        if (auto track = ReplayTrack::parse(mutated)) {
            for (const auto& ev : track->events) {
                if (!ev.isHeading) {
                    EXPECT_TRUE(CLLocationCoordinate2DIsValid(ev.location.coordinate));
                }
            }
        }
    }
}

TEST(ReplayBackend, PlaysInOrderWithTimestampsUnderAFakeClock) {
    zl::ManualClock clock(QDateTime(QDate(2027, 1, 1), QTime(12, 0), Qt::UTC));
    ReplayBackend replay(&clock);
    replay.setTrack(*ReplayTrack::parse(kRun));
    Recorder rec;
    rec.attach(&replay, &clock);

    replay.setPositionsWanted(true);
    replay.setHeadingsWanted(true);
    EXPECT_TRUE(rec.items.empty());  // nothing before the clock moves
    clock.advance(0);
    ASSERT_EQ(rec.items.size(), 1u);
    clock.advance(499);
    EXPECT_EQ(rec.items.size(), 1u);
    clock.advance(10000);
    ASSERT_EQ(rec.items.size(), 4u);
    EXPECT_FALSE(replay.isPlaying());

    const QDateTime start(QDate(2026, 5, 4), QTime(9, 30), Qt::UTC);
    const QDateTime t0 = QDateTime(QDate(2027, 1, 1), QTime(12, 0), Qt::UTC);
    EXPECT_EQ(rec.items[0].kind, "loc");
    EXPECT_EQ(rec.items[0].clockTime, t0);
    ASSERT_EQ(rec.items[0].locations.size(), 1);
    EXPECT_EQ(rec.items[0].locations[0].timestamp, start);
    EXPECT_EQ(rec.items[1].kind, "hdg");
    EXPECT_EQ(rec.items[1].clockTime, t0.addMSecs(500));
    EXPECT_EQ(rec.items[1].heading, 41.0);
    EXPECT_EQ(rec.items[1].accuracy, 5.0);
    EXPECT_EQ(rec.items[1].headingTime, start.addMSecs(500));
    EXPECT_EQ(rec.items[2].heading, 42.5);
    EXPECT_EQ(rec.items[2].clockTime, t0.addMSecs(1000));
    // The two fixes at 2.0 s come as one batch.
    EXPECT_EQ(rec.items[3].kind, "loc");
    ASSERT_EQ(rec.items[3].locations.size(), 2);
    EXPECT_EQ(rec.items[3].locations[0].coordinate.latitude, 52.2298);
    EXPECT_EQ(rec.items[3].locations[1].coordinate.latitude, 52.2299);
    EXPECT_EQ(rec.items[3].locations[1].timestamp, start.addSecs(2));
}

TEST(ReplayBackend, DeliversOnlyWhatIsWantedAndStopsWhenNothingIs) {
    zl::ManualClock clock;
    ReplayBackend replay(&clock);
    replay.setTrack(*ReplayTrack::parse(kRun));
    Recorder rec;
    rec.attach(&replay, &clock);

    replay.setHeadingsWanted(true);
    clock.advance(2500);
    ASSERT_EQ(rec.items.size(), 2u);
    EXPECT_EQ(rec.items[0].kind, "hdg");
    EXPECT_EQ(rec.items[1].kind, "hdg");

    replay.setHeadingsWanted(false);
    EXPECT_FALSE(replay.isPlaying());
    EXPECT_EQ(clock.pendingCount(), 0);

    // Starting again starts the run over; without "start", a fix carries the
    // time at which it plays.
    ReplayTrack track = *ReplayTrack::parse(kRun);
    track.start.reset();
    replay.setTrack(track);
    rec.items.clear();
    replay.setPositionsWanted(true);
    clock.advance(0);
    ASSERT_EQ(rec.items.size(), 1u);
    EXPECT_EQ(rec.items[0].locations[0].timestamp, clock.now());
}

TEST(ReplayBackend, LoopsWithAGapAndContinuesTimestamps) {
    zl::ManualClock clock;
    ReplayBackend replay(&clock);
    ReplayTrack track = *ReplayTrack::parse(R"({"format":"zenloft-replay","version":1,"loop":true,
        "start":"2026-01-01T00:00:00Z",
        "events":[{"t":0,"type":"location","lat":1,"lon":2},{"t":1,"type":"location","lat":3,"lon":4}]})");
    replay.setTrack(track);
    Recorder rec;
    rec.attach(&replay, &clock);
    replay.setPositionsWanted(true);
    clock.advance(0);
    clock.advance(2000);  // 1 s run + 1 s gap: the second cycle begins
    ASSERT_EQ(rec.items.size(), 3u);
    EXPECT_EQ(rec.items[2].locations[0].coordinate.latitude, 1.0);
    EXPECT_EQ(rec.items[2].locations[0].timestamp,
              QDateTime(QDate(2026, 1, 1), QTime(0, 0, 2), Qt::UTC));
    EXPECT_TRUE(replay.isPlaying());
}

TEST(ReplayBackend, LoadsFromFileOffTheGuiThread) {
    QTemporaryDir dir;
    zl::ManualClock clock;
    ReplayBackend replay(&clock);
    QSignalSpy loaded(&replay, &ReplayBackend::loaded);
    replay.load(writeFile(dir, "run.json", kRun));
    ASSERT_TRUE(zltest::waitFor([&] { return loaded.count() == 1; }));
    EXPECT_TRUE(loaded.at(0).at(0).toBool());
    EXPECT_TRUE(replay.hasTrack());

    ReplayBackend broken(&clock);
    QSignalSpy brokenLoaded(&broken, &ReplayBackend::loaded);
    zltest::LogCapture log;
    broken.load(writeFile(dir, "bad.json", "{"));
    ASSERT_TRUE(zltest::waitFor([&] { return brokenLoaded.count() == 1; }));
    EXPECT_FALSE(brokenLoaded.at(0).at(0).toBool());
    EXPECT_TRUE(brokenLoaded.at(0).at(1).toString().contains("bad.json"));
    EXPECT_FALSE(broken.hasTrack());

    ReplayBackend missing(&clock);
    QSignalSpy missingLoaded(&missing, &ReplayBackend::loaded);
    missing.load(dir.filePath("nope.json"));
    ASSERT_TRUE(zltest::waitFor([&] { return missingLoaded.count() == 1; }));
    EXPECT_FALSE(missingLoaded.at(0).at(0).toBool());
}

TEST(NmeaFileSource, ParsesRecordedSentences) {
    QTemporaryDir dir;
    // Three RMC fixes 10 ms apart, so that the log plays almost at once.
    QByteArray log;
    log += nmea("GPRMC,093000.00,A,5213.782,N,02100.732,E,003.9,087.0,040526,,,A");
    log += nmea("GPRMC,093000.01,A,5213.788,N,02100.738,E,004.0,088.0,040526,,,A");
    log += nmea("GPRMC,093000.02,A,5213.794,N,02100.744,E,,,040526,,,A");
    std::unique_ptr<QtPositionBackend> backend(QtPositionBackend::createNmeaFile(writeFile(dir, "run.nmea", log)));
    QSignalSpy ready(backend.get(), &QtPositionBackend::ready);
    QList<CLLocation> fixes;
    QObject::connect(backend.get(), &LocationBackend::locationsUpdated,
                     [&](const QList<CLLocation>& l) { fixes += l; });
    backend->setPositionsWanted(true);
    ASSERT_TRUE(zltest::waitFor([&] { return ready.count() == 1; }));
    EXPECT_TRUE(ready.at(0).at(0).toBool());
    ASSERT_TRUE(zltest::waitFor([&] { return fixes.size() >= 3; }));
    EXPECT_NEAR(fixes[0].coordinate.latitude, 52 + 13.782 / 60, 1e-9);
    EXPECT_NEAR(fixes[0].coordinate.longitude, 21 + 0.732 / 60, 1e-9);
    EXPECT_NEAR(fixes[0].speed, 3.9 * 1852.0 / 3600.0, 1e-6);  // knots -> m/s
    EXPECT_EQ(fixes[0].course, 87.0);
    EXPECT_EQ(fixes[0].timestamp, QDateTime(QDate(2026, 5, 4), QTime(9, 30), Qt::UTC));
    EXPECT_EQ(fixes[1].course, 88.0);
    EXPECT_EQ(fixes[2].course, -1.0);  // absent course stays unknown
    EXPECT_NEAR(fixes[2].coordinate.latitude, 52 + 13.794 / 60, 1e-9);
}

TEST(NmeaFileSource, MissingFileIsReportedNotFatal) {
    zltest::LogCapture log;
    std::unique_ptr<QtPositionBackend> backend(QtPositionBackend::createNmeaFile("/nonexistent/run.nmea"));
    QSignalSpy ready(backend.get(), &QtPositionBackend::ready);
    backend->setPositionsWanted(true);
    ASSERT_TRUE(zltest::waitFor([&] { return ready.count() == 1; }));
    EXPECT_FALSE(ready.at(0).at(0).toBool());
    EXPECT_TRUE(log.contains("NMEA log not loaded"));
}

TEST(QtPositionBackend, ConvertsPositionInfo) {
    QGeoPositionInfo info(QGeoCoordinate(10.5, -20.25, 300.0), QDateTime(QDate(2026, 2, 3), QTime(4, 5), Qt::UTC));
    info.setAttribute(QGeoPositionInfo::HorizontalAccuracy, 7.0);
    info.setAttribute(QGeoPositionInfo::GroundSpeed, 2.5);
    const CLLocation loc = QtPositionBackend::toCLLocation(info);
    EXPECT_EQ(loc.coordinate, (CLLocationCoordinate2D{10.5, -20.25}));
    EXPECT_EQ(loc.altitude, 300.0);
    EXPECT_EQ(loc.horizontalAccuracy, 7.0);
    EXPECT_EQ(loc.verticalAccuracy, -1.0);
    EXPECT_EQ(loc.speed, 2.5);
    EXPECT_EQ(loc.course, -1.0);
    EXPECT_EQ(loc.timestamp, info.timestamp());
}

TEST(LocationSourceConfig, ParsesEveryKindAndRefusesUnknownOnes) {
    using K = LocationSourceConfig::Kind;
    const std::vector<std::tuple<QString, K, QString>> good = {
        {"", K::None, ""},
        {"none", K::None, ""},
        {"platform", K::Platform, ""},
        {"nmea:/dev/ttyUSB0", K::NmeaSerial, "/dev/ttyUSB0"},
        {"nmea-file:/tmp/run.nmea", K::NmeaFile, "/tmp/run.nmea"},
        {" replay:/tmp/a:b.json ", K::Replay, "/tmp/a:b.json"},
    };
    for (const auto& [text, kind, path] : good) {
        const auto c = LocationSourceConfig::parse(text);
        ASSERT_TRUE(c) << qPrintable(text);
        EXPECT_EQ(c->kind, kind);
        EXPECT_EQ(c->path, path);
        EXPECT_EQ(LocationSourceConfig::parse(c->toString()), c);
    }
    for (const QString bad : {"gps", "replay:", "nmea", "file:/x"}) {
        QString error;
        EXPECT_FALSE(LocationSourceConfig::parse(bad, &error)) << qPrintable(bad);
        EXPECT_FALSE(error.isEmpty());
    }
}
