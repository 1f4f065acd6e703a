// The azimuth file: the exported text byte for byte, and the lenient reader.

#include "AzimuthFile.h"
#include "files/JsonText.h"
#include "files/LenientJson.h"
#include "testsupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using AzimuthFile::Entry;

namespace {

QByteArray reference(const char* name) {
    return zltest::readFile(zltest::sourcePath(QStringLiteral("tests/data/azimuth/") + QLatin1String(name)));
}

const QList<Entry> kTwo = {{10.5, 2.0, "a", 255, 0, 0}, {90.0, 1.5, "", 0, 0, 255}};

}  // namespace

TEST(AzimuthExportText, TwoAzimuthsByteForByteAndBackAndTextsEscapedSoThatEveryFileReadsBack) {
    const QByteArray golden = reference("two_azimuths.json");
    EXPECT_EQ(AzimuthFile::exportText(52.0, 21.0, kTwo).toStdString(), golden.toStdString());
    QString error;
    const auto content = AzimuthFile::parse(golden, &error);
    ASSERT_TRUE(content) << error.toStdString();
    EXPECT_EQ(std::tuple(content->latitude, content->longitude, content->azimuths), std::tuple(52.0, 21.0, kTwo));
    EXPECT_EQ(AzimuthFile::exportText(0.0, 0.0, {}), "{\n\"latitude\": 0.0,\n\"longitude\": 0.0,\n\"azimuths\": [\n]\n}");

    const QString nasty = QStringLiteral("say \"hi\"\\ now\nline\ttab\r\x01\x1f end ąż 🛰");
    EXPECT_EQ(JsonText::escaped(nasty),
              QStringLiteral("say \\\"hi\\\"\\\\ now\\nline\\ttab\\r\\u0001\\u001f end ąż 🛰"));
    const QList<Entry> entries = {{1.0, 2.0, nasty, 1, 2, 3}, {3.0, 4.0, "\"", 4, 5, 6}, {5.0, 6.0, "\\", 7, 8, 9}};
    const auto back = AzimuthFile::parse(AzimuthFile::exportText(1.5, -2.5, entries), &error);
    ASSERT_TRUE(back) << error.toStdString();
    EXPECT_EQ(back->azimuths, entries);
}

TEST(AzimuthExportText, DoublesAsTheShortestTextThatReadsBack) {
    for (auto [value, text] : {std::pair{52.0, "52.0"}, {-0.5, "-0.5"}, {0.1, "0.1"}, {0.1 + 0.2, "0.30000000000000004"},
                               {123456789.0, "123456789.0"}, {0.0001, "0.0001"}, {0.00001, "1e-05"}, {1e20, "1e+20"},
                               {0.0, "0.0"}})
        EXPECT_EQ(JsonText::number(value), text);
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> any(-1e6, 1e6);
    for (int i = 0; i < 2000; ++i)
        if (const double v = any(rng); JsonText::number(v).toDouble() != v) ADD_FAILURE() << v;
}

TEST(AzimuthFileRead, NumbersAsTextsAndAsNumbersReadTheSameAndOtherKindsLeniently) {
    QString error;
    const auto content = AzimuthFile::parse(reference("numbers_as_numbers.json"), &error);
    ASSERT_TRUE(content) << error.toStdString();
    // Missing desc is empty; "12.7" truncates; true is 1; null is 0.
    const QList<Entry> expected{{45.0, 3.75, "north-east", 255, 128, 64}, {270.5, 0.5, "", 12, 1, 0}};
    EXPECT_EQ(std::tuple(content->latitude, content->longitude, content->azimuths), std::tuple(48.5, 2.25, expected));

    const auto lenient = AzimuthFile::parse(
        R"({"azimuths":[{"azimuth":"12.5abc","distance":[],"desc":7,"colorRed":"x"},{"desc":true},{},"odd",3]})",
        &error);
    ASSERT_TRUE(lenient) << error.toStdString();
    ASSERT_EQ(lenient->azimuths.size(), 5);
    EXPECT_EQ(lenient->azimuths[0], (Entry{12.5, 0.0, "7", 0, 0, 0}));
    EXPECT_EQ(lenient->azimuths[1].desc, "true");
    EXPECT_EQ(lenient->azimuths[3], Entry{});
    EXPECT_EQ(lenient->latitude, 0.0);
}

TEST(AzimuthFileRead, MissingArrayNotJsonAndAColourBeyond32Bits) {
    QString error;
    for (const char* bad : {R"({"latitude": 1.0})", R"({"azimuths": {}})", R"({"azimuths": "[]"})", "[1,2]", "3"}) {
        error.clear();
        EXPECT_FALSE(AzimuthFile::parse(bad, &error)) << bad;
        EXPECT_TRUE(error.contains("\"azimuths\"")) << error.toStdString();
    }
    for (const char* bad : {"", "not json", "{\"azimuths\": [}", "{\"azimuths\": [{\"desc\": \"a\nb\"}]}",
                            "{\"azimuths\": []} x", "{\"azimuths\": [],,}", "\xff\xfe{}"}) {
        error.clear();
        EXPECT_FALSE(AzimuthFile::parse(bad, &error)) << bad;
        EXPECT_TRUE(error.startsWith("not a JSON text")) << error.toStdString();
    }
    EXPECT_FALSE(AzimuthFile::parse(R"({"azimuths":[{"colorRed": 4294967296}]})", &error));
    EXPECT_TRUE(error.contains("colour")) << error.toStdString();
    EXPECT_TRUE(AzimuthFile::parse(R"({"azimuths":[{"colorRed": -2147483648, "colorBlue": "2147483647"}]})", &error));
}

TEST(LenientJsonReader, TrailingCommasBomNonFiniteWordsAndDeepNesting) {
    QString error;
    EXPECT_EQ(LenientJson::parse("\xEF\xBB\xBF [1, 2, ] ", &error).value_or(QJsonValue()), QJsonValue(QJsonArray{1, 2}));
    EXPECT_EQ(LenientJson::parse(R"({"a": {"b": [],}, })", &error).value_or(QJsonValue()),
              QJsonValue(QJsonObject{{"a", QJsonObject{{"b", QJsonArray()}}}}));
    const QJsonArray words =
        LenientJson::parse("[nan, inf, -inf, -0.5e2, \"\\u00e9\\/\"]", &error).value_or(QJsonValue()).toArray();
    ASSERT_EQ(words.size(), 5) << error.toStdString();
    EXPECT_TRUE(std::isnan(words.at(0).toDouble()));
    EXPECT_EQ(std::tuple(words.at(2).toDouble(), words.at(3).toDouble(), words.at(4).toString()),
              std::tuple(-std::numeric_limits<double>::infinity(), -50.0, QStringLiteral("é/")));
    for (const char* bad : {"[,]", "[1 2]", "{\"a\" 1}", "01", "1.", "-", "\"\\x\"", "[1,", "{\"a\":1,"})
        EXPECT_FALSE(LenientJson::parse(bad, &error)) << bad;
    // Deep nesting is refused, not overflowed.
    EXPECT_FALSE(LenientJson::parse(QByteArray(100000, '['), &error));
    EXPECT_TRUE(error.contains("nested too deeply")) << error.toStdString();
    const QByteArray fine = QByteArray(100, '[') + QByteArray(100, ']');
    EXPECT_TRUE(LenientJson::parse(fine, &error));
}

TEST(AzimuthFileFuzz, RandomAndTruncatedInputNeverCrashes) {
    const QByteArray good = reference("two_azimuths.json");
    int accepted = 0;
    for (int n = 0; n <= good.size(); ++n) {
        QString error;
        if (AzimuthFile::parse(good.left(n), &error)) ++accepted;
        else EXPECT_FALSE(error.isEmpty());
    }
    EXPECT_EQ(accepted, 1) << "only the whole file reads";
    // Bytes replaced by ones that matter to the reader, or dropped.
    const QByteArray alphabet = "{}[],:\"\\ 0123456789.-+eEtrufalsn\n\x01\xff";
    std::mt19937 rng(20261122);
    for (int round = 0; round < 3000; ++round) {
        QByteArray t = good;
        for (int e = 0, edits = 1 + int(rng() % 6); e < edits; ++e) {
            const int at = int(rng() % t.size());
            if (rng() % 2) t[at] = alphabet[int(rng() % alphabet.size())];
            else t.remove(at, 1);
        }
        QString error;
        EXPECT_TRUE(AzimuthFile::parse(t, &error) || !error.isEmpty());
    }
}
