// The real map service as a child process with a small style folder and the
// paint route on; the engine's setup fetches the style tables it names, makes
// their epoch active and hands the paint settings to the tile services.
#include "CacheTestHelpers.h"
#include "GMSCoreClientParameters.h"
#include "GMSDASHTileService.h"
#include "GMSStyleTableService.h"
#include "MapServiceSetup.h"
#include "mapservice_child.h"
#include "mapservice_options.h"

#include <QDir>
#include <QFile>

namespace {

const QString kKey = QStringLiteral("ZenloftLocalServiceKey-0000000000000000");
constexpr int kSatellite = 1;
constexpr int kRoadmap = 0;

QByteArray styleTable()
{
    QByteArray t;
    for (int i = 0; i < 200; ++i)
        t += "style " + QByteArray::number(i) + " colour #" + QByteArray::number(i * 7919 % 0xFFFFFF, 16) + "\n";
    return t;
}

class SetupStyleTables : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        ASSERT_TRUE(QDir(dir.path()).mkdir("styles"));
        QFile f(dir.filePath("styles/base.tbl"));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(styleTable());
        f.close();
        endpoint = service.start(QStringLiteral(ZL_MAPSERVICE_EXE),
                                 {"--threads", "4", "--api-key", kKey, "--style-dir", dir.filePath("styles"),
                                  "--style-epoch", "9", "--paint-signing-key", "k3y", "--direct-to-paint-types",
                                  "satellite", "--quiet"});
        ASSERT_TRUE(endpoint.isValid()) << service.error().toStdString();
    }
    MapServiceOptions options() const { return zltest::localServiceOptions(endpoint, kKey, dir.path()); }
    QString tableURL() const { return endpoint.resolved(QUrl("/styles/base.tbl")).toString(); }

    QTemporaryDir dir;
    zltest::MapServiceChild service;
    QUrl endpoint;
};

}  // namespace

TEST_F(SetupStyleTables, TablesOfTheParametersEpochAreFetchedStoredAndMadeActive)
{
    {
        MapServiceSetup setup(options());
        ASSERT_TRUE(setup.startServices(false));
        GMSStyleTableService* styles = setup.styleTableService();
        ASSERT_TRUE(styles);
        ASSERT_TRUE(zltest::waitFor([&] { return styles->activeEpoch() == 9; }, 15000));
        EXPECT_EQ(styles->stableActiveEpoch(), 9);
        // Stored under the table's full URL: the parameters resolved the service's relative one.
        EXPECT_TRUE(cachetest::loadObject(styles->styleTableDiskCache(), tableURL()).found);
        EXPECT_EQ(setup.clientParameters()->requestSigningKey(), "k3y");

        // The paint route for the types the service lists, and only those.
        ASSERT_TRUE(zltest::waitFor([&] { return setup.isReady(); }, 15000));
        auto* satellite = setup.tileServiceForType(kSatellite);
        auto* roadmap = setup.tileServiceForType(kRoadmap);
        ASSERT_TRUE(satellite && roadmap);
        EXPECT_EQ(std::tuple(satellite->usesPaintRoute(), satellite->options().tileType.paintTileType,
                             roadmap->usesPaintRoute()),
                  std::tuple(true, kSatellite, false));
    }

    // A later run without the service: the saved parameters name the epoch,
    // its table comes from disk.
    service.stop();
    MapServiceSetup setup(options());
    ASSERT_TRUE(setup.startServices(false));
    GMSStyleTableService* styles = setup.styleTableService();
    ASSERT_TRUE(zltest::waitFor([&] { return styles->activeEpoch() == 9; }, 15000));
    const auto table = cachetest::await<GMSStyleTableService::Table>(
        [&](QObject* c, auto fn) { styles->loadStyleTableForMapStyle(0, 9, c, fn); });
    ASSERT_TRUE(table);
    EXPECT_EQ(table->data(), styleTable());
    EXPECT_TRUE(setup.tileServiceForType(kSatellite)->usesPaintRoute()) << "from the saved parameters";
}
