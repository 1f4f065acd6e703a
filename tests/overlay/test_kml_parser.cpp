// Each rule of the KML reader on a small document, asserting the whole result.
#include <gtest/gtest.h>

#include "kml_test_support.h"

using namespace kmltest;

namespace {

struct Case {
    const char* name;
    std::string body; // inside <Document>
    std::vector<GMUPlacemark> placemarks;
    std::vector<GMUStyle> styles = {};
    std::vector<GMUStyleMap> styleMaps = {};
};

GMUPlacemark mark(std::optional<GMUGeometry> geometry, std::optional<std::string> title = std::nullopt) {
    return GMUPlacemark{std::move(geometry), std::nullopt, std::move(title), std::nullopt, std::nullopt};
}

void checkCases(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto p = parsed(doc(c.body));
        EXPECT_EQ(p.error(), std::nullopt) << p.error()->message;
        EXPECT_EQ(p.placemarks(), c.placemarks);
        EXPECT_EQ(p.styles(), c.styles);
        EXPECT_EQ(p.styleMaps(), c.styleMaps);
    }
}

const GMUColor kRed{1, 0, 0, 1};
const GMUColor kGreen{0, 1, 0, 1};

} // namespace

TEST(KMLParser, Styles) {
    GMUStyle full{"#s", kRed, GMUColor{0, 0, 1, 128 / 255.0}, 3.5, 1.25, 90, {0.25, 0.75}, "icon.png", "hello", false, true};
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
    const GMUColor a = *p.styles()[0].fillColor;
    EXPECT_EQ(a.alpha, 128 / 255.0);
    for (double component : {a.red, a.green, a.blue}) {
        EXPECT_GE(component, 0.0);
        EXPECT_LT(component, 1.0);
        EXPECT_EQ(component * 255.0, std::round(component * 255.0));
    }
    // 1/255 truncates to n = 1, so the random pick in [0, 1) is 0.
    EXPECT_EQ(p.styles()[1].fillColor, (GMUColor{0, 0, 0, 1}));
    EXPECT_EQ(p.styles()[1].strokeColor, kRed); // no stroke mode was read
    EXPECT_EQ(p.styles()[2].fillColor, (GMUColor{0, 0, 0, 1}));
}

TEST(KMLParser, Geometry) {
    checkCases({
        {"point with altitude, line with ignored siblings", R"(
            <Placemark><name>p</name><Point><coordinates> 8.5,47.25,400 </coordinates></Point></Placemark>
            <Placemark><LineString><tessellate>1</tessellate><altitudeMode>absolute</altitudeMode>
              <coordinates>
                1,2,3   4,5
                6,7</coordinates></LineString></Placemark>)",
         {mark(GMUPoint{ll(47.25, 8.5)}, "p"), mark(GMULineString{GMSPath{ll(2, 1), ll(5, 4), ll(7, 6)}})}},
        {"empty coordinates, no coordinates, no geometry", R"(
            <Placemark><Point><coordinates></coordinates></Point></Placemark>
            <Placemark><LineString><coordinates/></LineString></Placemark>
            <Placemark><LineString></LineString></Placemark><Placemark/>)",
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
            <innerBoundaryIs><LinearRing><coordinates>3,3 4,3</coordinates></LinearRing></innerBoundaryIs>
            </Polygon></Placemark>)",
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
        {"members in order, one flat collection", R"(<Placemark><MultiGeometry>
            <Point><coordinates>1,1</coordinates></Point>
            <LineString><coordinates>2,2 3,3</coordinates></LineString>
            <Polygon><outerBoundaryIs><coordinates>4,4</coordinates></outerBoundaryIs></Polygon>
            </MultiGeometry></Placemark>)",
         {mark(GMUGeometryCollection{{a, b, c}})}},
        {"nested: the inner end stops collecting, later members are lost", R"(<Placemark><MultiGeometry>
            <Point><coordinates>1,1</coordinates></Point>
            <MultiGeometry><LineString><coordinates>2,2 3,3</coordinates></LineString></MultiGeometry>
            <Point><coordinates>9,9</coordinates></Point>
            </MultiGeometry></Placemark>)",
         {mark(GMUGeometryCollection{{a, b}})}},
    });
    EXPECT_EQ(GMUGeometry(GMUGeometryCollection{{a}}).type(), "GeometryCollection");
    EXPECT_EQ(c.type(), "Polygon");
}

TEST(KMLParser, GroundOverlays) {
    checkCases({
        {"all fields; missing ones read 0 or absent", R"(
            <GroundOverlay><name>plan</name><drawOrder>7</drawOrder><Icon><href>plan.png</href></Icon>
              <LatLonBox><north>47.5</north><south>47.25</south><east>8.75</east><west>8.5</west>
              <rotation>30</rotation></LatLonBox></GroundOverlay>
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
    struct Row {
        const char* text;
        double rotation;
        int drawOrder;
        double width;
        bool fill;
        GMUColor color;
    };
    const Row rows[] = {
        {"0", 0, 0, 0, false, {0, 0, 0, 0}},
        {"180", 180, 180, 180, true, {128 / 255.0, 1 / 255.0, 0, 0}},
        {"-180", 180, -180, -180, true, {0, 0, 0, 0}}, // "-" is no hex digit: the fixed 0
        {"180.1", 0, 180, 180.1f, true, {128 / 255.0, 1 / 255.0, 0, 0}},
        {"  +45.5abc", 314.5, 45, 45.5, true, {0, 0, 0, 0}},
        {"-0.5e1", 5, 0, -5, false, {0, 0, 0, 0}},
        {"y", 0, 0, 0, true, {0, 0, 0, 0}},
        {"Nope", 0, 0, 0, false, {0, 0, 0, 0}},
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
        {"entities and text in several events join", R"(
            <Placemark><name>a &amp; b &#x263A;</name></Placemark>)",
         {mark(std::nullopt, "a & b \u263A")}},
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
        if (offset == kml.size())
            return std::int64_t(0);
        buffer[0] = kml[offset++];
        return std::int64_t(1);
    });
    stream.parse();
    EXPECT_EQ(stream.placemarks(), whole.placemarks());
    EXPECT_EQ(stream.styles(), whole.styles());

    // A second run on the spent source adds nothing.
    stream.parse();
    EXPECT_EQ(stream.placemarks().size(), 1u);
}
