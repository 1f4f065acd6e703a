#include "BasemapRenderer.h"
#include "CountryLabels.h"
#include "TopoJson.h"

#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::basemap;

namespace {
// Two countries side by side (sharing arc 0, the border at lon 10) forming
// one island from lon 0 to 20, lat 0 to 10; quantised with a transform.
const char* kCountries = R"({"type":"Topology",
 "transform":{"scale":[1,1],"translate":[0,0]},
 "objects":{"countries":{"type":"GeometryCollection","geometries":[
   {"type":"Polygon","arcs":[[0,1]]},
   {"type":"Polygon","arcs":[[-1,2]]}]},
  "land":{"type":"GeometryCollection","geometries":[
   {"type":"Polygon","arcs":[[1,2]]}]}},
 "arcs":[[[10,0],[0,10]],
         [[10,10],[-10,0],[0,-10],[10,0]],
         [[10,0],[10,0],[0,10],[-10,0]]]})";

// Named countries, not quantised: a wide one on the equator, a tiny one, a
// U-shaped one whose centroid lies in its gap, one made of two islands (the
// larger carries the name) and one across the antimeridian. The last
// geometry has no name.
const char* kNamed = R"({"type":"Topology",
 "objects":{"countries":{"type":"GeometryCollection","geometries":[
   {"type":"Polygon","properties":{"name":"Wideland"},"arcs":[[0]]},
   {"type":"Polygon","properties":{"name":"Tiny"},"arcs":[[1]]},
   {"type":"Polygon","properties":{"name":"Crescent"},"arcs":[[2]]},
   {"type":"MultiPolygon","properties":{"name":"Twin Isles"},"arcs":[[[3]],[[4]]]},
   {"type":"Polygon","properties":{"name":"Dateline"},"arcs":[[5]]},
   {"type":"Polygon","properties":{},"arcs":[[6]]}]}},
 "arcs":[[[-60,-20],[60,-20],[60,20],[-60,20],[-60,-20]],
         [[100,0],[100.2,0],[100.2,0.2],[100,0.2],[100,0]],
         [[120,30],[150,30],[150,0],[140,0],[140,20],[130,20],[130,0],[120,0],[120,30]],
         [[-100,-60],[-99,-60],[-99,-59],[-100,-59],[-100,-60]],
         [[-90,-60],[-70,-60],[-70,-50],[-90,-50],[-90,-60]],
         [[170,60],[-170,60],[-170,70],[170,70],[170,60]],
         [[0,-70],[1,-70],[1,-69],[0,-69],[0,-70]]]})";

// Whether any pixel of the PNG in the given box is not transparent.
bool inked(const QByteArray& png, const QRect& box = QRect(0, 0, 256, 256))
{
    const QImage img = QImage::fromData(png, "PNG").convertToFormat(QImage::Format_ARGB32);
    for (int y = box.top(); y <= box.bottom(); ++y)
        for (int x = box.left(); x <= box.right(); ++x)
            if (qAlpha(img.pixel(x, y)) > 0)
                return true;
    return false;
}

// The named object of a TopoJSON text, which must read.
TopoLayer layer(const char* json, const char* object)
{
    TopoLayer l;
    QString error;
    EXPECT_TRUE(readTopoJson(json, object, l, error)) << error.toStdString();
    return l;
}

// A ring crossing the antimeridian: lon 170 to -170 around lat 0.
const char* kWrapped = R"({"type":"Topology",
 "objects":{"land":{"type":"Polygon","arcs":[[0]]}},
 "arcs":[[[170,-5],[-170,-5],[-170,5],[170,5],[170,-5]]]})";
}  // namespace

TEST(Basemap, DecodesQuantisedArcsFindsSharedBordersAndRendersLandAndWater)
{
    const TopoLayer countries = layer(kCountries, "countries");
    TopoLayer land = layer(kCountries, "land");
    // Only arc 0 is used twice.
    ASSERT_EQ(std::tuple(countries.polygons.size(), countries.borders.size(), land.polygons.size()),
              std::tuple(2u, 1u, 1u));
    EXPECT_NEAR(countries.borders[0].maxX, mercator(10, 10).x(), 1e-12);
    EXPECT_NEAR(land.polygons[0][0].minX, mercator(0, 0).x(), 1e-12);
    EXPECT_NEAR(land.polygons[0][0].maxX, mercator(20, 0).x(), 1e-12);

    QString error;
    TopoLayer bad;
    EXPECT_FALSE(readTopoJson("not json", "land", bad, error));
    EXPECT_FALSE(readTopoJson(R"({"type":"Topology","objects":{},"arcs":[]})", "land", bad, error));
    EXPECT_TRUE(error.contains("land"));
    EXPECT_FALSE(readTopoJson(R"({"type":"Topology","objects":{"land":{"type":"Polygon","arcs":[[5]]}},"arcs":[]})",
                              "land", bad, error));

    // The base map of that land and a ring across the antimeridian.
    land.polygons.push_back(layer(kWrapped, "land").polygons.at(0));
    const BasemapRenderer renderer(land, land, countries);

    const auto world = renderer.renderTile(0, 0, 0);
    ASSERT_TRUE(world);
    const QImage img = QImage::fromData(*world, "PNG");
    ASSERT_EQ(img.size(), QSize(256, 256));
    const BasemapRenderer::Style style;
    const QPointF island = mercator(15, 5);
    // Both sides of the antimeridian (the last two) show the wrapped island:
    // its ring was read as one piece, not one spanning the world.
    EXPECT_EQ((std::vector<QColor>{img.pixel(int(island.x() * 256), int(island.y() * 256)), img.pixel(5, 5),
                                   img.pixel(1, 128), img.pixel(254, 128)}),
              (std::vector<QColor>{style.land, style.water, style.land, style.land}));

    EXPECT_FALSE(renderer.renderTile(3, 0, 0).has_value());  // open sea near the pole

    // Walking a subtree gives each tile once; deep tiles match direct renders.
    std::map<std::tuple<int, int, int>, std::optional<QByteArray>> seen;
    renderer.renderSubtree(1, 1, 0, 4, [&](int z, int x, int y, const std::optional<QByteArray>& png) {
        EXPECT_TRUE(seen.emplace(std::make_tuple(z, x, y), png).second);
    });
    EXPECT_EQ(seen.size(), 1u + 4 + 16 + 64);
    const auto deep = seen[std::make_tuple(4, int(island.x() * 16), int(island.y() * 16))];
    EXPECT_TRUE(deep && deep == renderer.renderTile(4, int(island.x() * 16), int(island.y() * 16)));
}

TEST(CountryLabels, LabelPointsAndPlacementBySizeWithoutOverlaps)
{
    const TopoLayer countries = layer(kNamed, "countries");
    std::map<QString, LabelCandidate> byName;
    for (const LabelCandidate& c : CountryLabels::candidates(countries))
        byName[c.text] = c;
    ASSERT_EQ(std::tuple(countries.names.size(), byName.size()), std::tuple(5u, 5u));  // the nameless one is not listed
    // The centroid of the U lies in its gap (lon 130-140); the label goes to
    // the middle of the land on that row instead.
    const QPointF u = byName["Crescent"].anchor;
    EXPECT_TRUE((u.x() > mercator(120, 0).x() && u.x() < mercator(130, 0).x())
                || (u.x() > mercator(140, 0).x() && u.x() < mercator(150, 0).x()))
        << u.x();
    // Of two islands the larger one carries the name.
    EXPECT_NEAR(byName["Twin Isles"].anchor.x(), mercator(-80, 0).x(), 1e-3);
    // Across the antimeridian: the anchor is on the world, at its edge.
    const double d = byName["Dateline"].anchor.x();
    EXPECT_TRUE((d >= 0.0 && d < 0.01) || (d > 0.99 && d < 1.0)) << d;
    EXPECT_NEAR(byName["Wideland"].anchor.y(), 0.5, 1e-9);

    // Placed by size, without overlaps.
    const CountryLabels labels(countries, 10);
    const auto names = [&](int z) {
        QStringList out;
        for (const PlacedLabel& p : labels.placed(z))
            out << p.text;
        return out;
    };
    // Tiny is far too small for its name at zoom 0.
    EXPECT_EQ(std::tuple(names(0).contains("Wideland"), names(0).contains("Tiny"), names(10).contains("Tiny"),
                         labels.placed(11).empty(), labels.placed(-1).empty()),
              std::tuple(true, false, true, true, true));
    for (int z = 0; z <= 10; ++z) {
        const auto& placed = labels.placed(z);
        for (std::size_t i = 0; i < placed.size(); ++i)
            for (std::size_t j = i + 1; j < placed.size(); ++j)
                EXPECT_FALSE(placed[i].rect.intersects(placed[j].rect))
                    << z << " " << placed[i].text.toStdString() << " / " << placed[j].text.toStdString();
    }
}

TEST(CountryLabels, NamesAcrossTileEdgesAreDrawnOnEveryTileTheyTouch)
{
    const CountryLabels labels(layer(kNamed, "countries"), 6);

    // At zoom 1 the world is 2 x 2 tiles and Wideland's name sits on the
    // point where all four meet.
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x) {
            const auto png = labels.renderTile(1, x, y);
            ASSERT_TRUE(png.has_value()) << x << "," << y;
            const QRect nearCentre(x == 0 ? 200 : 0, y == 0 ? 240 : 0, 56, 16);
            EXPECT_TRUE(inked(*png, nearCentre)) << x << "," << y;
        }

    // The antimeridian: the name is drawn on both edge tiles of its row.
    int z = 0;
    const PlacedLabel* dateline = nullptr;
    for (z = 0; z <= 6 && !dateline; ++z)
        for (const PlacedLabel& p : labels.placed(z))
            if (p.text == "Dateline")
                dateline = &p;
    ASSERT_NE(dateline, nullptr);
    --z;
    const int row = int(dateline->baseline.y()) / 256;
    const auto west = labels.renderTile(z, 0, row), east = labels.renderTile(z, (1 << z) - 1, row);
    ASSERT_TRUE(west && east) << z;
    EXPECT_TRUE(inked(*west, QRect(0, 0, 8, 256)) && inked(*east, QRect(248, 0, 8, 256)));

    // Open sea far from any name: nothing to draw, and the shared empty tile
    // is a whole transparent tile.
    EXPECT_EQ(std::tuple(labels.renderTile(6, 5, 60).has_value(), QImage::fromData(labels.emptyTile(), "PNG").size(),
                         inked(labels.emptyTile())),
              std::tuple(false, QSize(256, 256), false));

    // For the road map, where a name lies, the base map's picture gets it and stays opaque.
    QImage picture(256, 256, QImage::Format_RGB32);
    picture.fill(QColor(0xEF, 0xE8, 0xD8));
    const QImage before = picture;
    ASSERT_TRUE(labels.touches(1, 0, 0));
    ASSERT_TRUE(labels.drawOnto(picture, 1, 0, 0));
    EXPECT_EQ(std::tuple(picture == before, picture.format()), std::tuple(false, QImage::Format_RGB32));
    // The same name as on the label layer: where that tile is clear, the
    // picture is untouched.
    const QImage labelTile =
        QImage::fromData(*labels.renderTile(1, 0, 0), "PNG").convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < 256; y += 3)
        for (int x = 0; x < 256; x += 3)
            ASSERT_TRUE(qAlpha(labelTile.pixel(x, y)) > 0 || picture.pixel(x, y) == before.pixel(x, y)) << x << "," << y;
    // No name: nothing drawn, and the layer has no tile either.
    QImage sea = before;
    EXPECT_FALSE(labels.drawOnto(sea, 4, 3, 14));
    EXPECT_EQ(std::tuple(labels.touches(4, 3, 14), sea == before, labels.renderTile(4, 3, 14).has_value()),
              std::tuple(false, true, false));
}
