// The settings store, number formats and the numeric field reader.

#include "settings/Units.h"
#include "settings/UserDefaults.h"

#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cmath>

TEST(UserDefaultsTest, AFreshStoreReadsNothingAndValuesSurviveANewStoreOnTheSameFile) {
    QTemporaryDir dir;
    const QString path = QDir(dir.path()).filePath("settings.ini");
    {
        UserDefaults d(path);
        EXPECT_EQ(std::tuple(d.boolForKey(SettingsKey::useImperialUnits), d.doubleForKey(SettingsKey::latitude),
                             d.integerForKey(SettingsKey::ptpListSortBy), d.stringForKey(SettingsKey::toName)),
                  std::tuple(false, 0.0, 0, std::nullopt));
        d.setBool(true, SettingsKey::useImperialUnits);
        d.setDouble(52.123456789012, SettingsKey::latitude);
        d.setDouble(-0.1, SettingsKey::longitude);
        d.setInteger(3, SettingsKey::ptpListSortBy);
        d.setObject(QStringLiteral("Mast, \"north\" = 1"), SettingsKey::toName);
        d.setObject(QString(), SettingsKey::toDesc);
        EXPECT_TRUE(d.synchronize());
    }
    UserDefaults d(path);
    // A Bool read as an integer gives 1.
    EXPECT_EQ(std::tuple(d.boolForKey(SettingsKey::useImperialUnits), d.integerForKey(SettingsKey::useImperialUnits),
                         d.doubleForKey(SettingsKey::latitude), d.doubleForKey(SettingsKey::longitude),
                         d.integerForKey(SettingsKey::ptpListSortBy)),
              std::tuple(true, 1, 52.123456789012, -0.1, 3));
    EXPECT_EQ((QStringList{d.stringForKey(SettingsKey::toName).value_or("?"),
                           d.stringForKey(SettingsKey::toDesc).value_or("?")}),
              (QStringList{"Mast, \"north\" = 1", ""}));
    d.setBool(false, SettingsKey::useImperialUnits);
    EXPECT_EQ(d.integerForKey(SettingsKey::useImperialUnits), 0);
    d.removeObjectForKey(SettingsKey::toName);
    EXPECT_FALSE(d.stringForKey(SettingsKey::toName).has_value());
}

// The rows, titles and labels built from these are checked on the screens that show them.
TEST(FormatTest, RoundingTheAlphaHexTheFaultColourAndUnitFactors) {
    EXPECT_EQ((QStringList{Format::azimuthTitle(45.26, 1.25, false), Format::heading(359.6),
                           Format::hexColorAlpha(1, 2, 3, 128)}),
              (QStringList{"45.3 °, 1.2 km", "360°", "#01020380"}));
    EXPECT_EQ(Palette::fault().rgb() & 0xFFFFFF, 0xFF3B30u);
    EXPECT_EQ((std::array{Units::kmToMiles, Units::kmToMilesPtp, Units::milesToKmDivisorPtp, Units::milesToKm}),
              (std::array{0.621371192, 0.6213712, 0.6213711922, 1.609344}));
}

TEST(DecimalFieldTest, TheCLibraryGrammarOnTheWholeText) {
    struct Case {
        const char* text;
        std::optional<double> value;
    };
    const Case cases[] = {
        {"12.5", 12.5},     {"12,5", 12.5},    {"-3", -3.0},      {"+3", 3.0},      {".5", 0.5},
        {"5.", 5.0},        {"1e3", 1000.0},   {"1E-2", 0.01},    {"-1.5e+2", -150.0}, {"0x10", 16.0},
        {"0x1p3", 8.0},     {"0X.8", 0.5},     {"1,5e1", 15.0},   {"00012", 12.0},
        {"", std::nullopt}, {" 1", std::nullopt}, {"1 ", std::nullopt}, {"1x", std::nullopt},
        {"x1", std::nullopt}, {"1.2.3", std::nullopt}, {"12,5,1", std::nullopt}, {"e5", std::nullopt},
        {"-", std::nullopt}, {"\t1", std::nullopt}, {"1e", std::nullopt}, {"١٢", std::nullopt},
    };
    for (const Case& c : cases) {
        const auto got = readDecimalField(QString::fromUtf8(c.text));
        ASSERT_EQ(got.has_value(), c.value.has_value()) << c.text;
        if (c.value) EXPECT_DOUBLE_EQ(*got, *c.value) << c.text;
    }
    // Infinity and not-a-number in their C spellings.
    for (auto [text, nan] : {std::pair{"inf", false}, {"-Infinity", false}, {"nan", true}, {"NAN(123)", true}})
        EXPECT_TRUE(nan ? std::isnan(readDecimalField(text).value_or(0)) : std::isinf(readDecimalField(text).value_or(0)))
            << text;
    EXPECT_FALSE(readDecimalField("infinit").has_value());
    EXPECT_FALSE(readDecimalField(QString(QChar(0)) + "1").has_value());
    EXPECT_FALSE(readDecimalField(QStringLiteral("1") + QChar(0)).has_value());
}

