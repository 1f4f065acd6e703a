#include "CacheTestHelpers.h"

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>

#include <cstdio>

using namespace cachetest;

namespace {
constexpr int kBatchSize = 50;
const char* const kCrashDirVar = "ZL_CACHE_CRASH_DIR";

QByteArray batchTile(int batch, int y) {
    return QByteArray::number(batch) + '/' + QByteArray::number(y) + QByteArray(2000 + y, char('A' + batch % 26));
}
}  // namespace

// The child half: stores batches of 50 tiles one after another and prints
// the number of each batch once it is committed, until it is killed. It
// runs only when the parent below starts it.
TEST(GMSTileDataCacheCrash, DISABLED_ChildStoresBatchesUntilKilled) {
    const QString dir = qEnvironmentVariable(kCrashDirVar);
    if (dir.isEmpty()) GTEST_SKIP() << "started by CrashMidBatchKeepsEveryCommittedBatch";
    GMSTileDataCache cache(tilesDescriptor(dir), 1, 0, 0);
    ASSERT_TRUE(startCache(cache));
    for (int batch = 0; batch < 100000; ++batch) {
        QList<GMSCacheableTileData> items;
        for (int y = 0; y < kBatchSize; ++y) items.append(tile(14, batch, y, batchTile(batch, y), batch));
        std::atomic<bool> done{false};
        cache.storeCacheableTileDatas(items, nullptr, [&, batch](bool ok) {
            if (ok) {
                std::printf("committed %d\n", batch);
                std::fflush(stdout);
            }
            done = true;
        });
        ASSERT_TRUE(zltest::waitFor([&] { return done.load(); }, 30000));
    }
}

TEST(GMSTileDataCacheCrash, CrashMidBatchKeepsEveryCommittedBatch) {
    QTemporaryDir root;
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(kCrashDirVar, root.path());
    child.setProcessEnvironment(env);
    child.setProcessChannelMode(QProcess::SeparateChannels);
    child.start(QCoreApplication::applicationFilePath(),
                {"--gtest_also_run_disabled_tests",
                 "--gtest_filter=GMSTileDataCacheCrash.DISABLED_ChildStoresBatchesUntilKilled"});
    ASSERT_TRUE(child.waitForStarted(10000));
    // Kill it (SIGKILL) while it is busy with the batch after the 8th.
    int lastCommitted = -1;
    QByteArray out;
    while (lastCommitted < 7) {
        ASSERT_TRUE(child.waitForReadyRead(30000)) << "child stopped: " << child.readAllStandardError().toStdString();
        out += child.readAllStandardOutput();
        for (const QByteArray& line : out.split('\n'))
            if (line.startsWith("committed ")) lastCommitted = std::max(lastCommitted, line.mid(10).toInt());
    }
    child.kill();
    ASSERT_TRUE(child.waitForFinished(10000));
    EXPECT_EQ(child.exitStatus(), QProcess::CrashExit);

    zltest::LogCapture log;
    GMSTileDataCache cache(tilesDescriptor(root.path()), 1, 0, 0);
    ASSERT_TRUE(startCache(cache));
    // Every committed batch is whole; a batch that was cut off left nothing.
    int wholeBatches = 0;
    const qint64 count = cache.stats().count;
    for (int batch = 0; batch <= lastCommitted + 2; ++batch) {
        int present = 0;
        for (int y = 0; y < kBatchSize; ++y) present += load(cache, {14, batch, y}).data == batchTile(batch, y);
        EXPECT_TRUE(present == kBatchSize || (present == 0 && batch > lastCommitted))
            << "batch " << batch << " has " << present;
        wholeBatches += present == kBatchSize;
    }
    EXPECT_EQ(count, qint64(wholeBatches) * kBatchSize);
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join('\n').toStdString();
}
