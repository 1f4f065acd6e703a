// The point lists over a store of 100,000 points, all within the radius
// (the worst case: every point is kept, sorted and shown).
//
//   bench_point_lists                              (all)
//   bench_point_lists --benchmark_filter=Load      (read, measure, filter, sort)
//   bench_point_lists --benchmark_filter=Search    (one keystroke)
//   bench_point_lists --benchmark_filter=Appear    (management list at appearance)
//
// BM_Load/<order> is the pure load for "ptpListSortBy" 0 and 2, and
// BM_LoadMeasureOnly its measuring and filtering part; BM_ListScreenLoad is
// the chooser's whole load (rows, table, the search's text block).
// BM_Search/<hits> searches a text that keeps all, a fifth or none of the
// rows; BM_SearchScreen types it into the search bar (search and table);
// BM_SearchTextBuild makes the block a search reads. BM_ManageAppear is
// ptpSettingsManageVC::viewWillAppear (reference point, the old rows gone,
// load, table). Targets: load and appearance under 50 ms, a keystroke under
// 10 ms.

#include "LocationServices.h"
#include "PointList.h"
#include "ScreenContext.h"
#include "ptpSettingsList.h"
#include "ptpSettingsManageVC.h"
#include "settings/UserDefaults.h"
#include "store/Realm.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <memory>
#include <random>

namespace {

constexpr int kPoints = 100000;
constexpr double kLat = 54.0, kLon = 19.0;

// One store, settings file and location services for every benchmark.
struct World {
    World()
        : realm(QDir(dir.path()).filePath("default.realm")),
          defaults(QDir(dir.path()).filePath("settings.ini")),
          location(&zl::Clock::system()) {
        std::mt19937 random(7);
        std::uniform_real_distribution<double> offset(-0.5, 0.5);
        std::uniform_int_distribution<int> component(0, 255);
        const QStringList words{"Mast", "tower", "Roof", "hill", "North", "site", "Relay", "water"};
        auto store = realm.open(nullptr);
        store->write([&](Realm& r, QString*) {
            for (int i = 0; i < kPoints; ++i) {
                realm_ptp p;
                p.name = QStringLiteral("%1 %2").arg(words[i % words.size()]).arg(i);
                p.ptp_description = i % 10 == 0 ? QStringLiteral("north mast %1").arg(i) : QStringLiteral("roof");
                p.latitude = kLat + offset(random);
                p.longitude = kLon + offset(random);
                p.markerRed = component(random);
                p.markerGreen = component(random);
                p.markerBlue = component(random);
                p.id = QStringLiteral("ID-%1").arg(i);
                r.add(p);
            }
            return true;
        }, nullptr);
        realm.flush();  // the store's writer is done before anything is timed
        defaults.setBool(true, SettingsKey::useGeocoder);
        defaults.setDouble(kLat, SettingsKey::latitude);
        defaults.setDouble(kLon, SettingsKey::longitude);
        defaults.setDouble(1000.0, SettingsKey::maxDistance);
        context.realm = &realm;
        context.defaults = &defaults;
        context.location = &location;
    }
    ~World() { realm.flush(); }

    // A screen that has loaded once.
    template <class Screen>
    std::unique_ptr<Screen> screen() {
        auto vc = std::make_unique<Screen>(context);
        vc->loadViewIfNeeded();
        vc->viewWillAppear(false);
        while (!vc->realm || vc->entries.isEmpty()) QCoreApplication::processEvents();
        return vc;
    }

    QTemporaryDir dir;
    RealmConfiguration realm;
    UserDefaults defaults;
    LocationServices location;
    ScreenContext context;
};

World& world() {
    static World w;
    return w;
}

void BM_Load(benchmark::State& state) {
    const auto realm = world().realm.open(nullptr);
    for (auto _ : state) {
        const QList<dbEntries> entries = PointList::load(realm->points().toList(), kLat, kLon, 1000.0, state.range(0));
        if (entries.size() != kPoints) state.SkipWithError("not every point was kept");
    }
}
BENCHMARK(BM_Load)->Arg(0)->Arg(2)->Unit(benchmark::kMillisecond);

// The measuring and filtering part of the load alone.
void BM_LoadMeasureOnly(benchmark::State& state) {
    const auto realm = world().realm.open(nullptr);
    for (auto _ : state) {
        QList<dbEntries> entries;
        PointList::appendWithin(entries, realm->points().toList(), kLat, kLon, 1000.0);
        benchmark::DoNotOptimize(entries.data());
    }
}
BENCHMARK(BM_LoadMeasureOnly)->Unit(benchmark::kMillisecond);

void BM_ListScreenLoad(benchmark::State& state) {
    auto vc = world().screen<ptpSettingsList>();
    for (auto _ : state) {
        vc->entries.clear();
        vc->loadPoints();
    }
    if (vc->tableView->rowCount() != kPoints) state.SkipWithError("not every row is shown");
}
BENCHMARK(BM_ListScreenLoad)->Unit(benchmark::kMillisecond);

// 0: "o" (in every row), 1: "north" (a fifth), 2: "zz" (none).
const char* const kTexts[] = {"o", "north", "zz"};

void BM_Search(benchmark::State& state) {
    auto vc = world().screen<ptpSettingsList>();
    const PointList::SearchText index(vc->entries);
    const QString text = QString::fromLatin1(kTexts[state.range(0)]);
    qsizetype kept = 0;
    for (auto _ : state) kept = index.search(vc->entries, text).size();
    state.counters["rows"] = double(kept);
}
BENCHMARK(BM_Search)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void BM_SearchTextBuild(benchmark::State& state) {
    auto vc = world().screen<ptpSettingsList>();
    for (auto _ : state) benchmark::DoNotOptimize(PointList::SearchText(vc->entries));
}
BENCHMARK(BM_SearchTextBuild)->Unit(benchmark::kMillisecond);

void BM_SearchScreen(benchmark::State& state) {
    auto vc = world().screen<ptpSettingsList>();
    const QString text = QString::fromLatin1(kTexts[state.range(0)]);
    for (auto _ : state) vc->searchBar->userEdit(text);
    state.counters["rows"] = double(vc->tableView->rowCount());
}
BENCHMARK(BM_SearchScreen)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void BM_ManageAppear(benchmark::State& state) {
    auto vc = world().screen<ptpSettingsManageVC>();
    for (auto _ : state) vc->viewWillAppear(false);
    if (vc->tableView->rowCount() != kPoints) state.SkipWithError("not every row is shown");
}
BENCHMARK(BM_ManageAppear)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
