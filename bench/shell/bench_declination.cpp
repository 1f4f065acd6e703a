// Cost of the true-north correction: one full World Magnetic Model
// evaluation per fix, and the per-heading work that reuses it.
#include "TrueNorth.h"
#include "WorldMagneticModel.h"

#include <benchmark/benchmark.h>

static void BM_ModelField(benchmark::State& state) {
    const WorldMagneticModel* model = WorldMagneticModel::bundled();
    double lat = -80.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(model->field(lat, 21.0, 0.1, 2026.4));
        lat = lat > 80.0 ? -80.0 : lat + 0.37;
    }
}
BENCHMARK(BM_ModelField);

static void BM_DeclinationAtFix(benchmark::State& state) {
    CLLocation fix;
    fix.coordinate = {52.2297, 21.0122};
    fix.altitude = 110.0;
    fix.timestamp = QDateTime(QDate(2026, 5, 4), QTime(9, 30), Qt::UTC);
    for (auto _ : state)
        benchmark::DoNotOptimize(declinationAt(fix));
}
BENCHMARK(BM_DeclinationAtFix);

static void BM_HeadingWithKnownDeclination(benchmark::State& state) {
    const Declination d{6.84, false};
    const QDateTime now(QDate(2026, 5, 4), QTime(9, 30), Qt::UTC);
    double magnetic = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(makeHeading(magnetic, 3.0, now, d));
        magnetic = magnetic >= 359.0 ? 0.0 : magnetic + 1.0;
    }
}
BENCHMARK(BM_HeadingWithKnownDeclination);

BENCHMARK_MAIN();
