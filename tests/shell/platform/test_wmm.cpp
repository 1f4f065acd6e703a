#include "TrueNorth.h"
#include "WorldMagneticModel.h"
#include "testsupport.h"

#include <QTimeZone>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

const WorldMagneticModel& wmm() {
    const WorldMagneticModel* model = WorldMagneticModel::bundled();
    EXPECT_NE(model, nullptr);
    return *model;
}

}  // namespace

TEST(WorldMagneticModel, MatchesEveryReferenceRow) {
    const QList<QByteArray> lines =
        zltest::readFile(zltest::sourcePath(QStringLiteral("tests/data/wmm2025-reference.csv"))).trimmed().split('\n');
    ASSERT_EQ(lines.size(), 11);  // a header and ten rows
    for (const QByteArray& line : lines.mid(1)) {
        const QList<QByteArray> f = line.trimmed().split(',');  // year, latitude, longitude, height km, declination
        ASSERT_EQ(f.size(), 5) << line.constData();
        const auto field = wmm().field(f[1].toDouble(), f[2].toDouble(), f[3].toDouble(), f[0].toDouble());
        // The reference is rounded to 0.01°, so allow the rounding on top.
        EXPECT_NEAR(field.declination, f[4].toDouble(), 0.01 + 0.005) << line.constData();
        EXPECT_FALSE(field.outsideValidity);
    }
}

TEST(WorldMagneticModel, DatesOutsideTheModelAreExtrapolatedAndFlaggedPolesStayFiniteAndDecimalYearsCountDays) {
    for (auto [year, valid] : {std::pair{2024.99, false}, {2025.0, true}, {2030.0, true}, {2030.01, false}})
        EXPECT_EQ(wmm().isValidYear(year), valid) << year;
    const auto inside = wmm().field(52.2297, 21.0122, 0.0, 2029.9);
    const auto after = wmm().field(52.2297, 21.0122, 0.0, 2031.0);
    const auto before = wmm().field(52.2297, 21.0122, 0.0, 2024.0);
    EXPECT_EQ((std::array{inside.outsideValidity, after.outsideValidity, before.outsideValidity}),
              (std::array{false, true, true}));
    // Extrapolated with the secular variation: close to the last valid year.
    EXPECT_NEAR(after.declination, inside.declination, 0.5);
    EXPECT_NEAR(before.declination, 6.84, 0.5);

    for (double lat : {90.0, -90.0, 89.9999999, -89.9999999})
        for (double lon : {-180.0, 0.0, 180.0}) {
            const double d = wmm().field(lat, lon, 0.0, 2026.0).declination;
            EXPECT_TRUE(std::isfinite(d) && d >= -180.0 && d <= 180.0) << lat << "," << lon << ": " << d;
        }
    // The same place either side of the dateline.
    EXPECT_NEAR(wmm().declination(10.0, 180.0, 0.0, 2026.0), wmm().declination(10.0, -180.0, 0.0, 2026.0), 1e-9);

    EXPECT_DOUBLE_EQ(WorldMagneticModel::decimalYear(QDateTime(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC)), 2025.0);
    // 2028 is a leap year: 1 July noon is day 183.5 of 366.
    EXPECT_DOUBLE_EQ(WorldMagneticModel::decimalYear(QDateTime(QDate(2028, 7, 1), QTime(12, 0), Qt::UTC)),
                     2028.0 + 182.5 / 366.0);
    // A local time counts as the UTC instant it stands for.
    EXPECT_DOUBLE_EQ(WorldMagneticModel::decimalYear(QDateTime(QDate(2026, 1, 1), QTime(1, 0), QTimeZone(3600))),
                     2026.0);
}

TEST(WorldMagneticModelParse, SurvivesRandomAndTruncatedInputAndRejectsFilesThatAreNotModels) {
    const QByteArray cof = zltest::readFile(zltest::sourcePath(QStringLiteral("resources/wmm/WMM2025.COF")));
    ASSERT_TRUE(WorldMagneticModel::parse(cof));
    // A file cut anywhere before its end marker is refused.
    const qsizetype end = cof.indexOf("\n9999");
    ASSERT_GT(end, 0);
    for (qsizetype n = 0; n <= end; n += 7) EXPECT_FALSE(WorldMagneticModel::parse(cof.left(n))) << n;
    std::mt19937 rng(1520);
    for (int round = 0; round < 300; ++round) {
        QByteArray mutated = cof;
        for (int e = 0, edits = 1 + int(rng() % 8); e < edits; ++e)
            mutated[qsizetype(rng() % mutated.size())] = char(rng() % 256);
        if (auto model = WorldMagneticModel::parse(mutated)) (void)model->field(45.0, 10.0, 0.0, 2026.0);
    }

    for (const char* bad : {"", "hello world\n", "2025.0 WMM\n 1 0 1 2 3\n9999\n" /* short row */,
                            "2025.0 WMM\n 1 2 1 2 3 4\n9999\n" /* m > n */, "2025.0 WMM\n 1 0 1 x 3 4\n9999\n",
                            "2025.0 WMM\n 1 0 1 0 3 4\n" /* no end marker */, "2025.0 WMM\n9999\n"}) {
        QString error;
        EXPECT_FALSE(WorldMagneticModel::parse(bad, &error)) << bad;
        EXPECT_FALSE(error.isEmpty()) << bad;
    }
    EXPECT_TRUE(WorldMagneticModel::parse("2025.0 TINY\n 1 0 -30000 0 0 0\n9999\n"));
}

TEST(TrueNorth, TrueHeadingIsMagneticPlusDeclinationWrapped) {
    const QDateTime t(QDate(2026, 3, 1), QTime(8, 0), Qt::UTC);
    auto h = makeHeading(350.0, 5.0, t, Declination{15.5, false});
    EXPECT_EQ(std::tuple(h.magneticHeading, h.declination, h.headingAccuracy, h.isTrueHeading, h.timestamp,
                         h.declinationOutsideModel),
              std::tuple(350.0, 15.5, 5.0, true, t, false));
    EXPECT_TRUE(makeHeading(100.0, 1.0, t, Declination{2.0, true}).declinationOutsideModel);
    // magnetic, declination, true
    for (auto [magnetic, declination, expected] : {std::tuple{350.0, 15.5, 5.5}, {3.0, -12.47, 350.53}, {0.0, 0.0, 0.0},
                                                  {360.0, -1e-17, 0.0}})
        EXPECT_NEAR(makeHeading(magnetic, 1.0, t, Declination{declination, false}).trueHeading, expected, 1e-9)
            << magnetic << " " << declination;
    for (auto [in, out] : {std::pair{-90.0, 270.0}, {720.0, 0.0}, {359.5, 359.5}, {-1e-20, 0.0}})
        EXPECT_EQ(wrapDegrees360(in), out) << in;

    // An unknown declination passes the heading through.
    h = makeHeading(123.25, -1.0, QDateTime(), std::nullopt);
    EXPECT_EQ(std::tuple(h.isTrueHeading, h.trueHeading, h.magneticHeading, h.declination),
              std::tuple(false, 123.25, 123.25, 0.0));
    // A fix off the globe has none. (The declination at a good fix is checked through the location manager.)
    CLLocation off;
    off.coordinate = {91.0, 0.0};
    EXPECT_FALSE(declinationAt(off));
}
