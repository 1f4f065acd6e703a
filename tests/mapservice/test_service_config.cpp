#include "ServiceConfig.h"
#include "maptile.pb.h"
#include "testsupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::mapservice;
using namespace zenloft::wire;

namespace {
std::string writeConf(QTemporaryDir& dir, const char* text)
{
    return zltest::writeFile(dir.filePath("s.conf"), text).toStdString();
}

bool parse(std::vector<std::string> args, ServiceConfig& c, std::string& error)
{
    args.insert(args.begin(), "svc");
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    bool help = false;
    return parseCommandLine(static_cast<int>(argv.size()), argv.data(), c, error, help);
}
}  // namespace

TEST(ServiceConfig, FileThenCommandLineErrorsNameTheLine)
{
    QTemporaryDir dir;
    ServiceConfig c;
    // The paint settings, which the file and then the command line change.
    const auto paint = [&c] { return std::tie(c.paintSigningKey, c.directToPaintTileTypes, c.styleEpoch); };
    EXPECT_EQ(paint(), std::tuple(std::string(), std::set<int>(), 1)) << "the paint route is off by default";
    const std::string conf = writeConf(dir,
                                       "# comment\n"
                                       "address = 0.0.0.0\n"
                                       "port = 9000  # trailing comment\n"
                                       "api_key = A\n"
                                       "api_key = B\n"
                                       "tiles.satellite = sat.mbtiles\n"
                                       "tiles.4 = /abs/base.mbtiles\n"
                                       "max_body_bytes = 2048\n"
                                       "style_epoch = 12\n"
                                       "paint_signing_key = s3cret\n"
                                       "direct_to_paint_types = satellite, 2 ,TILE_TYPE_ROADMAP,\n");
    std::string error;
    ASSERT_TRUE(loadConfigFile(conf, c, error)) << error;
    EXPECT_EQ(paint(), std::tuple(std::string("s3cret"), std::set<int>{0, 1, 2}, 12));
    ASSERT_TRUE(parse({"--port", "1234", "--config", conf, "--api-key", "C", "--tiles", "terrain=/t.mbtiles",
                       "--direct-to-paint-types", "terrain", "--paint-signing-key", "k2", "--style-epoch", "3"},
                      c, error))
        << error;
    const std::map<int, std::string> stores{{TILE_TYPE_SATELLITE, dir.filePath("sat.mbtiles").toStdString()},
                                            {TILE_TYPE_TERRAIN, "/t.mbtiles"},
                                            {TILE_TYPE_BASEMAP, "/abs/base.mbtiles"}};
    // The command line's port wins over the file's.
    EXPECT_EQ(std::tie(c.address, c.port, c.apiKeys, c.tilesByType, c.maxBodyBytes),
              std::tuple(std::string("0.0.0.0"), 1234, std::set<std::string>{"A", "B", "C"}, stores, 2048u));
    EXPECT_EQ(paint(), std::tuple(std::string("k2"), std::set<int>{2}, 3)) << "a later list replaces the earlier one";
    ASSERT_TRUE(applySetting("direct_to_paint_types", "", "", c, error));
    EXPECT_TRUE(c.directToPaintTileTypes.empty());

    // Errors name the line; tile types go by name or number.
    const std::pair<const char*, const char*> cases[] = {
        {"port = 8765\nport = lots\n", ":2: port"},
        {"colour = blue\n", "unknown setting 'colour'"},
        {"tiles.moon = x\n", "unknown tile type 'moon'"},
        {"just words\n", ":1:"},
        {"direct_to_paint_types = satellite, moon\n", ":1: unknown tile type 'moon' in direct_to_paint_types"},
        {"style_epoch = 0\n", "style_epoch must be"},
        {"style_epoch = 2147483648\n", "style_epoch"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_FALSE(loadConfigFile(writeConf(dir, text), c, error)) << text;
        EXPECT_NE(error.find(message), std::string::npos) << error;
    }
    EXPECT_FALSE(loadConfigFile(dir.filePath("none.conf").toStdString(), c, error));

    for (auto [name, type] : {std::pair{"satellite", 1}, {"TILE_TYPE_BASEMAP", 4}, {"0", 0}, {"9999", -1}})
        EXPECT_EQ(tileTypeFromName(name), type) << name;
    EXPECT_EQ(tileTypeName(3), "hybrid_overlay");
}
