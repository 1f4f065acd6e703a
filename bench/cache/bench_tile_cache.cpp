// Disk tile cache against plain SQLite reads of the same blobs, and the cost
// of storing a batch of 50 tiles in one transaction.
//
//   bench_mapcache --benchmark_filter=Load   (random 16 KB loads, side by side)
//   bench_mapcache --benchmark_filter=Store  (batches of 50)
//
// BM_CacheRandomLoad/N asks N loads at once and waits for all of them, as
// the tile service does for a screenful; /1 is one full round trip through
// the cache's thread per load. BM_CoreRandomLoad is the same store path
// called directly, without the thread. BM_SingleLoadSideBySide alternates
// one plain SQLite read and one awaited cache load of the same blobs in one
// loop and reports both rates and their ratio (cache_vs_raw, target >= 0.70).

#include "GMSCacheStorage.h"
#include "GMSTileDataCache.h"
#include "GMSTileDataCacheCore.h"
#include "SqliteConnection.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <vector>

namespace {

constexpr int kTiles = 2000;
constexpr int kTileBytes = 16 * 1024;

GMSCacheStorageDescriptor descriptor(const QString& root) {
    GMSCacheStorageDescriptor d;
    d.name = kGMSTilesCacheName;
    d.boundaryVersion = kGMSTilesCacheBoundaryVersion;
    d.cachesDir = root;
    return d;
}

QByteArray randomBytes(QRandomGenerator& rng, int n) {
    QByteArray b(n, Qt::Uninitialized);
    rng.fillRange(reinterpret_cast<quint32*>(b.data()), n / 4);
    return b;
}

void startAndWait(GMSTileDataCache& cache) {
    QSemaphore done;
    cache.startWithCompletionHandler(nullptr, [&](bool) { done.release(); });
    done.acquire();
}

void storeAndWait(GMSTileDataCache& cache, const QList<GMSCacheableTileData>& batch) {
    QSemaphore done;
    cache.storeCacheableTileDatas(batch, nullptr, [&](bool) { done.release(); });
    done.acquire();
}

// One store of kTiles tiles of 16 KB, shared by the load benchmarks.
struct Fixture {
    QTemporaryDir root;
    Fixture() {
        GMSTileDataCache cache(descriptor(root.path()), 1, 0, 0);
        startAndWait(cache);
        QRandomGenerator rng(7);
        for (int first = 0; first < kTiles; first += 50) {
            QList<GMSCacheableTileData> batch;
            for (int i = first; i < first + 50; ++i) {
                GMSCacheableTileData t;
                t.coords = {16, i, i / 7};
                t.data = randomBytes(rng, kTileBytes);
                t.validationTime = 1;
                batch.append(t);
            }
            storeAndWait(cache, batch);
        }
    }
    static Fixture& get() {
        static Fixture f;
        return f;
    }
};

// Plain SQLite reads of the store's blobs: a kept statement reading the blob
// of a random tile row, the bytes copied out as the cache does.
struct RawReader {
    explicit RawReader(const QString& root) {
        db.open(descriptor(root).storePath(), zl::sqlite::Connection::Access::ReadOnly);
        db.query(QStringLiteral("SELECT id FROM GMSCachedTile"), {},
                 [&](const zl::sqlite::Statement& row) { rowIds.push_back(row.int64(0)); });
        blob = db.statement("SELECT data FROM GMSCachedTileBlob WHERE tile = ?");
    }

    QByteArray readRandom(QRandomGenerator& rng) {
        zl::sqlite::Reset reset(*blob);
        blob->bind(1, rowIds[rng.bounded(quint32(rowIds.size()))]);
        return blob->step() ? blob->blob(0) : QByteArray();
    }

    zl::sqlite::Connection db;
    zl::sqlite::Statement* blob = nullptr;
    std::vector<qint64> rowIds;
};

// Plain SQLite, one random blob at a time.
void BM_RawSqliteRandomLoad(benchmark::State& state) {
    Fixture& f = Fixture::get();
    RawReader reader(f.root.path());
    QRandomGenerator rng(1);
    qint64 bytes = 0;
    for (auto _ : state) {
        const QByteArray data = reader.readRandom(rng);
        bytes += data.size();
        benchmark::DoNotOptimize(data.data());
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_RawSqliteRandomLoad)->UseRealTime();

// The cache: random loads through its own thread, in bursts of `burst`
// loads asked at once (as the tile service asks for a screenful) and then
// awaited; handlers run on the cache's thread. Items count single loads.
void BM_CacheRandomLoad(benchmark::State& state) {
    Fixture& f = Fixture::get();
    const int burst = int(state.range(0));
    GMSTileDataCache cache(descriptor(f.root.path()), 1, 0, 0);
    startAndWait(cache);
    QRandomGenerator rng(1);
    QSemaphore done;
    std::atomic<int> left{0};
    std::atomic<qint64> bytes{0};
    std::atomic<qint64> misses{0};
    // The waiting thread is woken once per burst, not once per tile.
    auto handler = [&](GMSCachedTileData d) {
        bytes += d.data.size();
        if (!d.found) ++misses;
        if (--left == 0) done.release();
    };
    for (auto _ : state) {
        left = burst;
        for (int n = 0; n < burst; ++n) {
            const int i = int(rng.bounded(quint32(kTiles)));
            cache.loadTileForTileCoords({16, i, i / 7}, nullptr, handler);
        }
        done.acquire();
    }
    if (misses.load() != 0) state.SkipWithError("cache missed");
    state.SetItemsProcessed(state.iterations() * burst);
    state.SetBytesProcessed(bytes.load());
}
BENCHMARK(BM_CacheRandomLoad)->Arg(1)->Arg(16)->Arg(64)->UseRealTime();

// The cache's store path without the thread: the same loads, made
// synchronously by the caller. The gap to BM_CacheRandomLoad is the cost of
// the hop to the cache's thread and back.
void BM_CoreRandomLoad(benchmark::State& state) {
    Fixture& f = Fixture::get();
    GMSTileDataCacheCore core(1, 0, 0, {});
    core.start(GMSCacheStorage::open(descriptor(f.root.path())));
    QRandomGenerator rng(1);
    qint64 bytes = 0;
    for (auto _ : state) {
        const int i = int(rng.bounded(quint32(kTiles)));
        const auto r = core.loadTile({16, i, i / 7});
        bytes += r ? r->data.size() : 0;
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_CoreRandomLoad)->UseRealTime();

// One plain SQLite read, then one cache load awaited by the caller, again
// and again: both see the same store, the same blobs and the same machine
// load. Items count pairs.
void BM_SingleLoadSideBySide(benchmark::State& state) {
    Fixture& f = Fixture::get();
    RawReader reader(f.root.path());

    GMSTileDataCache cache(descriptor(f.root.path()), 1, 0, 0);
    startAndWait(cache);
    // 0: the caller waits on a QSemaphore; 1: it uses the cache's own
    // awaited load (its waiter spins briefly before it sleeps).
    const bool cacheWaiter = state.range(0) == 1;
    QSemaphore done;
    std::atomic<qint64> misses{0};
    auto handler = [&](GMSCachedTileData d) {
        if (!d.found) ++misses;
        benchmark::DoNotOptimize(d.data.constData());
        done.release();
    };

    using Clock = std::chrono::steady_clock;
    Clock::duration raw{}, viaCache{};
    QRandomGenerator rng(1);
    for (auto _ : state) {
        const auto t0 = Clock::now();
        const QByteArray data = reader.readRandom(rng);
        benchmark::DoNotOptimize(data.data());
        const auto t1 = Clock::now();
        const int i = int(rng.bounded(quint32(kTiles)));
        if (cacheWaiter) {
            const GMSCachedTileData d = cache.loadTileForTileCoordsAndWait({16, i, i / 7});
            if (!d.found) ++misses;
            benchmark::DoNotOptimize(d.data.constData());
        } else {
            cache.loadTileForTileCoords({16, i, i / 7}, nullptr, handler);
            done.acquire();
        }
        const auto t2 = Clock::now();
        raw += t1 - t0;
        viaCache += t2 - t1;
    }
    if (misses.load() != 0) state.SkipWithError("cache missed");
    const double n = double(state.iterations());
    const double rawSeconds = std::chrono::duration<double>(raw).count();
    const double cacheSeconds = std::chrono::duration<double>(viaCache).count();
    state.counters["raw_per_s"] = n / rawSeconds;
    state.counters["cache_per_s"] = n / cacheSeconds;
    state.counters["cache_vs_raw"] = rawSeconds / cacheSeconds;
}
BENCHMARK(BM_SingleLoadSideBySide)->Arg(0)->Arg(1)->UseRealTime();

// Storing batches of 50 new 16 KB tiles, one transaction each; the cache is
// limited to kTiles, so after the first batches every save also prunes.
void BM_CacheStoreBatch50(benchmark::State& state) {
    QTemporaryDir root;
    GMSTileDataCache cache(descriptor(root.path()), 1, kTiles, 0);
    startAndWait(cache);
    QRandomGenerator rng(3);
    const QByteArray data = randomBytes(rng, kTileBytes);
    int next = 0;
    for (auto _ : state) {
        QList<GMSCacheableTileData> batch;
        for (int i = 0; i < 50; ++i, ++next) {
            GMSCacheableTileData t;
            t.coords = {17, next, 0};
            t.data = data;
            t.validationTime = next;
            batch.append(t);
        }
        storeAndWait(cache, batch);
    }
    state.SetItemsProcessed(state.iterations() * 50);
    state.SetBytesProcessed(state.iterations() * 50 * qint64(kTileBytes));
}
BENCHMARK(BM_CacheStoreBatch50)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
