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

// What a backend delivers, one line per signal: when it came (ms on the
// clock), and the fixes' latitudes and times or the heading's values.
struct Recorder {
    QStringList items;
    Recorder(LocationBackend* backend, zl::Clock* clock) {
        const QDateTime t0 = clock->now();
        QObject::connect(backend, &LocationBackend::locationsUpdated, [=, this](const QList<CLLocation>& l) {
            QString line = QStringLiteral("%1 loc").arg(t0.msecsTo(clock->now()));
            for (const CLLocation& loc : l)
                line += QStringLiteral(" %1@%2").arg(loc.coordinate.latitude).arg(loc.timestamp.toString(Qt::ISODateWithMs));
            items << line;
        });
        QObject::connect(backend, &LocationBackend::magneticHeadingUpdated, [=, this](double h, double a, const QDateTime& t) {
            items << QStringLiteral("%1 hdg %2 %3@%4").arg(t0.msecsTo(clock->now())).arg(h).arg(a).arg(t.toString(Qt::ISODateWithMs));
        });
    }
};

// A fix's place and its optional values (-1 where unknown).
std::array<double, 7> describe(const CLLocation& l) {
    return {l.coordinate.latitude, l.coordinate.longitude, l.altitude, l.horizontalAccuracy, l.verticalAccuracy, l.speed, l.course};
}

QByteArray nmea(const QByteArray& body) {
    quint8 sum = 0;
    for (char c : body) sum ^= quint8(c);
    return "$" + body + "*" + QByteArray::number(sum, 16).toUpper().rightJustified(2, '0') + "\r\n";
}

}  // namespace

// Order, ties and times are checked by playing the track below.
TEST(ReplayTrack, ReadsTheOptionalValuesOrTheirUnknownsRefusesBadFilesAndSurvivesRandomInput) {
    QString error;
    const auto track = ReplayTrack::parse(kRun, &error);
    ASSERT_TRUE(track) << qPrintable(error);
    ASSERT_EQ(track->events.size(), 5u);
    const CLLocation& first = track->events[0].location;
    EXPECT_EQ(describe(first), (std::array{52.2297, 21.0122, 110.0, 4.0, -1.0, 1.5, 90.0}));
    const auto& heading = track->events[2];
    EXPECT_EQ(std::tuple(heading.isHeading, heading.magneticHeading, heading.headingAccuracy, track->durationMs(),
                         track->loop),
              std::tuple(true, 42.5, -1.0, 2000, false));

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
        error.clear();
        EXPECT_FALSE(ReplayTrack::parse(json, &error)) << json.constData();
        EXPECT_TRUE(error.contains(expected)) << qPrintable(error);
    }
    EXPECT_TRUE(ReplayTrack::parse(R"({"format":"zenloft-replay","version":1,"events":[]})"));

    for (qsizetype n = 0; n < kRun.size(); ++n) (void)ReplayTrack::parse(kRun.left(n));
    std::mt19937 rng(1302);
    for (int round = 0; round < 500; ++round) {
        QByteArray mutated = kRun;
        for (int e = 0; e < 4; ++e) mutated[qsizetype(rng() % mutated.size())] = char(rng() % 128);
        if (auto track = ReplayTrack::parse(mutated))
            for (const auto& ev : track->events)
                if (!ev.isHeading) EXPECT_TRUE(CLLocationCoordinate2DIsValid(ev.location.coordinate));
    }
}

TEST(ReplayBackend, PlaysInOrderOnlyWhatIsWantedAndLoopsUnderAFakeClock) {
    zl::ManualClock clock(QDateTime(QDate(2027, 1, 1), QTime(12, 0), Qt::UTC));
    ReplayBackend replay(&clock);
    replay.setTrack(*ReplayTrack::parse(kRun));
    Recorder rec(&replay, &clock);
    replay.setPositionsWanted(true);
    replay.setHeadingsWanted(true);
    EXPECT_TRUE(rec.items.isEmpty());  // nothing before the clock moves
    clock.advance(0);
    clock.advance(499);
    EXPECT_EQ(rec.items.size(), 1);
    clock.advance(10501);
    EXPECT_FALSE(replay.isPlaying());
    // The two fixes at 2.0 s come as one batch.
    EXPECT_EQ(rec.items, (QStringList{"0 loc 52.2297@2026-05-04T09:30:00.000Z", "500 hdg 41 5@2026-05-04T09:30:00.500Z",
                                      "1000 hdg 42.5 -1@2026-05-04T09:30:01.000Z",
                                      "2000 loc 52.2298@2026-05-04T09:30:02.000Z 52.2299@2026-05-04T09:30:02.000Z"}));

    // Only what is wanted is delivered; when nothing is, playing stops.
    replay.setPositionsWanted(false);
    replay.setHeadingsWanted(false);
    replay.setTrack(*ReplayTrack::parse(kRun));
    rec.items.clear();
    replay.setHeadingsWanted(true);
    clock.advance(2500);
    EXPECT_EQ(rec.items, (QStringList{"11500 hdg 41 5@2026-05-04T09:30:00.500Z", "12000 hdg 42.5 -1@2026-05-04T09:30:01.000Z"}));
    replay.setHeadingsWanted(false);
    EXPECT_EQ(std::pair(replay.isPlaying(), clock.pendingCount() == 0), std::pair(false, true));

    // Starting again starts the run over; without "start", a fix carries the
    // time at which it plays.
    ReplayTrack track = *ReplayTrack::parse(kRun);
    track.start.reset();
    replay.setTrack(track);
    rec.items.clear();
    replay.setPositionsWanted(true);
    clock.advance(0);
    EXPECT_EQ(rec.items, QStringList{"13500 loc 52.2297@2027-01-01T12:00:13.500Z"});

    // A looping run goes round again after a gap, its times running on.
    replay.setPositionsWanted(false);
    replay.setTrack(*ReplayTrack::parse(R"({"format":"zenloft-replay","version":1,"loop":true,
        "start":"2026-01-01T00:00:00Z",
        "events":[{"t":0,"type":"location","lat":1,"lon":2},{"t":1,"type":"location","lat":3,"lon":4}]})"));
    rec.items.clear();
    replay.setPositionsWanted(true);
    clock.advance(0);
    clock.advance(2000);  // 1 s run + 1 s gap: the second cycle begins
    EXPECT_EQ(std::tuple(rec.items.size(), rec.items.value(2), replay.isPlaying()),
              std::tuple(qsizetype(3), QString("15500 loc 1@2026-01-01T00:00:02.000Z"), true));
}

TEST(ReplayBackend, LoadsFromFileOffTheGuiThreadAndReportsBadOnes) {
    QTemporaryDir dir;
    zl::ManualClock clock;
    zltest::LogCapture log;
    for (auto [path, ok] : {std::pair{zltest::writeFile(dir.filePath("run.json"), kRun), true}, {zltest::writeFile(dir.filePath("bad.json"), "{"), false},
                            {dir.filePath("nope.json"), false}}) {
        ReplayBackend replay(&clock);
        QSignalSpy loaded(&replay, &ReplayBackend::loaded);
        replay.load(path);
        ASSERT_TRUE(zltest::waitFor([&] { return loaded.count() == 1; }));
        EXPECT_EQ(loaded.at(0).at(0).toBool(), ok) << qPrintable(path);
        EXPECT_EQ(replay.hasTrack(), ok);
        if (!ok) EXPECT_TRUE(loaded.at(0).at(1).toString().contains(QFileInfo(path).fileName()));
    }
}

TEST(QtPositionBackend, ParsesRecordedNmeaReportsAMissingFileAndConvertsPositionInfo) {
    QTemporaryDir dir;
    // Three RMC fixes 10 ms apart, so that the log plays almost at once.
    QByteArray log;
    log += nmea("GPRMC,093000.00,A,5213.782,N,02100.732,E,003.9,087.0,040526,,,A");
    log += nmea("GPRMC,093000.01,A,5213.788,N,02100.738,E,004.0,088.0,040526,,,A");
    log += nmea("GPRMC,093000.02,A,5213.794,N,02100.744,E,,,040526,,,A");
    zltest::LogCapture messages;
    QList<CLLocation> fixes;
    for (const QString& path : {zltest::writeFile(dir.filePath("run.nmea"), log), QStringLiteral("/nonexistent/run.nmea")}) {
        std::unique_ptr<QtPositionBackend> backend(QtPositionBackend::createNmeaFile(path));
        QSignalSpy ready(backend.get(), &QtPositionBackend::ready);
        QObject::connect(backend.get(), &LocationBackend::locationsUpdated, [&](const QList<CLLocation>& l) { fixes += l; });
        backend->setPositionsWanted(true);
        ASSERT_TRUE(zltest::waitFor([&] { return ready.count() == 1; }));
        EXPECT_EQ(ready.at(0).at(0).toBool(), !path.startsWith("/nonexistent"));
        if (ready.at(0).at(0).toBool()) ASSERT_TRUE(zltest::waitFor([&] { return fixes.size() >= 3; }));
    }
    EXPECT_TRUE(messages.contains("NMEA log not loaded"));
    ASSERT_EQ(fixes.size(), 3);
    EXPECT_NEAR(fixes[0].coordinate.latitude, 52 + 13.782 / 60, 1e-9);
    EXPECT_NEAR(fixes[0].coordinate.longitude, 21 + 0.732 / 60, 1e-9);
    EXPECT_NEAR(fixes[0].speed, 3.9 * 1852.0 / 3600.0, 1e-6);  // knots -> m/s
    // An absent course stays unknown.
    EXPECT_EQ(std::tuple(fixes[0].course, fixes[0].timestamp, fixes[2].course),
              std::tuple(87.0, QDateTime(QDate(2026, 5, 4), QTime(9, 30), Qt::UTC), -1.0));

    // Position info converts with unknowns as -1.
    QGeoPositionInfo info(QGeoCoordinate(10.5, -20.25, 300.0), QDateTime(QDate(2026, 2, 3), QTime(4, 5), Qt::UTC));
    info.setAttribute(QGeoPositionInfo::HorizontalAccuracy, 7.0);
    info.setAttribute(QGeoPositionInfo::GroundSpeed, 2.5);
    const CLLocation loc = QtPositionBackend::toCLLocation(info);
    EXPECT_EQ(std::pair(describe(loc), loc.timestamp),
              std::pair(std::array{10.5, -20.25, 300.0, 7.0, -1.0, 2.5, -1.0}, info.timestamp()));
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
        EXPECT_EQ(std::tuple(c->kind, c->path, LocationSourceConfig::parse(c->toString()) == c), std::tuple(kind, path, true));
    }
    for (const QString bad : {"gps", "replay:", "nmea", "file:/x"}) {
        QString error;
        EXPECT_FALSE(LocationSourceConfig::parse(bad, &error)) << qPrintable(bad);
        EXPECT_FALSE(error.isEmpty());
    }
}
