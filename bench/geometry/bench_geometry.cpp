// Speed of the in/out test on a radio sector and of preparing a scene's
// vertices. Run: bench_geometry [--benchmark_filter=...]

#include <benchmark/benchmark.h>

#include <boost/geometry.hpp>

#include <random>

#include "GMSGeometryUtils.h"
#include "GMSPolylinePrep.h"

namespace bg = boost::geometry;

namespace {

// A sector as the validation screen builds it: apex, 721 arc points over
// 90 degrees, and the apex again: 723 points.
GMSPath sector(CLLocationCoordinate2D apex, double fromBearing, double radiusMetres) {
    GMSMutablePath p;
    p.addCoordinate(apex);
    for (int i = 0; i <= 720; ++i)
        p.addCoordinate(GMSGeometryOffset(apex, radiusMetres / kGMSEarthRadius, fromBearing + 90.0 * i / 720.0));
    p.addCoordinate(apex);
    return p;
}

const GMSPath& benchSector() {
    static const GMSPath s = sector({52.2297, 21.0122}, 30.0, 3000.0);
    return s;
}

// Fixes around the sector, about half of them inside.
const std::vector<CLLocationCoordinate2D>& fixes() {
    static const std::vector<CLLocationCoordinate2D> pts = [] {
        std::mt19937_64 rng(5);
        std::uniform_real_distribution<double> lat(52.2297 - 0.01, 52.2297 + 0.03);
        std::uniform_real_distribution<double> lng(21.0122 - 0.01, 21.0122 + 0.05);
        std::vector<CLLocationCoordinate2D> v;
        for (int i = 0; i < 1024; ++i)
            v.push_back({lat(rng), lng(rng)});
        return v;
    }();
    return pts;
}

void BM_ContainsLocation_Sector723(benchmark::State& state) {
    const GMSPath& ring = benchSector();
    const auto& pts = fixes();
    const bool geodesic = state.range(0) != 0;
    std::size_t i = 0, inside = 0;
    for (auto _ : state) {
        inside += GMSGeometryContainsLocation(pts[i++ & 1023], ring, geodesic);
    }
    benchmark::DoNotOptimize(inside);
    state.counters["points"] = double(ring.count());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ContainsLocation_Sector723)->Arg(1)->Arg(0);

void BM_BoostWithinSpherical_Sector723(benchmark::State& state) {
    using P = bg::model::point<double, 2, bg::cs::spherical_equatorial<bg::degree>>;
    bg::model::polygon<P> poly;
    for (const auto& c : benchSector().coordinates())
        bg::append(poly.outer(), P(c.longitude, c.latitude));
    bg::correct(poly);
    std::vector<P> pts;
    for (const auto& c : fixes())
        pts.emplace_back(c.longitude, c.latitude);
    std::size_t i = 0, inside = 0;
    for (auto _ : state) {
        inside += bg::within(pts[i++ & 1023], poly);
    }
    benchmark::DoNotOptimize(inside);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BoostWithinSpherical_Sector723);

void BM_BoostWithinCartesian_Sector723(benchmark::State& state) {
    using P = bg::model::d2::point_xy<double>;
    bg::model::polygon<P> poly;
    for (const auto& c : benchSector().coordinates())
        bg::append(poly.outer(), P(c.longitude, c.latitude));
    bg::correct(poly);
    std::vector<P> pts;
    for (const auto& c : fixes())
        pts.emplace_back(c.longitude, c.latitude);
    std::size_t i = 0, inside = 0;
    for (auto _ : state) {
        inside += bg::within(pts[i++ & 1023], poly);
    }
    benchmark::DoNotOptimize(inside);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BoostWithinCartesian_Sector723);

// A 10,000-point line: range(0) = 0 for a track with ~50 m steps (no edge
// long enough to subdivide), 1 for a line with ~2 degree steps crossing
// continents (most edges get intermediate points).
GMSPath longLine(bool wide) {
    std::mt19937_64 rng(11);
    std::uniform_real_distribution<double> turn(-20, 20);
    GMSMutablePath p;
    CLLocationCoordinate2D c{wide ? -40.0 : 52.0, wide ? -170.0 : 21.0};
    double heading = 60;
    const double step = wide ? 2.0 * kGMSDegreesToRadians : 50.0 / kGMSEarthRadius;
    for (int i = 0; i < 10000; ++i) {
        p.addCoordinate(c);
        heading += turn(rng);
        c = GMSGeometryOffset(c, step, heading);
        if (std::fabs(c.latitude) > 70)
            heading += 180;
    }
    return p;
}

void BM_PrepareGeodesicPolyline10k(benchmark::State& state) {
    const GMSPath line = longLine(state.range(0) != 0);
    std::size_t vertices = 0;
    for (auto _ : state) {
        const GMSPreparedVertices v = GMSPrepareVertices(line, true);
        vertices = v.points.size();
        benchmark::DoNotOptimize(v.points.data());
    }
    state.counters["vertices"] = double(vertices);
}
BENCHMARK(BM_PrepareGeodesicPolyline10k)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

std::vector<GMSPath> hundredSectors() {
    std::vector<GMSPath> v;
    for (int i = 0; i < 100; ++i)
        v.push_back(sector({52.0 + 0.01 * i, 21.0 + 0.013 * i}, i * 3.6, 1000.0 + 30.0 * i));
    return v;
}

void BM_Prepare100Sectors(benchmark::State& state) {
    const auto sectors = hundredSectors();
    const bool geodesic = state.range(0) != 0;
    for (auto _ : state) {
        for (const GMSPath& s : sectors) {
            const GMSPreparedVertices v = GMSPrepareVertices(s, geodesic, nullptr, true);
            benchmark::DoNotOptimize(v.points.data());
        }
    }
    state.counters["points"] = double(sectors.size() * sectors[0].count());
}
BENCHMARK(BM_Prepare100Sectors)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The map view's scene target: 100 sectors, 100 markers and a 10,000-point
// geodesic polyline, all from scratch.
void BM_PrepareScene(benchmark::State& state) {
    const auto sectors = hundredSectors();
    const GMSPath line = longLine(state.range(0) != 0);
    std::vector<CLLocationCoordinate2D> markers;
    for (int i = 0; i < 100; ++i)
        markers.push_back({52.0 + 0.001 * i, 21.0 - 0.002 * i});
    for (auto _ : state) {
        for (const GMSPath& s : sectors)
            benchmark::DoNotOptimize(GMSPrepareVertices(s, false, nullptr, true).points.data());
        for (const auto& m : markers)
            benchmark::DoNotOptimize(gmscore::model::Point2D::fromCoordinate(m));
        benchmark::DoNotOptimize(GMSPrepareVertices(line, true).points.data());
    }
}
BENCHMARK(BM_PrepareScene)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_CircleAndLengths(benchmark::State& state) {
    for (auto _ : state) {
        auto c = GMSPath::circlePathWithCenter({52.2, 21.0}, 5000.0);
        benchmark::DoNotOptimize(c->lengthOfKind(kGMSLengthRhumb));
    }
}
BENCHMARK(BM_CircleAndLengths);

} // namespace

BENCHMARK_MAIN();
