// The point files with a store of 100,000 points:
//
//   cmake --build <build> --target bench_point_files
//   <build>/bench/ptp/bench_point_files
//
//  - BM_Import: a 100,000-point file read, parsed and stored in one write,
//    up to the last commit on disk (the worker's whole job), into an empty
//    store. Target: under 2 s. all_threads_cpu_ms adds the store writer's
//    thread, which a loaded machine's wall time hides.
//  - BM_Export: the same store read, built into the text and written to a
//    new file. Target: under 1 s.
//  - BM_GuiHoldDuringImport: the import run from the screen, with a 1 ms
//    timer on the GUI thread's event loop. max_hold_ms is the longest the
//    loop went without serving the timer beyond its period; on a loaded
//    machine that includes time the scheduler gave to other threads, so
//    max_busy_ms gives the most CPU time the GUI thread itself spent
//    between two ticks. Target: under 16 ms.
//  - BM_Parse: the read file parsed, the first part of BM_Import.
#include "PointFile.h"
#include "ScreenContext.h"
#include "files/DocumentFolder.h"
#include "ptpMarkersExport.h"
#include "ptpSettingsImport.h"
#include "store/Realm.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <random>

#include <time.h>

namespace {

constexpr int kPoints = 100000;

QList<realm_ptp> somePoints() {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> lat(-80.0, 80.0), lon(-180.0, 180.0);
    QList<realm_ptp> points;
    points.reserve(kPoints);
    for (int i = 0; i < kPoints; ++i) {
        realm_ptp p;
        p.name = QStringLiteral("site %1").arg(i);
        p.ptp_description = QStringLiteral("mast on the roof, sector %1").arg(i % 3);
        p.latitude = lat(rng);
        p.longitude = lon(rng);
        p.markerRed = i % 256;
        p.markerGreen = 128;
        p.markerBlue = 255 - i % 256;
        points << p;
    }
    return points;
}

QTemporaryDir* gDir = nullptr;  // the data folder of every run

// The 100,000-point file in the folder "markers", written once.
const QString& pointFile() {
    static const QString path = [] {
        const QString p = DocumentFolder::path(AppPaths(gDir->path()), QStringLiteral("markers")) +
                          QStringLiteral("/points.json");
        QDir().mkpath(QFileInfo(p).absolutePath());
        QFile f(p);
        if (f.open(QIODevice::WriteOnly)) f.write(PointFile::exportText(somePoints()));
        return p;
    }();
    return path;
}

double cpuMs(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}
double threadCpuMs() { return cpuMs(CLOCK_THREAD_CPUTIME_ID); }

qsizetype storedCount(RealmConfiguration& realm) {
    const auto r = realm.open(nullptr);
    return r ? r->points().count() : -1;
}

void BM_Import(benchmark::State& state) {
    const QTemporaryDir& dir = *gDir;
    const QString file = pointFile();
    int round = 0;
    double processCpu = 0.0;
    for (auto _ : state) {
        RealmConfiguration realm(dir.filePath(QStringLiteral("import%1.realm").arg(round++)));
        PointFile::Job job;
        const double cpuBefore = cpuMs(CLOCK_PROCESS_CPUTIME_ID);
        const auto outcome = ptpSettingsImport::importFile(realm, file, false, job);
        processCpu += cpuMs(CLOCK_PROCESS_CPUTIME_ID) - cpuBefore;
        if (!outcome.ok || storedCount(realm) != kPoints) state.SkipWithError("the import failed");
    }
    state.counters["points"] = kPoints;
    // All threads' CPU time: the worker and the store's writer run one after
    // the other, so on an idle machine this is close to the wall time.
    state.counters["all_threads_cpu_ms"] = processCpu / double(std::max(round, 1));
}
BENCHMARK(BM_Import)->Unit(benchmark::kMillisecond)->Iterations(3);

// The part of the import before the store: the file read and parsed.
void BM_Parse(benchmark::State& state) {
    const QByteArray bytes = DocumentFolder::read(pointFile()).bytes;
    for (auto _ : state) {
        QString why;
        const auto points = PointFile::parse(bytes, &why);
        if (!points || points->size() != kPoints) state.SkipWithError("the parse failed");
    }
}
BENCHMARK(BM_Parse)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Export(benchmark::State& state) {
    const QTemporaryDir& dir = *gDir;
    RealmConfiguration realm(dir.filePath(QStringLiteral("export.realm")));
    PointFile::Job fill;
    if (!ptpSettingsImport::importFile(realm, pointFile(), false, fill).ok) state.SkipWithError("no store");
    int round = 0;
    for (auto _ : state) {
        const QString first = dir.filePath(QStringLiteral("out/p%1.json").arg(round++));
        PointFile::Job job;
        const auto outcome = ptpMarkersExport::exportFile(&realm, first, first + QStringLiteral(".2"), job);
        if (!outcome.write.ok) state.SkipWithError("the export failed");
    }
}
BENCHMARK(BM_Export)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_GuiHoldDuringImport(benchmark::State& state) {
    const QTemporaryDir& dir = *gDir;
    const QString file = pointFile();
    double worst = 0.0, worstBusy = 0.0;
    int round = 0;
    for (auto _ : state) {
        RealmConfiguration realm(dir.filePath(QStringLiteral("gui%1.realm").arg(round++)));
        ScreenContext context;
        context.realm = &realm;
        context.clock = &zl::Clock::system();
        context.paths = AppPaths(dir.path());
        ptpSettingsImport screen(context);
        QEventLoop loop;
        QObject::connect(&screen, &ptpSettingsImport::filesListed, &loop, &QEventLoop::quit);
        screen.loadViewIfNeeded();
        loop.exec();
        screen.tableView->selectRow(int(screen.files.indexOf(QUrl::fromLocalFile(file))));
        screen.deleteAllPoints->setOn(true);

        QElapsedTimer since;
        double longest = 0.0, busy = 0.0, cpuAt = threadCpuMs();
        QTimer tick;
        tick.setTimerType(Qt::PreciseTimer);
        tick.setInterval(1);
        QObject::connect(&tick, &QTimer::timeout, [&] {
            const double cpu = threadCpuMs();
            longest = std::max(longest, double(since.nsecsElapsed()) / 1e6 - 1.0);
            busy = std::max(busy, cpu - cpuAt);
            cpuAt = cpu;
            since.restart();
        });
        bool ok = false;
        QObject::connect(&screen, &ptpSettingsImport::importFinished, &loop, [&](bool done) {
            ok = done;
            loop.quit();
        });
        since.start();
        tick.start();
        screen.importPoints();
        loop.exec();
        tick.stop();
        if (!ok || storedCount(realm) != kPoints) state.SkipWithError("the import failed");
        worst = std::max(worst, longest);
        worstBusy = std::max(worstBusy, busy);
    }
    state.counters["max_hold_ms"] = worst;
    state.counters["max_busy_ms"] = worstBusy;
}
BENCHMARK(BM_GuiHoldDuringImport)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    gDir = &dir;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
