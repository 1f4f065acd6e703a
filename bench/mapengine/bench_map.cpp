// Cost of the map's own work for a field scene: 100 sectors of 723 points,
// 100 tinted markers and a geodesic polyline of 10,000 points.
//
//   xvfb-run -a -s "-screen 0 1280x1024x24" ./bench_map
//
// (the program sets QSG_RHI_BACKEND=opengl and QSG_RENDER_LOOP=basic itself)
//
// Geometry benchmarks need no display. The frame benchmarks show a window
// (OpenGL under Xvfb); their manual time is the CPU spent in our code for
// the frame (camera move, polish and scene-graph synchronisation), as CPU
// time of that thread; the counter "frame_ms" is the wall time of the whole
// frame, with the scene graph's own rendering on Mesa's llvmpipe.
#include <benchmark/benchmark.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>

#include <ctime>
#include <memory>

#include "../../src/mapengine/demo/DemoScene.h"
#include "GMSMapView.h"
#include "GMSServices.h"
#include "GMSShapeGeometry.h"
#include "GMSSimdState.h"
#include "GMSTileManager.h"

namespace {

const CLLocationCoordinate2D kCentre{50.0614, 19.9383};

// CPU time of the calling thread: the GUI thread, which with the basic render
// loop also synchronises the scene. Other load on the machine doesn't count.
double threadCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + ts.tv_nsec * 1e-9;
}

// Polyline preparation, sector fills and strokes: what a new scene costs
// before any GPU work.
void BM_SceneGeometryFromScratch(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        zl_demo::Scene scene = zl_demo::makeScene(kCentre, 100, 100, 10000);
        state.ResumeTiming();
        std::size_t vertices = 0;
        for (const auto& p : scene.sectors) {
            gmsClearUpperSimdState();  // as the renderer does before each shape
            const auto points = GMSWorldPointsUnwrapped(p->path().coordinates());
            const auto origin = gms_shape::originFor(points);
            std::vector<gms_shape::FillVertex> fv;
            std::vector<std::uint32_t> fi, li;
            std::vector<gms_shape::LineVertex> lv;
            gms_shape::buildFill(points, {}, origin, fv, fi);
            gms_shape::buildStroke(points, origin, true, {p->strokeColor()}, lv, li);
            vertices += fv.size() + lv.size();
        }
        const GMSPreparedVertices& pv = scene.link->preparedVertices();
        std::vector<gms_shape::LineVertex> lv;
        std::vector<std::uint32_t> li;
        gms_shape::buildStroke(pv.points, gms_shape::originFor(pv.points), false, {scene.link->strokeColor()}, lv,
                               li);
        vertices += lv.size();
        benchmark::DoNotOptimize(vertices);
    }
}
BENCHMARK(BM_SceneGeometryFromScratch)->Unit(benchmark::kMillisecond);

// The parts of the above, one by one.
void BM_SectorRingPreparation(benchmark::State& state) {
    const zl_demo::Scene scene = zl_demo::makeScene(kCentre, 100, 0, 2);
    for (auto _ : state)
        for (const auto& p : scene.sectors) {
            gmsClearUpperSimdState();  // as the renderer does before each shape
            benchmark::DoNotOptimize(GMSWorldPointsUnwrapped(p->path().coordinates()));
        }
}
BENCHMARK(BM_SectorRingPreparation)->Unit(benchmark::kMillisecond);

void BM_SectorFills(benchmark::State& state) {
    const zl_demo::Scene scene = zl_demo::makeScene(kCentre, 100, 0, 2);
    std::vector<std::vector<gmscore::model::Point2D>> rings;
    for (const auto& p : scene.sectors) rings.push_back(GMSWorldPointsUnwrapped(p->path().coordinates()));
    for (auto _ : state) {
        for (const auto& ring : rings) {
            std::vector<gms_shape::FillVertex> fv;
            std::vector<std::uint32_t> fi;
            gms_shape::buildFill(ring, {}, gms_shape::originFor(ring), fv, fi);
            benchmark::DoNotOptimize(fi.data());
        }
    }
}
BENCHMARK(BM_SectorFills)->Unit(benchmark::kMillisecond);

void BM_SectorStrokes(benchmark::State& state) {
    const zl_demo::Scene scene = zl_demo::makeScene(kCentre, 100, 0, 2);
    std::vector<std::vector<gmscore::model::Point2D>> rings;
    for (const auto& p : scene.sectors) rings.push_back(GMSWorldPointsUnwrapped(p->path().coordinates()));
    for (auto _ : state) {
        for (const auto& ring : rings) {
            std::vector<gms_shape::LineVertex> lv;
            std::vector<std::uint32_t> li;
            gms_shape::buildStroke(ring, gms_shape::originFor(ring), true, {QColor(Qt::red)}, lv, li);
            benchmark::DoNotOptimize(li.data());
        }
    }
}
BENCHMARK(BM_SectorStrokes)->Unit(benchmark::kMillisecond);

void BM_GeodesicLinePreparation(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const zl_demo::Scene scene = zl_demo::makeScene(kCentre, 0, 0, 10000);
        state.ResumeTiming();
        benchmark::DoNotOptimize(scene.link->preparedVertices().points.size());
    }
}
BENCHMARK(BM_GeodesicLinePreparation)->Unit(benchmark::kMillisecond);

// A window with a map, showing the scene; frames are driven by hand.
struct Stage {
    Stage() {
        window = std::make_unique<QQuickWindow>();
        window->resize(800, 600);
        map = new GMSMapView(GMSCameraPosition(kCentre, 12.0f), window->contentItem());
        map->setSize(QSizeF(800, 600));
        map->setMapType(4);
        QObject::connect(window.get(), &QQuickWindow::beforeSynchronizing, window.get(),
                         [this] { syncStart = threadCpuSeconds(); }, Qt::DirectConnection);
        QObject::connect(window.get(), &QQuickWindow::afterSynchronizing, window.get(),
                         [this] { syncSeconds = threadCpuSeconds() - syncStart; }, Qt::DirectConnection);
        window->show();
        frame();
        // Let the coordinate tiles arrive, so frames draw a full map.
        for (int i = 0; i < 200 && map->tileManager()->isLoading(); ++i) frame();
    }
    bool ready() const { return window->isExposed() && window->rendererInterface()->graphicsApi() == QSGRendererInterface::OpenGL; }
    // Renders one frame; returns its wall time in seconds.
    double frame() {
        QEventLoop loop;
        QObject::connect(window.get(), &QQuickWindow::frameSwapped, &loop, &QEventLoop::quit);
        QTimer::singleShot(2000, &loop, &QEventLoop::quit);
        QElapsedTimer t;
        t.start();
        map->update();
        window->update();
        loop.exec();
        return t.nsecsElapsed() * 1e-9;
    }
    std::unique_ptr<QQuickWindow> window;
    GMSMapView* map = nullptr;
    double syncStart = 0.0;
    double syncSeconds = 0.0;
};

Stage* stage() {
    static Stage* s = nullptr;
    if (!s) s = new Stage();
    return s;
}

void BM_SceneFromScratchFrame(benchmark::State& state) {
    Stage* s = stage();
    if (!s->ready()) {
        state.SkipWithError("no OpenGL window (run under xvfb-run with QSG_RHI_BACKEND=opengl)");
        return;
    }
    double frames = 0;
    for (auto _ : state) {
        zl_demo::Scene scene = zl_demo::makeScene(kCentre, 100, 100, 10000);
        s->map->clear();
        s->frame();
        const double t0 = threadCpuSeconds();
        zl_demo::placeScene(scene, s->map);
        scene.link->preparedVertices();  // what polish does before the frame
        const double gui = threadCpuSeconds() - t0;
        frames += s->frame();
        state.SetIterationTime(gui + s->syncSeconds);
    }
    state.counters["frame_ms"] = benchmark::Counter(frames * 1000.0 / double(state.iterations()));
}
BENCHMARK(BM_SceneFromScratchFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

void cameraFrames(benchmark::State& state, bool zoom) {
    Stage* s = stage();
    if (!s->ready()) {
        state.SkipWithError("no OpenGL window (run under xvfb-run with QSG_RHI_BACKEND=opengl)");
        return;
    }
    static zl_demo::Scene scene = zl_demo::makeScene(kCentre, 100, 100, 10000);
    s->map->clear();
    zl_demo::placeScene(scene, s->map);
    s->frame();
    double frames = 0;
    int i = 0;
    for (auto _ : state) {
        ++i;
        const double t0 = threadCpuSeconds();
        // Small moves that keep the same tiles, as during a drag or pinch.
        const double d = (i % 20) * 0.0002;
        s->map->setCamera(zoom ? GMSCameraPosition(kCentre, float(12.0 + (i % 20) * 0.01))
                               : GMSCameraPosition(kCentre.latitude + d, kCentre.longitude + d, 12.0f));
        const double gui = threadCpuSeconds() - t0;
        frames += s->frame();
        state.SetIterationTime(gui + s->syncSeconds);
    }
    state.counters["frame_ms"] = benchmark::Counter(frames * 1000.0 / double(state.iterations()));
}

void BM_PanFrame(benchmark::State& state) { cameraFrames(state, false); }
void BM_ZoomFrame(benchmark::State& state) { cameraFrames(state, true); }
BENCHMARK(BM_PanFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);
BENCHMARK(BM_ZoomFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsSet("DISPLAY")) qputenv("QT_QPA_PLATFORM", "xcb");
    if (!qEnvironmentVariableIsSet("QSG_RHI_BACKEND")) qputenv("QSG_RHI_BACKEND", "opengl");
    if (!qEnvironmentVariableIsSet("QSG_RENDER_LOOP")) qputenv("QSG_RENDER_LOOP", "basic");
    QGuiApplication app(argc, argv);
    GMSServices::provideAPIKey(QString(39, QChar('B')));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
