#include "BasemapRenderer.h"
#include "MbtilesStore.h"
#include "MbtilesWriter.h"
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

// A ring crossing the antimeridian: lon 170 to -170 around lat 0.
const char* kWrapped = R"({"type":"Topology",
 "objects":{"land":{"type":"Polygon","arcs":[[0]]}},
 "arcs":[[[170,-5],[-170,-5],[-170,5],[170,5],[170,-5]]]})";
}  // namespace

TEST(TopoJson, DecodesQuantisedArcsAndFindsSharedBorders)
{
    TopoLayer countries, land;
    QString error;
    ASSERT_TRUE(readTopoJson(kCountries, "countries", countries, error)) << error.toStdString();
    ASSERT_TRUE(readTopoJson(kCountries, "land", land, error)) << error.toStdString();
    EXPECT_EQ(countries.polygons.size(), 2u);
    ASSERT_EQ(countries.borders.size(), 1u);  // only arc 0 is used twice
    const QPointF top = mercator(10, 10);
    EXPECT_NEAR(countries.borders[0].maxX, top.x(), 1e-12);
    ASSERT_EQ(land.polygons.size(), 1u);
    EXPECT_NEAR(land.polygons[0][0].minX, mercator(0, 0).x(), 1e-12);
    EXPECT_NEAR(land.polygons[0][0].maxX, mercator(20, 0).x(), 1e-12);

    EXPECT_FALSE(readTopoJson("not json", "land", land, error));
    EXPECT_FALSE(readTopoJson(R"({"type":"Topology","objects":{},"arcs":[]})", "land", land, error));
    EXPECT_TRUE(error.contains("land"));
    TopoLayer bad;
    EXPECT_FALSE(readTopoJson(R"({"type":"Topology","objects":{"land":{"type":"Polygon","arcs":[[5]]}},"arcs":[]})",
                              "land", bad, error));
}

TEST(TopoJson, AntimeridianRingsAreUnwrapped)
{
    TopoLayer land;
    QString error;
    ASSERT_TRUE(readTopoJson(kWrapped, "land", land, error));
    ASSERT_EQ(land.polygons.size(), 1u);
    const Line& ring = land.polygons[0][0];
    EXPECT_LT(ring.maxX - ring.minX, 0.1);  // continuous, not spanning the world
    EXPECT_GT(ring.maxX, 1.0);
}

TEST(Basemap, RendersLandWaterAndSharesTheWaterTile)
{
    TopoLayer countries, land;
    QString error;
    ASSERT_TRUE(readTopoJson(kCountries, "countries", countries, error));
    ASSERT_TRUE(readTopoJson(kCountries, "land", land, error));
    TopoLayer wrapped;
    ASSERT_TRUE(readTopoJson(kWrapped, "land", wrapped, error));
    land.polygons.push_back(wrapped.polygons[0]);
    const BasemapRenderer renderer(land, land, countries);

    const auto world = renderer.renderTile(0, 0, 0);
    ASSERT_TRUE(world);
    const QImage img = QImage::fromData(*world, "PNG");
    ASSERT_EQ(img.size(), QSize(256, 256));
    const BasemapRenderer::Style style;
    const QPointF island = mercator(15, 5);
    EXPECT_EQ(QColor(img.pixel(int(island.x() * 256), int(island.y() * 256))), style.land);
    EXPECT_EQ(QColor(img.pixel(5, 5)), style.water);
    // Both sides of the antimeridian show the wrapped island.
    EXPECT_EQ(QColor(img.pixel(1, 128)), style.land);
    EXPECT_EQ(QColor(img.pixel(254, 128)), style.land);

    EXPECT_FALSE(renderer.renderTile(3, 0, 0).has_value());  // open sea near the pole

    // Walking a subtree gives each tile once; deep tiles match direct renders.
    std::map<std::tuple<int, int, int>, std::optional<QByteArray>> seen;
    renderer.renderSubtree(1, 1, 0, 4, [&](int z, int x, int y, const std::optional<QByteArray>& png) {
        EXPECT_TRUE(seen.emplace(std::make_tuple(z, x, y), png).second);
    });
    EXPECT_EQ(seen.size(), 1u + 4 + 16 + 64);
    const int z = 4;
    const QPointF p = mercator(15, 5);
    const int tx = int(p.x() * 16), ty = int(p.y() * 16);
    ASSERT_TRUE(seen.count({z, tx, ty}));
    EXPECT_TRUE(seen.at({z, tx, ty}).has_value());
}

TEST(Basemap, WriterDeduplicatesAndTheServiceReadsIt)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("b.mbtiles");
    {
        MbtilesWriter w;
        QString error;
        ASSERT_TRUE(w.open(path, {{"name", "t"}, {"format", "png"}}, error)) << error.toStdString();
        ASSERT_TRUE(w.addTile(1, 0, 0, "same", error));
        ASSERT_TRUE(w.addTile(1, 1, 0, "same", error));
        ASSERT_TRUE(w.addTile(1, 1, 1, "other", error));
        EXPECT_FALSE(w.addTile(1, 1, 1, "again", error));  // one tile per place
        ASSERT_TRUE(w.finish(error));
        EXPECT_EQ(w.tileCount(), 3);
        EXPECT_EQ(w.imageCount(), 2);
    }
    zenloft::mapservice::MbtilesStore store(path.toStdString());
    std::string data, error;
    ASSERT_TRUE(store.check(error)) << error;
    ASSERT_TRUE(store.tile(1, 1, 0, data));
    EXPECT_EQ(data, "same");
    ASSERT_TRUE(store.tile(1, 1, 1, data));
    EXPECT_EQ(data, "other");
    EXPECT_FALSE(store.tile(1, 0, 1, data));
    EXPECT_FALSE(store.tile(1, 2, 0, data));
}
