// The real map service as a child process, with imagery, a small style folder
// and the paint route on for terrain. The real engine asks for a screen of
// tiles through the tile source while its setup fetches the style tables and
// hands the paint settings to the tile services; a tile service on the paint
// route gets its tiles over a signed POST; then the same screen and tables
// with the service gone, from the disk caches.
#include "../../cache/CacheTestHelpers.h"
#include "GMSCameraPosition.h"
#include "GMSCoreClientParameters.h"
#include "GMSDASHTileService.h"
#include "GMSPaintService.h"
#include "GMSProjection.h"
#include "GMSServiceTileSource.h"
#include "GMSServices.h"
#include "GMSStyleTableService.h"
#include "GMSTileManager.h"
#include "MapServiceSetup.h"
#include "mapservice_child.h"
#include "mapservice_options.h"
#include "mbtiles_writer.h"
#include "testsupport.h"

#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <tuple>

namespace {

const QString kKey = QStringLiteral("ZenloftLocalServiceKey-0000000000000000");
const QByteArray kPaintKey("k3y");
constexpr int kSatellite = 1;
constexpr int kTerrain = 2;

QByteArray pngTile(int z, int x, int y)
{
    QImage img(256, 256, QImage::Format_RGB32);
    img.fill(qRgb(20 * x + 10, 20 * y + 10, 60 * z + 10));
    return zltest::pngBytes(img);
}

QByteArray styleTable()
{
    QByteArray t;
    for (int i = 0; i < 200; ++i)
        t += "style " + QByteArray::number(i) + " colour #" + QByteArray::number(i * 7919 % 0xFFFFFF, 16) + "\n";
    return t;
}

class TilesEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        const QString mbtiles = dir.filePath("test.mbtiles");
        // Every tile of zooms 0 to 2.
        QString error;
        ASSERT_TRUE(zltest::writeMbtiles(mbtiles, 2, pngTile, &error)) << error.toStdString();
        ASSERT_FALSE(zltest::writeFile(dir.filePath("styles/base.tbl"), styleTable()).isEmpty());
        // More server threads than the client opens connections: kept-alive
        // connections each hold a server thread.
        endpoint = service.start(QStringLiteral(ZL_MAPSERVICE_EXE),
                                 {"--threads", "8", "--api-key", kKey, "--tiles", "satellite=" + mbtiles,
                                  "--style-dir", dir.filePath("styles"), "--style-epoch", "9", "--paint-signing-key",
                                  QString::fromLatin1(kPaintKey), "--direct-to-paint-types", "terrain"});
        ASSERT_TRUE(endpoint.isValid()) << service.error().toStdString();
    }
    MapServiceOptions options() const { return zltest::localServiceOptions(endpoint, kKey, dir.path()); }

    // One screen of the hybrid map: imagery with the label layer over it.
    struct Screen {
        GMSTileManager manager;
        explicit Screen(GMSTileSource* source)
        {
            manager.setSource(source);
            manager.setLayers({GMSTileLayerType::Satellite, GMSTileLayerType::Labels});
            manager.update(GMSProjection(GMSCameraPosition(10.0, 20.0, 2.0f), QSizeF(480, 360)));
        }
        bool settled() const { return !manager.isLoading(); }
    };

    // Checks the loaded tiles are the service's imagery; returns their count.
    int imageryTiles(const Screen& screen)
    {
        for (auto it = screen.manager.loaded().begin(); it != screen.manager.loaded().end(); ++it) {
            EXPECT_NE(it.key().type, GMSTileLayerType::Labels) << "the service has no label tiles";
            const QImage expected = QImage::fromData(pngTile(it.key().zoom, it.key().x, it.key().y));
            EXPECT_EQ(it.value().pixel(5, 5), expected.pixel(5, 5))
                << it.key().zoom << "/" << it.key().x << "/" << it.key().y;
        }
        return int(screen.manager.loaded().size());
    }
    // Whether terrain and satellite go by the paint route, and terrain's paint type.
    static std::tuple<bool, int, bool> paintRoutes(MapServiceSetup& setup)
    {
        const auto* terrain = setup.tileServiceForType(kTerrain);
        return {terrain->usesPaintRoute(), terrain->options().tileType.paintTileType,
                setup.tileServiceForType(kSatellite)->usesPaintRoute()};
    }

    QTemporaryDir dir;
    zltest::MapServiceChild service;
    QUrl endpoint;
};

}  // namespace

TEST_F(TilesEndToEnd, AScreenStyleTablesAndThePaintRouteFromTheServiceThenFromTheDiskCachesWithTheServiceGone)
{
    zltest::LogCapture log;
    int first = 0;
    {
        MapServiceSetup setup(options());
        ASSERT_TRUE(setup.startServices(false));
        Screen screen(setup.tileSource());
        ASSERT_TRUE(zltest::waitFor([&] { return screen.settled(); }, 20000));
        ASSERT_TRUE(setup.isReady());
        EXPECT_TRUE(setup.clientParameters()->haveParamsEverBeenFetched());
        first = imageryTiles(screen);
        EXPECT_GE(first, 6);  // a 480 x 360 view at zoom 2 shows at least six tiles

        // The tables of the parameters' epoch are fetched (from the URL the
        // parameters resolved against the endpoint) and made active.
        GMSStyleTableService* styles = setup.styleTableService();
        ASSERT_TRUE(styles);
        ASSERT_TRUE(zltest::waitFor([&] { return styles->stableActiveEpoch() == 9; }, 15000));
        EXPECT_EQ(setup.clientParameters()->requestSigningKey(), kPaintKey);
        // The paint route for the types the service lists, and only those.
        EXPECT_EQ(paintRoutes(setup), std::tuple(true, kTerrain, false));
    }
    EXPECT_TRUE(QFile::exists(dir.filePath("caches/ServerControlledParams")));
    EXPECT_TRUE(QFile::exists(dir.filePath("caches/GMSCacheStorage-Tiles/Tiles.sqlite")));

    // A tile service with the paint route on gets its tiles over a signed
    // POST, marked with mode 3, and nothing over the framed connection.
    GMSDASHTileServiceOptions o;
    o.tileType.mapTileType = kSatellite;
    o.tileType.paintTileType = kSatellite;
    o.dashEndpointURL = endpoint;
    QObject queue;
    int framedBatches = 0;
    auto tiles = GMSDASHTileService::create(
        o, &queue, [&](const std::shared_ptr<GMSDASHRequest>&) { ++framedBatches; }, nullptr);
    tiles->setDirectToPaint(true);
    // The client parameters name the paint server relative to the endpoint.
    tiles->setPaintServer(QUrl(QStringLiteral("/glm/paint")), kPaintKey);
    tiles->startRequestQueue();
    ASSERT_TRUE(tiles->usesPaintRoute());
    EXPECT_EQ(tiles->paintService()->paintServerBaseURL().path(), "/glm/paint");

    std::map<std::tuple<int, int, int>, std::pair<int, GMSTilePtr>> answers;
    std::vector<zl::RequestHandle> held;
    const auto ask = [&](int z, int x, int y) {
        held.push_back(tiles->requestTile(GMSTileCoords(z, x, y),
                                          [&](const GMSTileCoords& c, int status, const GMSTilePtr& tile) {
                                              answers[{c.zoom(), c.x(), c.y()}] = {status, tile};
                                          }));
    };
    const std::vector<std::tuple<int, int, int>> wanted = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {1, 0, 1}, {1, 1, 1}};
    for (const auto& [z, x, y] : wanted)
        ask(z, x, y);
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == wanted.size(); }, 20000)) << answers.size();
    for (const auto& [z, x, y] : wanted) {
        const auto& [status, tile] = answers.at({z, x, y});
        ASSERT_TRUE(tile) << z << "/" << x << "/" << y;
        EXPECT_EQ(std::tuple(status, tile->mode, tile->data, tile->versionID.isEmpty()),
                  std::tuple(int(kGMSTileStatusFromNetwork), 3, pngTile(z, x, y), false));
    }
    EXPECT_EQ(framedBatches, 0);

    // A tile the store lacks fails alone.
    answers.clear();
    ask(5, 3, 3);
    ASSERT_TRUE(zltest::waitFor([&] { return answers.size() == 1; }, 20000));
    EXPECT_EQ(answers.begin()->second.first, kGMSTileStatusFailed);

    tiles.reset();
    service.stop();
    // The zooms went in two batches; each POST has its line in the log.
    const QString serviceLog = service.standardError();
    EXPECT_GE(serviceLog.count(QRegularExpression(QStringLiteral("POST /glm/paint \\S+ 200 .*tiles=\\d+/\\d+"))), 3)
        << serviceLog.toStdString();
    {
        MapServiceSetup setup(options());
        ASSERT_TRUE(setup.startServices(false));
        Screen screen(setup.tileSource());
        ASSERT_TRUE(zltest::waitFor([&] { return screen.settled(); }, 20000))
            << "pending " << screen.manager.pending().size() << " loaded " << screen.manager.loaded().size();
        // The saved parameters were enough to start.
        EXPECT_TRUE(setup.clientParameters()->haveParamsEverBeenFetched());
        EXPECT_EQ(imageryTiles(screen), first);
        // They name the epoch; its table comes from disk.
        GMSStyleTableService* styles = setup.styleTableService();
        ASSERT_TRUE(zltest::waitFor([&] { return styles->activeEpoch() == 9; }, 15000));
        const auto table = cachetest::await<GMSStyleTableService::Table>(
            [&](QObject* c, auto fn) { styles->loadStyleTableForMapStyle(0, 9, c, fn); });
        ASSERT_TRUE(table);
        EXPECT_EQ(table->data(), styleTable());
        EXPECT_EQ(paintRoutes(setup), std::tuple(true, kTerrain, false)) << "from the saved parameters";
    }
    // Missing label tiles and the unreachable service are no reason to complain.
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join('\n').toStdString();
}

TEST_F(TilesEndToEnd, StartInstallsTheSourceForNewMapViewsAndStopTakesItBack)
{
    GMSServices::resetForTests();
    {
        zltest::LogCapture log;
        EXPECT_FALSE(MapServiceSetup(options()).startServices(true));  // no key given yet
        EXPECT_TRUE(log.contains("GMSServicesException"));
        MapServiceOptions o = options();
        o.endpoint = QUrl();
        EXPECT_FALSE(MapServiceSetup(o).startServices(false));
        EXPECT_TRUE(log.contains("is not usable"));
    }
    ASSERT_TRUE(GMSServices::provideAPIKey(kKey));
    auto setup = std::make_unique<MapServiceSetup>(options());
    ASSERT_TRUE(setup->startServices(true));
    {
        zltest::LogCapture log;
        EXPECT_FALSE(MapServiceSetup(options()).startServices(true));  // one at a time
        EXPECT_TRUE(log.contains("already started"));
    }
    ASSERT_TRUE(GMSServices::sharedServicesIfActive());
    EXPECT_EQ(GMSServices::sharedServicesIfActive()->tileSource(), setup->tileSource());
    EXPECT_EQ(GMSServices::sharedServicesIfActive()->APIKey(), kKey);
    setup.reset();
    EXPECT_NE(GMSServices::sharedServicesIfActive()->tileSource(), nullptr);  // the built-in pattern again
    GMSServices::resetForTests();
}

// A stalled server times out; posts still running when the transport ends are
// each cancelled once; a closed port fails.
TEST(PaintHttpTransport, StalledCancelledAndRefusedPosts)
{
    QTcpServer silent;  // takes connections and never answers
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost, 0));
    const QUrl url(QStringLiteral("http://127.0.0.1:%1/glm/paint").arg(silent.serverPort()));
    GMSPaintHttpTransport transport;
    std::optional<GMSPaintReply> stalled;
    transport.post(url, "body", {}, 200, [&](GMSPaintReply r) { stalled = std::move(r); });
    ASSERT_TRUE(zltest::waitFor([&] { return stalled.has_value(); }, 20000));
    ASSERT_TRUE(stalled->error);
    EXPECT_EQ(std::pair(stalled->error->domain, stalled->error->code),
              std::pair(QString(kGMSDASHURLErrorDomain), int(kGMSDASHURLErrorTimedOut)));

    std::atomic<int> calls{0};
    std::atomic<int> cancelled{0};
    {
        GMSPaintHttpTransport ending;
        for (int i = 0; i < 3; ++i)
            ending.post(url, "body", {}, 60000, [&](GMSPaintReply r) {
                ++calls;
                cancelled += r.error && r.error->code == kGMSDASHURLErrorCancelled;
            });
    }
    EXPECT_EQ(std::pair(calls.load(), cancelled.load()), std::pair(3, 3));
    GMSPaintHttpTransport unused;  // never started: nothing to stop

    // A port that nobody listens on any more.
    silent.close();
    std::optional<GMSPaintReply> refused;
    transport.post(url, "body", {}, 5000, [&](GMSPaintReply r) { refused = std::move(r); });
    ASSERT_TRUE(zltest::waitFor([&] { return refused.has_value(); }, 20000));
    ASSERT_TRUE(refused->error);
    EXPECT_EQ(refused->error->code, kGMSDASHURLErrorCannotConnectToHost);
}
