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
#include "testsupport.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sqlite3.h>

namespace {

const QString kKey = QStringLiteral("ZenloftLocalServiceKey-0000000000000000");

QByteArray pngTile(int z, int x, int y)
{
    QImage img(256, 256, QImage::Format_RGB32);
    img.fill(qRgb(20 * x + 10, 20 * y + 10, 60 * z + 10));
    QByteArray bytes;
    QBuffer buf(&bytes);
    buf.open(QIODevice::WriteOnly);
    img.save(&buf, "PNG");
    return bytes;
}

// Every tile of zooms 0 to 2, in TMS rows as MBTiles keeps them.
void writeMbtiles(const QString& path)
{
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
    sqlite3_exec(db,
                 "CREATE TABLE metadata (name TEXT, value TEXT);"
                 "CREATE TABLE tiles (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER, tile_data BLOB);"
                 "CREATE UNIQUE INDEX tile_index ON tiles (zoom_level, tile_column, tile_row);",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO tiles VALUES (?,?,?,?)", -1, &st, nullptr);
    for (int z = 0; z <= 2; ++z)
        for (int x = 0; x < (1 << z); ++x)
            for (int y = 0; y < (1 << z); ++y) {
                const QByteArray data = pngTile(z, x, y);
                sqlite3_bind_int(st, 1, z);
                sqlite3_bind_int(st, 2, x);
                sqlite3_bind_int(st, 3, (1 << z) - 1 - y);
                sqlite3_bind_blob(st, 4, data.constData(), int(data.size()), SQLITE_TRANSIENT);
                sqlite3_step(st);
                sqlite3_reset(st);
            }
    sqlite3_finalize(st);
    sqlite3_close(db);
}

class TilesEndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        mbtiles = dir.filePath("test.mbtiles");
        writeMbtiles(mbtiles);
        service.setProgram(QStringLiteral(ZL_MAPSERVICE_EXE));
        // More server threads than the client opens connections: kept-alive
        // connections each hold a server thread.
        service.setArguments({"--address", "127.0.0.1", "--port", "0", "--threads", "8", "--api-key", kKey,
                              "--tiles", "satellite=" + mbtiles, "--quiet"});
        service.start();
        ASSERT_TRUE(service.waitForStarted(10000)) << service.errorString().toStdString();
        // It prints its endpoint once it listens.
        QByteArray out;
        const QRegularExpression re(QStringLiteral("endpoint (\\S+)"));
        while (!re.match(QString::fromUtf8(out)).hasMatch() && service.waitForReadyRead(10000))
            out += service.readAllStandardOutput();
        const auto m = re.match(QString::fromUtf8(out));
        ASSERT_TRUE(m.hasMatch()) << out.toStdString() << service.readAllStandardError().toStdString();
        endpoint = QUrl(m.captured(1));
    }
    void TearDown() override { stopService(); }
    void stopService()
    {
        if (service.state() == QProcess::NotRunning)
            return;
        service.terminate();
        if (!service.waitForFinished(10000))
            service.kill();
        service.waitForFinished(5000);
    }

    MapServiceOptions options() const
    {
        MapServiceOptions o;
        o.endpoint = endpoint;
        o.apiKey = kKey;
        o.settingsIniPath = dir.filePath("settings.ini");
        o.cacheDir = dir.filePath("caches");
        return o;
    }

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

    void expectImagery(const Screen& screen, int& satelliteTiles)
    {
        satelliteTiles = 0;
        for (auto it = screen.manager.loaded().begin(); it != screen.manager.loaded().end(); ++it) {
            ASSERT_TRUE(it.key().type != GMSTileLayerType::Labels) << "the service has no label tiles";
            ++satelliteTiles;
            const QImage expected = QImage::fromData(pngTile(it.key().zoom, it.key().x, it.key().y));
            EXPECT_EQ(it.value().pixel(5, 5), expected.pixel(5, 5))
                << it.key().zoom << "/" << it.key().x << "/" << it.key().y;
        }
    }

    QTemporaryDir dir;
    QString mbtiles;
    QProcess service;
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
        expectImagery(screen, first);
        EXPECT_GE(first, 6);  // a 480 x 360 view at zoom 2 shows at least six tiles
    }
    EXPECT_TRUE(QFile::exists(dir.filePath("caches/ServerControlledParams")));
    EXPECT_TRUE(QFile::exists(dir.filePath("caches/GMSCacheStorage-Tiles/Tiles.sqlite")));

    stopService();
    {
        MapServiceSetup setup(options());
        ASSERT_TRUE(setup.startServices(false));
        Screen screen(setup.tileSource());
        const bool settled = zltest::waitFor([&] { return screen.settled(); }, 20000);
        QStringList pending;
        for (const auto& k : screen.manager.pending())
            pending << QStringLiteral("%1:%2/%3/%4").arg(int(k.type)).arg(k.zoom).arg(k.x).arg(k.y);
        ASSERT_TRUE(settled) << pending.join(' ').toStdString() << " loaded " << screen.manager.loaded().size();
        // The saved parameters were enough to start.
        EXPECT_TRUE(setup.clientParameters()->haveParamsEverBeenFetched());
        int second = 0;
        expectImagery(screen, second);
        EXPECT_EQ(second, first);
    }
    // Missing label tiles and the unreachable service are no reason to complain.
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join('\n').toStdString();
}

TEST_F(TilesEndToEnd, StartInstallsTheSourceForNewMapViewsAndStopTakesItBack)
{
    GMSServices::resetForTests();
    {
        zltest::LogCapture log;
        EXPECT_FALSE(MapServiceSetup::start(options()));  // no key given yet
        EXPECT_TRUE(log.contains("GMSServicesException"));
        EXPECT_FALSE(MapServiceSetup::instance());
    }
    ASSERT_TRUE(GMSServices::provideAPIKey(kKey));
    ASSERT_TRUE(MapServiceSetup::start(options()));
    EXPECT_FALSE(MapServiceSetup::start(options()));  // one at a time
    ASSERT_TRUE(MapServiceSetup::instance());
    ASSERT_TRUE(GMSServices::sharedServicesIfActive());
    EXPECT_EQ(GMSServices::sharedServicesIfActive()->tileSource(), MapServiceSetup::instance()->tileSource());
    EXPECT_EQ(GMSServices::sharedServicesIfActive()->APIKey(), kKey);
    MapServiceSetup::stop();
    EXPECT_FALSE(MapServiceSetup::instance());
    EXPECT_NE(GMSServices::sharedServicesIfActive()->tileSource(), nullptr);  // the built-in pattern again
    GMSServices::resetForTests();
}

TEST_F(TilesEndToEnd, UnusableOptionsAreRefusedWithAReason)
{
    zltest::LogCapture log;
    MapServiceOptions o = options();
    o.endpoint = QUrl();
    MapServiceSetup setup(o);
    EXPECT_FALSE(setup.startServices(false));
    EXPECT_TRUE(log.contains("is not usable"));
}
