#include "ServiceConfig.h"
#include "maptile.pb.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::mapservice;

namespace {
std::string writeConf(QTemporaryDir& dir, const char* text)
{
    const QString path = dir.filePath("s.conf");
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(text);
    return path.toStdString();
}
}  // namespace

TEST(ServiceConfig, FileThenCommandLine)
{
    QTemporaryDir dir;
    const std::string conf = writeConf(dir,
                                       "# comment\n"
                                       "address = 0.0.0.0\n"
                                       "port = 9000  # trailing comment\n"
                                       "api_key = A\n"
                                       "api_key = B\n"
                                       "tiles.satellite = sat.mbtiles\n"
                                       "tiles.4 = /abs/base.mbtiles\n"
                                       "max_body_bytes = 2048\n");
    std::string confArg = conf;
    std::vector<std::string> args = {"svc", "--port", "1234", "--config", confArg, "--api-key", "C",
                                     "--tiles", "terrain=/t.mbtiles"};
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    ServiceConfig c;
    std::string error;
    bool help = false;
    ASSERT_TRUE(parseCommandLine(static_cast<int>(argv.size()), argv.data(), c, error, help)) << error;
    EXPECT_EQ(c.address, "0.0.0.0");
    EXPECT_EQ(c.port, 1234);  // the command line wins over the file
    EXPECT_EQ(c.apiKeys, (std::set<std::string>{"A", "B", "C"}));
    EXPECT_EQ(c.tilesByType.at(zenloft::wire::TILE_TYPE_SATELLITE), dir.filePath("sat.mbtiles").toStdString());
    EXPECT_EQ(c.tilesByType.at(zenloft::wire::TILE_TYPE_BASEMAP), "/abs/base.mbtiles");
    EXPECT_EQ(c.tilesByType.at(zenloft::wire::TILE_TYPE_TERRAIN), "/t.mbtiles");
    EXPECT_EQ(c.maxBodyBytes, 2048u);
}

TEST(ServiceConfig, ErrorsNameTheLine)
{
    QTemporaryDir dir;
    ServiceConfig c;
    std::string error;
    EXPECT_FALSE(loadConfigFile(writeConf(dir, "port = 8765\nport = lots\n"), c, error));
    EXPECT_NE(error.find(":2: port"), std::string::npos) << error;
    EXPECT_FALSE(loadConfigFile(writeConf(dir, "colour = blue\n"), c, error));
    EXPECT_NE(error.find("unknown setting 'colour'"), std::string::npos);
    EXPECT_FALSE(loadConfigFile(writeConf(dir, "tiles.moon = x\n"), c, error));
    EXPECT_NE(error.find("unknown tile type 'moon'"), std::string::npos);
    EXPECT_FALSE(loadConfigFile(writeConf(dir, "just words\n"), c, error));
    EXPECT_FALSE(loadConfigFile(dir.filePath("none.conf").toStdString(), c, error));
}

TEST(ServiceConfig, TileTypeNames)
{
    EXPECT_EQ(tileTypeFromName("satellite"), 1);
    EXPECT_EQ(tileTypeFromName("TILE_TYPE_BASEMAP"), 4);
    EXPECT_EQ(tileTypeFromName("0"), 0);
    EXPECT_EQ(tileTypeFromName("9999"), -1);
    EXPECT_EQ(tileTypeName(3), "hybrid_overlay");
}

TEST(ServiceConfig, StyleEpochAndPaintRoute)
{
    QTemporaryDir dir;
    ServiceConfig c;
    std::string error;
    EXPECT_TRUE(c.paintSigningKey.empty()) << "the paint route is off by default";
    EXPECT_TRUE(c.directToPaintTileTypes.empty());
    EXPECT_EQ(c.styleEpoch, 1);
    ASSERT_TRUE(loadConfigFile(writeConf(dir,
                                         "style_epoch = 12\n"
                                         "paint_signing_key = s3cret\n"
                                         "direct_to_paint_types = satellite, 2 ,TILE_TYPE_ROADMAP,\n"),
                               c, error))
        << error;
    EXPECT_EQ(c.styleEpoch, 12);
    EXPECT_EQ(c.paintSigningKey, "s3cret");
    EXPECT_EQ(c.directToPaintTileTypes, (std::set<int>{0, 1, 2}));

    std::vector<std::string> args = {"svc", "--direct-to-paint-types", "terrain", "--paint-signing-key", "k2",
                                     "--style-epoch", "3"};
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    bool help = false;
    ASSERT_TRUE(parseCommandLine(static_cast<int>(argv.size()), argv.data(), c, error, help)) << error;
    EXPECT_EQ(c.directToPaintTileTypes, std::set<int>{2}) << "a later list replaces the earlier one";
    EXPECT_EQ(c.paintSigningKey, "k2");
    EXPECT_EQ(c.styleEpoch, 3);
    ASSERT_TRUE(applySetting("direct_to_paint_types", "", "", c, error));
    EXPECT_TRUE(c.directToPaintTileTypes.empty());

    EXPECT_FALSE(loadConfigFile(writeConf(dir, "direct_to_paint_types = satellite, moon\n"), c, error));
    EXPECT_NE(error.find(":1: unknown tile type 'moon' in direct_to_paint_types"), std::string::npos) << error;
    EXPECT_FALSE(loadConfigFile(writeConf(dir, "style_epoch = 0\n"), c, error));
    EXPECT_NE(error.find("style_epoch must be"), std::string::npos) << error;
    EXPECT_FALSE(loadConfigFile(writeConf(dir, "style_epoch = 2147483648\n"), c, error));
}
