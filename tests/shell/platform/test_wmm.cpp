#include "TrueNorth.h"
#include "WorldMagneticModel.h"
#include "testsupport.h"

#include <QFile>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

struct Reference {
    double year, latitude, longitude, heightKm, declination;
};

std::vector<Reference> readReference() {
    QFile file(zltest::sourcePath(QStringLiteral("tests/data/wmm2025-reference.csv")));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(file.fileName());
    std::vector<Reference> rows;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QList<QByteArray> f = lines[i].trimmed().split(',');
        if (f.size() != 5)
            continue;
        rows.push_back({f[0].toDouble(), f[1].toDouble(), f[2].toDouble(), f[3].toDouble(), f[4].toDouble()});
    }
    return rows;
}

}  // namespace

TEST(WorldMagneticModel, MatchesEveryReferenceRow) {
    const WorldMagneticModel* model = WorldMagneticModel::bundled();
    ASSERT_NE(model, nullptr);
    const auto rows = readReference();
    ASSERT_EQ(rows.size(), 10u);
    for (const Reference& r : rows) {
        const auto field = model->field(r.latitude, r.longitude, r.heightKm, r.year);
        // The reference is rounded to 0.01°, so allow the rounding on top.
        EXPECT_NEAR(field.declination, r.declination, 0.01 + 0.005)
            << r.year << " " << r.latitude << "," << r.longitude;
        EXPECT_FALSE(field.outsideValidity);
    }
}

TEST(WorldMagneticModel, FieldMagnitudeIsEarthLike) {
    const WorldMagneticModel* model = WorldMagneticModel::bundled();
    ASSERT_NE(model, nullptr);
    // Warsaw: total intensity near 50 000 nT, steep downward inclination.
    const auto f = model->field(52.2297, 21.0122, 0.0, 2025.0);
    const double total = std::sqrt(f.north * f.north + f.east * f.east + f.down * f.down);
    EXPECT_GT(total, 48000.0);
    EXPECT_LT(total, 52000.0);
    EXPECT_GT(f.inclination, 65.0);
    EXPECT_LT(f.inclination, 72.0);
    // Southern hemisphere: the field points up.
    EXPECT_LT(model->field(-33.8688, 151.2093, 0.0, 2027.0).inclination, 0.0);
}

TEST(WorldMagneticModel, DatesOutsideTheModelAreComputedAndFlagged) {
    const WorldMagneticModel* model = WorldMagneticModel::bundled();
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(model->name(), QStringLiteral("WMM-2025"));
    EXPECT_EQ(model->maxDegree(), 12);
    for (auto [year, valid] : {std::pair{2024.99, false}, {2025.0, true}, {2030.0, true}, {2030.01, false}})
        EXPECT_EQ(model->isValidYear(year), valid) << year;
    const auto inside = model->field(52.2297, 21.0122, 0.0, 2029.9);
    const auto after = model->field(52.2297, 21.0122, 0.0, 2031.0);
    const auto before = model->field(52.2297, 21.0122, 0.0, 2024.0);
    EXPECT_FALSE(inside.outsideValidity);
    EXPECT_TRUE(after.outsideValidity);
    EXPECT_TRUE(before.outsideValidity);
    // Extrapolated with the secular variation: close to the last valid year.
    EXPECT_NEAR(after.declination, inside.declination, 0.5);
    EXPECT_NEAR(before.declination, 6.84, 0.5);
}

TEST(WorldMagneticModel, PolesAndDatelineStayFinite) {
    const WorldMagneticModel* model = WorldMagneticModel::bundled();
    ASSERT_NE(model, nullptr);
    for (double lat : {90.0, -90.0, 89.9999999, -89.9999999})
        for (double lon : {-180.0, 0.0, 180.0}) {
            const auto f = model->field(lat, lon, 0.0, 2026.0);
            EXPECT_TRUE(std::isfinite(f.declination)) << lat << "," << lon;
            EXPECT_GE(f.declination, -180.0);
            EXPECT_LE(f.declination, 180.0);
        }
    // The same place either side of the dateline.
    EXPECT_NEAR(model->declination(10.0, 180.0, 0.0, 2026.0), model->declination(10.0, -180.0, 0.0, 2026.0), 1e-9);
}

TEST(WorldMagneticModel, DecimalYearCountsTheDaysOfThatYear) {
    EXPECT_DOUBLE_EQ(WorldMagneticModel::decimalYear(QDateTime(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC)), 2025.0);
    // 2028 is a leap year: 1 July noon is day 183.5 of 366.
    EXPECT_DOUBLE_EQ(WorldMagneticModel::decimalYear(QDateTime(QDate(2028, 7, 1), QTime(12, 0), Qt::UTC)),
                     2028.0 + 182.5 / 366.0);
    // A local time counts as the UTC instant it stands for.
    const QDateTime local(QDate(2026, 1, 1), QTime(1, 0), QTimeZone(3600));
    EXPECT_DOUBLE_EQ(WorldMagneticModel::decimalYear(local), 2026.0);
}

TEST(WorldMagneticModelParse, RejectsFilesThatAreNotModels) {
    QString error;
    EXPECT_FALSE(WorldMagneticModel::parse("", &error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(WorldMagneticModel::parse("hello world\n", &error));
    EXPECT_FALSE(WorldMagneticModel::parse("2025.0 WMM\n 1 0 1 2 3\n9999\n", &error));  // short row
    EXPECT_FALSE(WorldMagneticModel::parse("2025.0 WMM\n 1 2 1 2 3 4\n9999\n", &error));  // m > n
    EXPECT_FALSE(WorldMagneticModel::parse("2025.0 WMM\n 1 0 1 x 3 4\n9999\n", &error));
    EXPECT_FALSE(WorldMagneticModel::parse("2025.0 WMM\n 1 0 1 0 3 4\n", &error));  // no end marker
    EXPECT_FALSE(WorldMagneticModel::parse("2025.0 WMM\n9999\n", &error));  // no coefficients
    EXPECT_TRUE(WorldMagneticModel::parse("2025.0 TINY\n 1 0 -30000 0 0 0\n9999\n", &error));
}

TEST(WorldMagneticModelParse, SurvivesRandomAndTruncatedInput) {
    QFile file(zltest::sourcePath(QStringLiteral("resources/wmm/WMM2025.COF")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray cof = file.readAll();
    ASSERT_TRUE(WorldMagneticModel::parse(cof));
    // A file cut anywhere before its end marker is refused.
    const qsizetype end = cof.indexOf("\n9999");
    ASSERT_GT(end, 0);
    for (qsizetype n = 0; n <= end; n += 7)
        EXPECT_FALSE(WorldMagneticModel::parse(cof.left(n))) << n;

    std::mt19937 rng(1520);
    for (int round = 0; round < 300; ++round) {
        QByteArray mutated = cof;
        const int edits = 1 + int(rng() % 8);
        for (int e = 0; e < edits; ++e)
            mutated[qsizetype(rng() % mutated.size())] = char(rng() % 256);
        auto model = WorldMagneticModel::parse(mutated);
        if (model) {
            const auto f = model->field(45.0, 10.0, 0.0, 2026.0);
            (void)f;  // any finite or not, but no crash
        }
    }
}

TEST(TrueNorth, TrueHeadingIsMagneticPlusDeclinationWrapped) {
    const QDateTime t(QDate(2026, 3, 1), QTime(8, 0), Qt::UTC);
    auto h = makeHeading(350.0, 5.0, t, Declination{15.5, false});
    EXPECT_TRUE(h.isTrueHeading);
    EXPECT_DOUBLE_EQ(h.magneticHeading, 350.0);
    EXPECT_DOUBLE_EQ(h.declination, 15.5);
    EXPECT_DOUBLE_EQ(h.headingAccuracy, 5.0);
    EXPECT_EQ(h.timestamp, t);
    EXPECT_FALSE(h.declinationOutsideModel);
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
    EXPECT_FALSE(h.isTrueHeading);
    EXPECT_DOUBLE_EQ(h.trueHeading, 123.25);
    EXPECT_DOUBLE_EQ(h.magneticHeading, 123.25);
    EXPECT_DOUBLE_EQ(h.declination, 0.0);
}

TEST(TrueNorth, DeclinationAtAFixUsesItsDateAndPlace) {
    CLLocation fix;
    fix.coordinate = {40.7128, -74.006};
    fix.timestamp = QDateTime(QDate(2026, 7, 2), QTime(12, 0), Qt::UTC);  // 2026.5
    const auto d = declinationAt(fix);
    ASSERT_TRUE(d);
    EXPECT_NEAR(d->degrees, -12.47, 0.015);
    EXPECT_FALSE(d->outsideModel);

    fix.timestamp = QDateTime(QDate(2031, 1, 1), QTime(0, 0), Qt::UTC);
    ASSERT_TRUE(declinationAt(fix));
    EXPECT_TRUE(declinationAt(fix)->outsideModel);

    fix.coordinate = {91.0, 0.0};
    EXPECT_FALSE(declinationAt(fix));
}
