// Each rule of the KML reader on a small document, asserting the whole
// result; then the inputs it cannot take and files made to hurt it, which
// must stop calmly with what and where, keeping what was complete before.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fstream>
#include <random>

#include "GMUKMLParser.h"

namespace {

GMUKMLParser parsed(std::string kml) {
    auto parser = GMUKMLParser::withData(std::move(kml));
    parser.parse();
    return parser;
}

std::string doc(const std::string& body) {
    return "<?xml version=\"1.0\"?>\n<kml><Document>" + body + "</Document></kml>";
}

CLLocationCoordinate2D ll(double latitude, double longitude) { return {latitude, longitude}; }

// `body` goes inside <Document>.
struct Case { const char* name; std::string body; std::vector<GMUPlacemark> placemarks;
              std::vector<GMUStyle> styles = {}; std::vector<GMUStyleMap> styleMaps = {}; };

GMUPlacemark mark(std::optional<GMUGeometry> geometry, std::optional<std::string> title = std::nullopt) {
    return GMUPlacemark{std::move(geometry), std::nullopt, std::move(title), std::nullopt, std::nullopt};
}

// Cuts, flips and splices a document: the reader must neither crash nor
// hang, and every stop must say where.
void survivesMangling(const std::string& sample, const std::string& other) {
    std::mt19937 random(42);
    auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n)(random); };
    for (int i = 0; i < 300; ++i) {
        std::string text = sample;
        if (i % 3 == 0)
            text.resize(pick(text.size()));
        for (int flips = 0; i % 3 == 1 && flips < 3; ++flips)
            text[pick(text.size() - 1)] = char(pick(255));
        if (i % 3 == 2)
            text = text.substr(0, pick(text.size())) + other.substr(pick(other.size()));
        auto p = parsed(text);
        EXPECT_TRUE(!p.error() || p.error()->line >= 1) << text;
    }
}

void checkCases(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        survivesMangling(doc(c.body), doc(cases.front().body));
        auto p = parsed(doc(c.body));
        EXPECT_EQ(p.error(), std::nullopt) << p.error()->message;
        EXPECT_EQ(p.placemarks(), c.placemarks);
        EXPECT_EQ(p.styles(), c.styles);
        EXPECT_EQ(p.styleMaps(), c.styleMaps);
    }
}

const GMSColor kRed{1, 0, 0, 1};
const GMSColor kGreen{0, 1, 0, 1};
const GMUPlacemark kKept{std::nullopt, std::nullopt, "kept", std::nullopt, std::nullopt};

} // namespace

TEST(KMLParser, Styles) {
    GMUStyle full{"#s", kRed, GMSColor{0, 0, 1, 128 / 255.0}, 3.5, 1.25, 90, {0.25, 0.75}, "icon.png", "hello", false, true};
    GMUStyle inlineStyle{"#inline", std::nullopt, kGreen};
    checkCases({
        {"all fields, then a fresh style", R"(
            <Style id="s"><LineStyle><color>ff0000ff</color><width>3.5</width></LineStyle>
              <PolyStyle><color>80ff0000</color><fill>0</fill><outline>yes</outline></PolyStyle>
              <IconStyle><scale>1.25</scale><heading>90</heading><Icon><href>icon.png</href></Icon>
                <hotSpot x="0.25" y="0.75" xunits="fraction" yunits="fraction"/></IconStyle>
              <BalloonStyle><text>hello</text></BalloonStyle></Style>
            <Style id="t"></Style><Style/>)",
         {},
         {full, GMUStyle{"#t"}, GMUStyle{"#(null)"}}},
        {"the last colour outside LineStyle wins; other hot spot units", R"(
            <Style id="c"><PolyStyle><color>ff0000ff</color></PolyStyle><LabelStyle><color>ff00ff00</color></LabelStyle>
              <IconStyle><hotSpot x="3" y="4" xunits="pixels" yunits="fraction"/></IconStyle></Style>)",
         {},
         {GMUStyle{"#c", std::nullopt, kGreen, 0, 0, 0, {0.5, 1.0}}}},
        {"inline style: not shared, a later one replaces it", R"(
            <Placemark><Style id="first"><PolyStyle><color>ff0000ff</color></PolyStyle></Style>
              <Style id="inline"><PolyStyle><color>ff00ff00</color></PolyStyle></Style></Placemark>)",
         {GMUPlacemark{std::nullopt, inlineStyle}}},
    });
}

TEST(KMLParser, RandomColourModeSticksToLaterStyles) {
    auto p = parsed(doc(R"(<Style id="a"><PolyStyle><color>80ffffff</color><colorMode>random</colorMode></PolyStyle></Style>
        <Style id="b"><PolyStyle><color>ff010101</color></PolyStyle><LineStyle><color>ff0000ff</color></LineStyle></Style>
        <Style id="c"><PolyStyle><color>ff000000</color><colorMode>normal</colorMode></PolyStyle></Style>)"));
    ASSERT_EQ(p.styles().size(), 3u);
    const GMSColor a = *p.styles()[0].fillColor;
    EXPECT_EQ(a.alpha, 128 / 255.0);
    for (double component : {a.red, a.green, a.blue})
        EXPECT_TRUE(component >= 0 && component < 1 && component * 255 == std::round(component * 255)) << component;
    // 1/255 truncates to n = 1, so the random pick in [0, 1) is 0.
    EXPECT_EQ(p.styles()[1].fillColor, (GMSColor{0, 0, 0, 1}));
    EXPECT_EQ(p.styles()[1].strokeColor, kRed); // no stroke mode was read
    EXPECT_EQ(p.styles()[2].fillColor, (GMSColor{0, 0, 0, 1}));
}

TEST(KMLParser, Geometry) {
    checkCases({
        {"point with altitude, line with ignored siblings", R"(
            <Placemark><name>p</name><Point><coordinates> 8.5,47.25,400 </coordinates></Point></Placemark>
            <Placemark><LineString><tessellate>1</tessellate><altitudeMode>absolute</altitudeMode>
              <coordinates>
                1,2,3   4,5
                6,7</coordinates></LineString></Placemark>
            <Placemark><LineString><coordinates>)" "1,2\u00A03,4\u3000" R"(</coordinates></LineString></Placemark>)",
         {mark(GMUPoint{ll(47.25, 8.5)}, "p"), mark(GMULineString{GMSPath{ll(2, 1), ll(5, 4), ll(7, 6)}}),
          mark(GMULineString{GMSPath{ll(2, 1), ll(4, 3)}})}},
        {"empty coordinates, no coordinates, no geometry", R"(
            <Placemark><Point><coordinates></coordinates></Point></Placemark>
            <Placemark><LineString><coordinates/></LineString></Placemark><Placemark><LineString/></Placemark><Placemark/>)",
         {mark(GMUPoint{}), mark(GMULineString{GMSPath()}), mark(GMULineString{}), mark(std::nullopt)}},
        {"names are matched as written", R"(
            <kml:Placemark><kml:name>x</kml:name></kml:Placemark><placemark/>)",
         {}},
    });
}

TEST(KMLParser, Boundaries) {
    const GMSPath outer{ll(0, 0), ll(0, 10), ll(10, 10)};
    const GMSPath hole1{ll(1, 1), ll(1, 2)};
    const GMSPath hole2{ll(3, 3), ll(3, 4)};
    auto polygon = [](std::vector<GMSPath> paths) { return mark(GMUPolygon{std::move(paths)}); };
    checkCases({
        {"outer ring and holes in order", R"(<Placemark><Polygon>
            <outerBoundaryIs><LinearRing><coordinates>0,0 10,0 10,10</coordinates></LinearRing></outerBoundaryIs>
            <innerBoundaryIs><LinearRing><coordinates>1,1 2,1</coordinates></LinearRing></innerBoundaryIs>
            <innerBoundaryIs><LinearRing><coordinates>3,3 4,3</coordinates></LinearRing></innerBoundaryIs></Polygon></Placemark>)",
         {polygon({outer, hole1, hole2})}},
        {"two outer rings: the last wins; bare coordinates first are a hole", R"(<Placemark><Polygon>
            <coordinates>1,1 2,1</coordinates>
            <outerBoundaryIs><coordinates>3,3 4,3</coordinates></outerBoundaryIs>
            <outerBoundaryIs><coordinates>0,0 10,0 10,10</coordinates></outerBoundaryIs></Polygon></Placemark>)",
         {polygon({outer, hole1})}},
        {"the outer bit survives its end tag", R"(<Placemark><Polygon>
            <outerBoundaryIs><coordinates>1,1 2,1</coordinates></outerBoundaryIs>
            <coordinates>0,0 10,0 10,10</coordinates>
            <innerBoundaryIs/><coordinates>3,3 4,3</coordinates></Polygon></Placemark>)",
         {polygon({outer, hole2})}},
    });
}

TEST(KMLParser, MultiGeometry) {
    const GMUGeometry a = GMUPoint{ll(1, 1)}, b = GMULineString{GMSPath{ll(2, 2), ll(3, 3)}},
                      c = GMUPolygon{{GMSPath{ll(4, 4)}}};
    checkCases({
        {"members in order, one flat collection", R"(<Placemark><MultiGeometry><Point><coordinates>1,1</coordinates>
            </Point><LineString><coordinates>2,2 3,3</coordinates></LineString><Polygon><outerBoundaryIs><coordinates>4,4</coordinates></outerBoundaryIs></Polygon>
            </MultiGeometry></Placemark>)",
         {mark(GMUGeometryCollection{{a, b, c}})}},
        {"nested: the inner end stops collecting, later members are lost", R"(<Placemark><MultiGeometry>
            <Point><coordinates>1,1</coordinates></Point><MultiGeometry><LineString><coordinates>2,2 3,3</coordinates></LineString></MultiGeometry>
            <Point><coordinates>9,9</coordinates></Point></MultiGeometry></Placemark>)",
         {mark(GMUGeometryCollection{{a, b}})}},
    });
    EXPECT_EQ(c.type(), "Polygon");
}

TEST(KMLParser, GroundOverlays) {
    checkCases({
        {"all fields; missing ones read 0 or absent", R"(
            <GroundOverlay><name>plan</name><drawOrder>7</drawOrder><Icon><href>plan.png</href></Icon>
              <LatLonBox><north>47.5</north><south>47.25</south><east>8.75</east><west>8.5</west><rotation>30</rotation>
              </LatLonBox></GroundOverlay>
            <GroundOverlay><LatLonBox><north>1</north></LatLonBox></GroundOverlay>)",
         {mark(GMUGroundOverlay{ll(47.5, 8.75), ll(47.25, 8.5), 7, 330, "plan.png"}, "plan"),
          mark(GMUGroundOverlay{ll(1, 0), ll(0, 0), 0, 0, std::nullopt})}},
    });
}

TEST(KMLParser, InheritedNamesAndStyleUrls) {
    GMUPlacemark named{GMUPoint{}, std::nullopt, "folder", "about the folder", "#a"};
    GMUPlacemark own{GMUPoint{}, std::nullopt, "own", std::nullopt, "styles.kml#b"};
    checkCases({
        {"folder name and description; refused style urls keep the last", R"(
            <Folder><name>folder</name><description>about the folder</description>
              <Placemark><styleUrl>#a</styleUrl><Point/></Placemark>
              <Placemark><name>own</name><styleUrl>styles.kml#b</styleUrl><styleUrl>#</styleUrl>
                <styleUrl>x#
                </styleUrl><styleUrl>none</styleUrl><Point/></Placemark>
              <Placemark><description>d</description></Placemark></Folder>)",
         {named, own, GMUPlacemark{std::nullopt, std::nullopt, std::nullopt, "d", std::nullopt}}},
    });
}

TEST(KMLParser, StyleMaps) {
    GMUStyle innerThenMap{"#inner", std::nullopt, kRed};
    checkCases({
        {"pairs are never read; their styleUrl passes to the next placemark", R"(
            <StyleMap id="m"><Pair><key>normal</key><styleUrl>#n</styleUrl></Pair>
              <Pair><key>highlight</key><styleUrl>#h</styleUrl></Pair></StyleMap>
            <Placemark/><Placemark><styleUrl>#own</styleUrl></Placemark><Placemark/>)",
         {GMUPlacemark{std::nullopt, std::nullopt, std::nullopt, std::nullopt, "#h"},
          GMUPlacemark{std::nullopt, std::nullopt, std::nullopt, std::nullopt, "#own"}, mark(std::nullopt)},
         {},
         {GMUStyleMap{"#m", {}}}},
        {"a style inside a pair closes the map; the map's end builds a style", R"(
            <StyleMap id="m"><Pair><key>normal</key>
              <Style id="inner"><PolyStyle><color>ff0000ff</color></PolyStyle></Style></Pair></StyleMap>)",
         {},
         {innerThenMap},
         {GMUStyleMap{"#inner", {}}}},
    });
}

TEST(KMLParser, NumbersAndColours) {
    struct Row { const char* text; double rotation; int drawOrder; double width; bool fill; GMSColor color; };
    const Row rows[] = {
        {"0", 0, 0, 0, false, {0, 0, 0, 0}},
        {"180", 180, 180, 180, true, {128 / 255.0, 1 / 255.0, 0, 0}},
        {"-180", 180, -180, -180, true, {0, 0, 0, 0}}, // "-" is no hex digit: the fixed 0
        {"180.1", 0, 180, 180.1f, true, {128 / 255.0, 1 / 255.0, 0, 0}},
        {"  +45.5abc", 314.5, 45, 45.5, true, {0, 0, 0, 0}},
        {"-0.5e1", 5, 0, -5, false, {0, 0, 0, 0}},
        {"y", 0, 0, 0, true, {0, 0, 0, 0}},
        {"-007", 7, -7, -7, true, {0, 0, 0, 0}},
        {"0x00ff00", 0, 0, 0, false, {0, 1, 0, 0}},
        {" 1ff0000ff", 359, 1, 1.0f, true, {1, 0, 0, 1}}, // the low 32 bits
        {"99999999999", 0, 2147483647, 99999999999.0f, true, {153 / 255.0, 153 / 255.0, 153 / 255.0, 153 / 255.0}},
        {"", 0, 0, 0, false, {0, 0, 0, 0}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.text);
        std::string t = r.text;
        auto p = parsed(doc("<Style id=\"s\"><PolyStyle><color>" + t + "</color><fill>" + t + "</fill></PolyStyle>"
                            "<LineStyle><width>" + t + "</width></LineStyle></Style>"
                            "<GroundOverlay><drawOrder>" + t + "</drawOrder><rotation>" + t +
                            "</rotation></GroundOverlay>"));
        ASSERT_EQ(p.error(), std::nullopt);
        EXPECT_EQ(p.styles(), (std::vector<GMUStyle>{{"#s", std::nullopt, r.color, r.width, 0, 0, {}, std::nullopt,
                                                       std::nullopt, r.fill, true}}));
        EXPECT_EQ(p.placemarks(), (std::vector<GMUPlacemark>{mark(
                                      GMUGroundOverlay{{}, {}, r.drawOrder, r.rotation, std::nullopt})}));
    }
}

TEST(KMLParser, LeafTextSplitByAChildAndCdata) {
    checkCases({
        {"the text after a child is lost, the parent stores absent", R"(
            <Placemark><name>first<b>bold</b>rest</name><description>a<br/>b</description></Placemark>)",
         {mark(std::nullopt)}},
        {"CDATA contributes nothing; text around it stays", R"(
            <Placemark><name>x<![CDATA[ignored]]>y</name><description><![CDATA[<p>html</p>]]></description></Placemark>)",
         {mark(std::nullopt, "xy")}},
    });
}

TEST(KMLParser, StateBitsAndSourcesAgree) {
    const std::string kml = doc(R"(<Style id="s"><LineStyle><color>ff0000ff</color></LineStyle></Style>
        <Placemark><name>n</name><LineString><coordinates>1,2 3,4</coordinates></LineString></Placemark>)");
    auto whole = parsed(kml);
    ASSERT_EQ(whole.placemarks().size(), 1u);
    EXPECT_FALSE(whole.isParsing(~std::uint64_t(0)));

    // Fed one byte at a time, the same result.
    auto stream = GMUKMLParser::withStream([&, offset = std::size_t(0)](char* buffer, std::size_t, std::string&) mutable {
        return offset == kml.size() ? std::int64_t(0) : (buffer[0] = kml[offset++], std::int64_t(1));
    });
    stream.parse();
    EXPECT_EQ(stream.placemarks(), whole.placemarks());
    EXPECT_EQ(stream.styles(), whole.styles());

    // A second run on the spent source adds nothing.
    stream.parse();
    EXPECT_EQ(stream.placemarks().size(), 1u);
}

TEST(KMLParserFailures, StopWithWhatAndWhereKeepingEarlierResults) {
    // `bad` starts the document's second line.
    struct Row { const char* name; const char* bad; GMUKMLError::Kind kind; std::uint64_t column; };
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

TEST(KMLParserFailures, AnElementsTextBeyondTheBoundStopsTheParse) {
    auto p = GMUKMLParser::withData("<kml><Document><Placemark><name>kept</name></Placemark>\n<Placemark><name>" +
                                    std::string(65, 'x') + "</name></Placemark></Document></kml>");
    p.setMaxLeafText(64);
    p.parse();
    ASSERT_TRUE(p.error());
    EXPECT_EQ(std::pair(p.error()->kind, p.error()->line), std::pair(GMUKMLError::kLeafTextTooLong, std::uint64_t(2)));
    EXPECT_EQ(p.placemarks(), std::vector<GMUPlacemark>{kKept});
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

