#include "CacheTestHelpers.h"
#include "testsupport.h"
#include "GMSCacheNotificationCenter.h"
#include "GMSCacheStorage.h"
#include "GMSTileDataCacheLimits.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

using namespace cachetest;

using zltest::readFile;
using zltest::writeFile;

namespace {
class GMSCacheStorageTest : public CacheTest {
protected:
    // Leaves a closed new store with `n` tiles of 3000 bytes each.
    void fill(int n) {
        QDir(tilesDescriptor(root.path()).directoryPath()).removeRecursively();
        QList<GMSCacheableTileData> batch;
        for (int i = 0; i < n; ++i) batch.append(tile(12, i, 7, QByteArray(3000, char('a' + i % 26)), 1000 + i));
        ASSERT_TRUE(store(open(), batch));
        close();
    }
    QString file() const { return tilesDescriptor(root.path()).storePath(); }
};
}  // namespace

TEST_F(GMSCacheStorageTest, StoreOlderThanItsBoundaryIsDeleted) {
    const QString file = this->file();
    // Missing parts count as 0, parts compare as numbers, and an unknown
    // previous engine counts as older.
    for (auto [previous, kept] : {std::pair{"3.0.0.0", true}, {"3", true}, {"3.0.0.1", true}, {"10.0", true},
                                  {"2.9.9.9", false}, {"2.99", false}, {"", false}}) {
        SCOPED_TRACE(previous);
        fill(1);
        const auto d =
            GMSCacheStorageDescriptor::cacheStorageDescriptorForName("Tiles", "3.0.0.0", root.path(), previous);
        EXPECT_EQ(QFile::exists(file), kept);
        EXPECT_EQ(d.storePath(), file);
    }
}

// A store that went, or one that won't open: it is made again empty (in
// WAL mode, at the schema's version), the reset handler runs for a rebuilt
// one, and the tile cache on it works, with nothing to tell.
TEST_F(GMSCacheStorageTest, LostOrUnopenableStoreIsRebuiltQuietlyAndAFolderThatCannotBeMadeMeansNoStore) {
    struct Case {
        const char* what;
        std::function<void(const QString& file)> damage;
        bool rebuilt;
    };
    const QList<Case> cases = {
        {"folder deleted", [](const QString& f) { ASSERT_TRUE(QFileInfo(f).dir().removeRecursively()); }, false},
        {"garbage", [](const QString& f) { writeFile(f, QByteArray(8192, 'x')); }, true},
        {"truncated header", [](const QString& f) { writeFile(f, QByteArray("SQLite format 3\0\x10", 18)); }, true},
        {"newer schema",
         [](const QString& f) {
             zl::sqlite::Connection c;
             ASSERT_TRUE(c.open(f));
             ASSERT_TRUE(c.setUserVersion(GMSCacheStorage::kSchemaVersion + 5));
         },
         true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        fill(2);
        c.damage(file());
        QFile::remove(file() + "-wal");
        QFile::remove(file() + "-shm");
        auto d = tilesDescriptor(root.path());
        int resets = 0;
        d.resetHandler = [&] { ++resets; };
        zltest::LogCapture log;
        QStringList posted;
        QObject receiver;
        QObject::connect(GMSCacheNotificationCenter::instance(), &GMSCacheNotificationCenter::posted, &receiver,
                         [&](const QString& n) { posted << n; });
        bool didReset = !c.rebuilt;
        auto s = GMSCacheStorage::open(d, &didReset);
        ASSERT_TRUE(s);
        EXPECT_EQ(std::tuple(didReset, resets, s->db().userVersion()),
                  std::tuple(c.rebuilt, c.rebuilt ? 1 : 0, GMSCacheStorage::kSchemaVersion));
        auto* mode = s->db().statement("PRAGMA journal_mode");
        ASSERT_TRUE(mode && mode->step());
        EXPECT_EQ(mode->text(0), QStringLiteral("wal"));
        mode->reset();
        s.reset();

        GMSTileDataCache& cache = open();
        EXPECT_EQ(cache.stats().count, 0);
        ASSERT_TRUE(store(cache, {tile(1, 0, 0, "y")}));
        EXPECT_EQ(load(cache, {1, 0, 0}).data, "y");
        EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join('\n').toStdString();
        EXPECT_TRUE(posted.isEmpty());
        close();
    }

    writeFile(root.filePath("notadir"), "file");
    zltest::LogCapture log;
    EXPECT_EQ(GMSCacheStorage::open(tilesDescriptor(root.filePath("notadir"))), nullptr);
    EXPECT_TRUE(log.contains("GMSCacheStorage failed to create directory"));
    EXPECT_TRUE(log.contains("Failed to create persistent store for"));

    // The tile cache then runs without a disk: every load is a miss.
    GMSTileDataCache cache(tilesDescriptor(root.filePath("notadir")), 1, 0, 0);
    EXPECT_FALSE(startCache(cache));
    EXPECT_TRUE(log.contains("Failed to initialize tile cache storage, can't use disk caching."));
    EXPECT_FALSE(store(cache, {tile(1, 0, 0, "x")}));
    EXPECT_FALSE(load(cache, {1, 0, 0}).found);
}

// Damage at random places: the cache must open (maybe rebuilt), answer every
// load with a hit or a miss, and accept new tiles.
TEST_F(GMSCacheStorageTest, RandomDamageNeverBreaksTheCache) {
    zltest::LogCapture log;  // a damaged store is reported, then rebuilt or left unused
    for (quint32 seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        fill(40);
        QByteArray bytes = readFile(file());
        QRandomGenerator rng(seed);
        for (int flips = 1 + int(rng.bounded(200)); flips > 0; --flips)
            bytes[rng.bounded(int(bytes.size()))] = char(rng.bounded(256));
        if (seed % 3 == 0) bytes.truncate(rng.bounded(int(bytes.size())));
        ASSERT_FALSE(writeFile(file(), bytes).isEmpty());
        GMSTileDataCache cache(tilesDescriptor(root.path()), 1, 0, 0);
        startCache(cache);  // may fail: then every load is a miss
        for (int i = 0; i < 40; ++i) EXPECT_LE(load(cache, {12, i, 7}).data.size(), 3000);
        if (cache.stats().hasStorage) {
            EXPECT_TRUE(store(cache, {tile(3, 3, 3, "fresh")}));
            EXPECT_EQ(load(cache, {3, 3, 3}).data, QByteArray("fresh"));
        }
    }
}

TEST(GMSTileDataCacheLimits, SizesByTileType) {
    zltest::LogCapture log;
    const auto limit = [](bool storable, int dataType, bool auxiliary, bool mainVector, qint64 freeBytes) {
        GMSCacheTileTypeTraits t;
        t.isStorable = storable;
        t.dataType = dataType;
        t.isAuxiliary = auxiliary;
        t.isMainVector = mainVector;
        t.name = "roads";
        const auto s = cacheSizeForTileType(t, true, freeBytes);
        return s ? QStringLiteral("%1 %2").arg(s->maxCount).arg(s->maxSize) : QStringLiteral("none");
    };
    EXPECT_EQ(QStringList({limit(false, 0, false, false, 0), limit(true, 0, false, false, 0),
                           limit(true, 3, false, false, 0), limit(true, 5, false, false, 0),
                           limit(true, 5, true, false, 0), limit(true, 5, false, true, qint64(5) << 30)}),
              QStringList({"none", "2048 0", "4096 0", "4096 0", "256 0",
                           QStringLiteral("81800 %1").arg(qint64(5) * 1073741824 / 10)}));
    EXPECT_TRUE(log.messages().isEmpty());
    EXPECT_EQ(limit(true, 6, false, false, 0), "none");
    EXPECT_TRUE(log.contains("Shouldn't be using roads in the SDK"));

    QList<qint64> vector;
    for (qint64 free : {0LL, 100LL << 20, 1000LL << 20, 100LL << 30}) vector << vectorCacheMaxSizeForFreeBytes(free);
    EXPECT_EQ(vector, QList<qint64>({41943040, 41943040, (1000LL << 20) / 10, 1073741824}));
    const qint64 first = vectorCacheMaxSize(QDir::tempPath());
    EXPECT_EQ(vectorCacheMaxSize(QStringLiteral("/")), first) << "computed once and kept";
}
