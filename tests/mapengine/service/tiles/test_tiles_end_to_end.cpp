// The real map service as a child process, the real engine asking for a
// screen of tiles through the tile source; then the same screen with the
// service gone, from the disk cache.
#include "GMSCameraPosition.h"
#include "GMSCoreClientParameters.h"
#include "GMSProjection.h"
#include "GMSServiceTileSource.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "MapServiceSetup.h"
#include "mapservice_child.h"
#include "mapservice_options.h"
#include "mbtiles_writer.h"
#include "testsupport.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kKey = QStringLiteral("ZenloftLocalServiceKey-0000000000000000");

QByteArray pngTile(int z, int x, int y)
{
    QImage img(256, 256, QImage::Format_RGB32);
    img.fill(qRgb(20 * x + 10, 20 * y + 10, 60 * z + 10));
    return zltest::pngBytes(img);
}

class TilesEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        mbtiles = dir.filePath("test.mbtiles");
        // Every tile of zooms 0 to 2.
        QString error;
        ASSERT_TRUE(zltest::writeMbtiles(mbtiles, 2, pngTile, &error)) << error.toStdString();
        // More server threads than the client opens connections: kept-alive
        // connections each hold a server thread.
        endpoint = service.start(QStringLiteral(ZL_MAPSERVICE_EXE),
                                 {"--threads", "8", "--api-key", kKey, "--tiles", "satellite=" + mbtiles, "--quiet"});
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

    QTemporaryDir dir;
    QString mbtiles;
    zltest::MapServiceChild service;
    QUrl endpoint;
};

}  // namespace

TEST_F(TilesEndToEnd, AScreenFromTheServiceThenFromTheDiskCacheWithTheServiceGone)
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
    }
    EXPECT_TRUE(QFile::exists(dir.filePath("caches/ServerControlledParams")));
    EXPECT_TRUE(QFile::exists(dir.filePath("caches/GMSCacheStorage-Tiles/Tiles.sqlite")));

    service.stop();
    {
        MapServiceSetup setup(options());
        ASSERT_TRUE(setup.startServices(false));
        Screen screen(setup.tileSource());
        ASSERT_TRUE(zltest::waitFor([&] { return screen.settled(); }, 20000))
            << "pending " << screen.manager.pending().size() << " loaded " << screen.manager.loaded().size();
        // The saved parameters were enough to start.
        EXPECT_TRUE(setup.clientParameters()->haveParamsEverBeenFetched());
        EXPECT_EQ(imageryTiles(screen), first);
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
