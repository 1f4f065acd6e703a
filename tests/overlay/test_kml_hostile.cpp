// Inputs the reader cannot take, and files made to hurt it: each stops
// calmly with what and where, keeping what was complete before.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fstream>
#include <random>

#include "kml_test_support.h"

using namespace kmltest;

namespace {

const GMUPlacemark kKept{std::nullopt, std::nullopt, "kept", std::nullopt, std::nullopt};

} // namespace

TEST(KMLParserFailures, StopWithWhatAndWhereKeepingEarlierResults) {
    struct Row {
        const char* name;
        const char* bad; // the second line of the document
        GMUKMLError::Kind kind;
        std::uint64_t column;
    };
    const Row rows[] = {
        {"tuple without comma", "<Placemark><LineString><coordinates>1,2 3</coordinates>", GMUKMLError::kTupleWithoutComma, 42},
        {"blank behind a comma", "<Placemark><Polygon><outerBoundaryIs><coordinates>8.5,47.3, 400</coordinates>",
         GMUKMLError::kTupleWithoutComma, 64},
        {"point without comma", "<Placemark><Point><coordinates> 8.5 </coordinates>", GMUKMLError::kTupleWithoutComma, 37},
        {"blank coordinates", "<Placemark><LineString><coordinates> \n </coordinates>", GMUKMLError::kTupleWithoutComma, 2},
        {"polygon without outer ring", "<Placemark><Polygon><innerBoundaryIs><coordinates>1,1</coordinates></innerBoundaryIs></Polygon>",
         GMUKMLError::kPolygonWithoutOuterBoundary, 86},
        {"malformed XML", "<Placemark><name>x</nam></Placemark>", GMUKMLError::kMalformedXML, 21},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        auto p = parsed(std::string("<kml><Document><Placemark><name>kept</name></Placemark>\n") + r.bad +
                        "</Placemark><Placemark/></Document></kml>");
        ASSERT_TRUE(p.error());
        EXPECT_EQ(p.error()->kind, r.kind) << p.error()->message;
        EXPECT_EQ(p.error()->line, std::string(r.bad).find('\n') == std::string::npos ? 2u : 3u);
        EXPECT_EQ(p.error()->column, r.column);
        EXPECT_EQ(p.placemarks(), std::vector<GMUPlacemark>{kKept});
    }
}

TEST(KMLParserFailures, MissingFileIsReported) {
    auto p = GMUKMLParser::withFile("/nonexistent/plan.kml");
    p.parse();
    ASSERT_TRUE(p.error());
    EXPECT_EQ(p.error()->kind, GMUKMLError::kUnreadableSource);
    EXPECT_NE(p.error()->message.find("/nonexistent/plan.kml"), std::string::npos);
    EXPECT_EQ(p.error()->line, 0u);
    EXPECT_TRUE(p.placemarks().empty());
}

TEST(KMLParserHostile, EntityExpansionIsBounded) {
    std::string dtd = "<!DOCTYPE kml [<!ENTITY l0 \"lollollollollollollollollollol\">";
    for (int i = 1; i < 10; ++i) {
        dtd += "<!ENTITY l" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j)
            dtd += "&l" + std::to_string(i - 1) + ";";
        dtd += "\">";
    }
    auto p = parsed(dtd + "]>\n<kml><Placemark><name>kept</name></Placemark><Placemark><name>&l9;</name></Placemark></kml>");
    ASSERT_TRUE(p.error());
    EXPECT_EQ(p.error()->kind, GMUKMLError::kMalformedXML);
    EXPECT_NE(p.error()->message.find("amplification"), std::string::npos) << p.error()->message;
    EXPECT_EQ(p.placemarks(), std::vector<GMUPlacemark>{kKept});
}

TEST(KMLParserHostile, ExternalEntitiesAreNeverLoaded) {
    QTemporaryDir dir;
    const std::string secret = dir.filePath("secret.txt").toStdString();
    std::ofstream(secret) << "secret";
    const std::string path = dir.filePath("plan.kml").toStdString();
    std::ofstream(path) << "<!DOCTYPE kml [<!ENTITY ext SYSTEM \"file://" + secret + "\"><!ENTITY % p SYSTEM \"file://" +
                               secret + "\"> %p;]>\n<kml><Placemark><name>&ext;</name></Placemark></kml>";
    auto p = GMUKMLParser::withFile(path);
    p.parse();
    EXPECT_EQ(p.error(), std::nullopt);
    EXPECT_EQ(p.placemarks(), std::vector<GMUPlacemark>{GMUPlacemark{}});
}

TEST(KMLParserHostile, DeepNestingCostsNoStack) {
    const int depth = 200000;
    std::string kml = "<kml>";
    for (int i = 0; i < depth; ++i)
        kml += "<Folder>";
    kml += "<Placemark><name>kept</name></Placemark>";
    for (int i = 0; i < depth; ++i)
        kml += "</Folder>";
    auto p = parsed(kml + "</kml>");
    EXPECT_EQ(p.error(), std::nullopt);
    EXPECT_EQ(p.placemarks(), std::vector<GMUPlacemark>{kKept});
}

// Cuts, flips and splices small real documents; the reader must neither
// crash nor hang, and every stop must say where.
TEST(KMLParserHostile, MangledDocumentsNeverCrash) {
    const std::vector<std::string> samples = {
        doc(R"(<Style id="s"><LineStyle><color>ff0000ff</color><width>2</width></LineStyle>
            <PolyStyle><color>7f00ff00</color><colorMode>random</colorMode><fill>1</fill></PolyStyle>
            <IconStyle><hotSpot x="0.5" y="0" xunits="fraction" yunits="fraction"/><Icon><href>a.png</href></Icon></IconStyle></Style>
            <StyleMap id="m"><Pair><key>normal</key><styleUrl>#s</styleUrl></Pair></StyleMap>)"),
        doc(R"(<Folder><name>f</name><Placemark><styleUrl>#s</styleUrl><MultiGeometry>
            <Point><coordinates>8.5,47.3,0</coordinates></Point>
            <LineString><coordinates>8.5,47.3 8.6,47.4</coordinates></LineString>
            <Polygon><outerBoundaryIs><LinearRing><coordinates>0,0 1,0 1,1 0,0</coordinates></LinearRing></outerBoundaryIs>
            <innerBoundaryIs><LinearRing><coordinates>.2,.2 .3,.2 .2,.2</coordinates></LinearRing></innerBoundaryIs></Polygon>
            </MultiGeometry></Placemark></Folder>)"),
        doc(R"(<GroundOverlay><drawOrder>2</drawOrder><Icon><href>p.png</href></Icon><LatLonBox>
            <north>1</north><south>0</south><east>1</east><west>0</west><rotation>-30</rotation></LatLonBox></GroundOverlay>
            <Placemark><description><![CDATA[<b>x</b>]]></description><name>a &amp; <i>b</i></name></Placemark>)"),
    };
    std::mt19937 random(42);
    auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n)(random); };
    for (int i = 0; i < 3000; ++i) {
        std::string text = samples[pick(samples.size() - 1)];
        switch (i % 3) {
        case 0:
            text.resize(pick(text.size()));
            break;
        case 1:
            for (int flips = 0; flips < 3; ++flips)
                text[pick(text.size() - 1)] = char(pick(255));
            break;
        default: {
            const std::string& other = samples[pick(samples.size() - 1)];
            text = text.substr(0, pick(text.size())) + other.substr(pick(other.size()));
        }
        }
        auto p = parsed(text);
        if (p.error()) {
            EXPECT_GE(p.error()->line, 1u) << text;
        }
    }
}
