// Camera move to a drawn screen of tiles, through the whole tile chain.
//
//   cmake --build <build> --target bench_view
//   xvfb-run -a -s "-screen 0 1280x1024x24" <build>/bench/view/bench_view [--places N] [--rounds R]
//
// (the program sets QT_QPA_PLATFORM=xcb and QSG_RHI_BACKEND=opengl itself;
// the render loop is Qt's default unless QSG_RENDER_LOOP says otherwise).
// Qt on X11 lets a requested frame wait QT_QPA_UPDATE_IDLE_TIME ms (5 by
// default) to gather more changes; the app turns that wait off, and so does
// this program unless QT_QPA_UPDATE_IDLE_TIME is given (=5 shows Qt's own).
//
// A 390 x 844 map view at zoom 16 in a real window, drawing from the real
// tile source, tile services and disk cache in a temporary folder. First a
// map service child (on an ephemeral loopback port, with an MBTiles file of
// ~20 KB PNG tiles made here) fills the disk cache by showing every place
// once; then the service stops, the whole chain is built anew (empty memory
// caches) and the camera jumps from place to place:
//
//  - disk:   to a place never shown by this chain: tiles come from the disk
//            cache only (the service is gone).
//  - memory: back to a place shown a moment ago, whose pictures are still
//            held in memory.
//  - new view: a second map (another screen's) moves to the place the
//            first one has just loaded: the tile services' memory caches
//            and the source's decoded pictures have it, the view nothing.
//
// A sample is the wall time from setCamera on the GUI thread to the swap of
// the first frame whose synchronisation saw every visible tile drawn at its
// own zoom (nothing pending, no parent standing in). "tiles" is the time to
// the last tile's arrival at the tile manager, for the split between loading
// and drawing; below each line the complete frame's steps are split (wait
// until its synchronisation began, synchronisation, recording of the render
// pass, then until the swap, where Mesa's software rasteriser does the
// drawing). Both map types of the app are run: normal (one layer) and
// hybrid (imagery with transparent labels over it).
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "GMSCameraPosition.h"
#include "GMSMapView.h"
#include "GMSProjection.h"
#include "GMSServiceTileSource.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "MapServiceSetup.h"
#include "mapservice_child.h"
#include "mapservice_options.h"
#include "mbtiles_writer.h"

namespace {

const QString kKey = QStringLiteral("ZenloftLocalServiceKey-0000000000000000");
constexpr QSize kView(390, 844);
constexpr float kZoom = 16.0f;

// A label tile: roads and names on a transparent ground.
QByteArray labelTile(quint32 seed) {
    QRandomGenerator rng(seed);
    QImage img(256, 256, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < 12; ++i) {
        p.setPen(QPen(QColor(255, 255, 200, 220), 2 + rng.bounded(3)));
        p.drawLine(int(rng.bounded(256)), int(rng.bounded(256)), int(rng.bounded(256)), int(rng.bounded(256)));
    }
    p.setPen(Qt::white);
    for (int i = 0; i < 10; ++i)
        p.drawText(int(rng.bounded(200)), int(rng.bounded(250)), QStringLiteral("Ulica %1").arg(rng.bounded(1000)));
    p.end();
    return zltest::pngBytes(img);
}

// A tile picture of roughly 20 KB as PNG: smooth shades, a few shapes and
// some grain, so that decoding costs what a real tile costs.
QByteArray pngTile(quint32 seed) {
    QRandomGenerator rng(seed);
    QImage img(256, 256, QImage::Format_RGB32);
    QLinearGradient g(0, 0, 256, 256);
    g.setColorAt(0, QColor::fromHsv(int(rng.bounded(360)), 90, 160));
    g.setColorAt(1, QColor::fromHsv(int(rng.bounded(360)), 120, 90));
    QPainter p(&img);
    p.fillRect(img.rect(), g);
    for (int i = 0; i < 30; ++i) {
        p.setPen(QPen(QColor::fromHsv(int(rng.bounded(360)), 60, 200), 1 + rng.bounded(4)));
        p.drawLine(int(rng.bounded(256)), int(rng.bounded(256)), int(rng.bounded(256)), int(rng.bounded(256)));
    }
    p.end();
    for (int i = 0; i < 450; ++i) {
        const int x = int(rng.bounded(256)), y = int(rng.bounded(256));
        img.setPixel(x, y, img.pixel(x, y) ^ (rng.generate() & 0x1f1f1f));
    }
    return zltest::pngBytes(img);
}

struct Place {
    double latitude, longitude;
};

// The tiles a view of kView at kZoom needs around a place, with one tile of
// margin each way.
std::vector<GMSTileKey> tilesAround(const Place& place) {
    const int z = GMSTileManager::tileZoomForZoom(kZoom);
    const double n = std::exp2(z);
    const double x = (place.longitude + 180.0) / 360.0 * n;
    const double lat = place.latitude * M_PI / 180.0;
    const double y = (1.0 - std::log(std::tan(lat) + 1.0 / std::cos(lat)) / M_PI) / 2.0 * n;
    const int cx = int(x), cy = int(y);
    const int dx = kView.width() / 512 + 2, dy = kView.height() / 512 + 2;
    std::vector<GMSTileKey> keys;
    for (int ty = cy - dy; ty <= cy + dy; ++ty)
        for (int tx = cx - dx; tx <= cx + dx; ++tx) keys.push_back({GMSTileLayerType::Roadmap, z, tx, ty});
    return keys;
}

// The tiles of every place, made of a few dozen distinct pictures.
bool writeMbtiles(const QString& path, const std::vector<Place>& places, bool labels) {
    std::vector<QByteArray> pictures;
    for (quint32 i = 0; i < 48; ++i) pictures.push_back(labels ? labelTile(i + 1) : pngTile(i + 1));
    qint64 total = 0;
    for (const QByteArray& b : pictures) total += b.size();
    std::printf("%s tiles: PNG, %lld bytes on average\n", labels ? "label" : "base and imagery",
                total / qint64(pictures.size()));

    // Where places overlap, a tile keeps the first picture given to it.
    zltest::MbtilesTiles tiles;
    std::size_t i = 0;
    for (const Place& place : places)
        for (const GMSTileKey& k : tilesAround(place))
            tiles.try_emplace({k.zoom, k.x, k.y}, pictures[i++ % pictures.size()]);
    QString error;
    if (!zltest::writeMbtiles(path, tiles, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return false;
    }
    return true;
}

// The map service as a child on loopback; its endpoint once it listens.
QUrl startService(zltest::MapServiceChild& service, const QString& mbtiles, const QString& labels) {
    const QUrl endpoint = service.start(QStringLiteral(ZL_MAPSERVICE_EXE),
                                        {"--threads", "8", "--api-key", kKey, "--tiles", "roadmap=" + mbtiles,
                                         "--tiles", "satellite=" + mbtiles, "--tiles", "hybrid_overlay=" + labels,
                                         "--quiet"});
    if (!endpoint.isValid()) std::fprintf(stderr, "%s\n", qPrintable(service.error()));
    return endpoint;
}

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer t;
    t.start();
    while (!done()) {
        if (t.elapsed() > timeoutMs) return false;
        QEventLoop loop;
        QTimer::singleShot(1, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// A window with one map view over the given chain, and the clock of one
// camera move at a time.
class Stage {
public:
    explicit Stage(GMSTileSource* source) {
        window_ = std::make_unique<QQuickWindow>();
        window_->resize(kView);
        map_ = new GMSMapView(GMSCameraPosition(0.0, 0.0, 2.0f), window_->contentItem());
        map_->setSize(QSizeF(kView));
        map_->setTileSource(source);
        QObject::connect(
            window_.get(), &QQuickWindow::beforeSynchronizing, window_.get(),
            [this] {
                if (measuring_ && !completeSynced_) syncStartNs_ = clock_.nsecsElapsed();
            },
            Qt::DirectConnection);
        QObject::connect(
            window_.get(), &QQuickWindow::afterSynchronizing, window_.get(),
            [this] {
                // The GUI thread waits during synchronisation: the manager may be read.
                if (measuring_ && !completeSynced_ && screenComplete()) {
                    syncEndNs_ = clock_.nsecsElapsed();
                    completeSynced_ = true;
                }
            },
            Qt::DirectConnection);
        QObject::connect(
            window_.get(), &QQuickWindow::afterRendering, window_.get(),
            [this] {
                if (measuring_ && completeSynced_ && renderedNs_ < 0) renderedNs_ = clock_.nsecsElapsed();
            },
            Qt::DirectConnection);
        QObject::connect(
            window_.get(), &QQuickWindow::frameSwapped, window_.get(),
            [this] {
                if (measuring_ && drawnNs_ < 0) {
                    ++frames_;
                    if (completeSynced_) drawnNs_ = clock_.nsecsElapsed();
                }
            },
            Qt::DirectConnection);
        QObject::connect(map_->tileManager(), &GMSTileManager::loadingFinished, window_.get(), [this] {
            if (measuring_ && tilesNs_ < 0) tilesNs_ = clock_.nsecsElapsed();
        });
        window_->show();
        waitUntil([this] { return window_->isExposed(); }, 5000);
    }

    bool ready() const {
        return window_->isExposed() && window_->rendererInterface() &&
               window_->rendererInterface()->graphicsApi() == QSGRendererInterface::OpenGL;
    }

    void setMapType(int type) { map_->setMapType(type); }
    GMSMapView* map() const { return map_; }

    struct Sample {
        double drawnMs = -1.0;  // < 0: never complete within the time limit
        double tilesMs = 0.0;   // 0 when nothing had to load
        bool loaded = false;    // tiles had to be asked for
        // The complete frame's steps: its synchronisation began, ended, its
        // rendering ended (ms after the move).
        double syncStartMs = 0.0, syncEndMs = 0.0, renderedMs = 0.0;
        int frames = 0;  // frames swapped until the complete one, itself included
    };

    Sample moveTo(const Place& place) {
        const GMSCameraPosition camera(place.latitude, place.longitude, kZoom);
        expected_ = expectedTiles(camera);
        drawnNs_ = -1;
        tilesNs_ = -1;
        renderedNs_ = -1;
        frames_ = 0;
        completeSynced_ = false;
        measuring_ = true;
        clock_.start();
        map_->setCamera(camera);
        Sample s;
        s.loaded = map_->tileManager()->isLoading();
        const bool done = waitUntil([this] { return drawnNs_.load() >= 0; }, 10000);
        measuring_ = false;
        if (done) {
            s.drawnMs = double(drawnNs_) * 1e-6;
            s.syncStartMs = double(syncStartNs_) * 1e-6;
            s.syncEndMs = double(syncEndNs_) * 1e-6;
            s.renderedMs = double(renderedNs_) * 1e-6;
            s.frames = frames_;
        }
        if (s.loaded && tilesNs_ >= 0) s.tilesMs = double(tilesNs_) * 1e-6;
        // Let the disk cache's bookkeeping of this move pass before the next one.
        waitUntil([t = QElapsedTimer()]() mutable {
            if (!t.isValid()) t.start();
            return t.elapsed() >= 30;
        }, 1000);
        return s;
    }

private:
    // The number of tiles a camera shows, over all layers of the map type.
    int expectedTiles(const GMSCameraPosition& camera) const {
        struct Null : GMSTileSource {
            zl::RequestHandle requestTile(const GMSTileKey&, Answer) override { return {}; }
        } null;
        GMSTileManager probe;
        probe.setSource(&null);
        probe.setLayers(map_->tileLayers());
        probe.update(GMSProjection(camera, QSizeF(kView)));
        return int(probe.pending().size());
    }

    bool screenComplete() const {
        const GMSTileManager* tm = map_->tileManager();
        if (tm->isLoading()) return false;
        int n = 0;
        for (const auto& layer : tm->drawList())
            for (const GMSTileManager::DrawTile& t : layer) {
                if (!(t.drawnKey == t.key)) return false;
                ++n;
            }
        return n == expected_;
    }

    std::unique_ptr<QQuickWindow> window_;
    GMSMapView* map_ = nullptr;
    QElapsedTimer clock_;
    std::atomic<bool> measuring_{false};
    std::atomic<bool> completeSynced_{false};
    std::atomic<qint64> drawnNs_{-1};
    std::atomic<qint64> tilesNs_{-1};
    std::atomic<int> frames_{0};
    std::atomic<qint64> syncStartNs_{0}, syncEndNs_{0}, renderedNs_{-1};
    int expected_ = 0;
};

struct Stats {
    double median = 0, p90 = 0, max = 0;
};

Stats statsOf(std::vector<double> v) {
    Stats s;
    if (v.empty()) return s;
    std::sort(v.begin(), v.end());
    auto at = [&](double q) { return v[std::min(v.size() - 1, std::size_t(std::ceil(q * double(v.size())) - 1))]; };
    s.median = v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2.0;
    s.p90 = at(0.9);
    s.max = v.back();
    return s;
}

void report(const char* name, const std::vector<Stage::Sample>& samples, double targetMs) {
    std::vector<double> drawn, tiles, toSync, sync, render, swap, frames;
    int incomplete = 0, loadedCount = 0;
    for (const auto& s : samples) {
        if (s.drawnMs < 0) {
            ++incomplete;
            continue;
        }
        drawn.push_back(s.drawnMs);
        toSync.push_back(s.syncStartMs);
        sync.push_back(s.syncEndMs - s.syncStartMs);
        render.push_back(s.renderedMs - s.syncEndMs);
        swap.push_back(s.drawnMs - s.renderedMs);
        frames.push_back(s.frames);
        if (s.loaded) {
            ++loadedCount;
            tiles.push_back(s.tilesMs);
        }
    }
    const Stats d = statsOf(drawn), t = statsOf(tiles);
    std::printf("%-16s n=%-3zu drawn ms: median %6.2f  p90 %6.2f  max %6.2f   (target %.0f: median %s)", name,
                drawn.size(), d.median, d.p90, d.max, targetMs, d.median <= targetMs ? "met" : "MISSED");
    if (!tiles.empty()) std::printf("   tiles ms: median %6.2f p90 %6.2f", t.median, t.p90);
    std::printf("   moves that loaded %d", loadedCount);
    if (incomplete) std::printf("   INCOMPLETE %d", incomplete);
    std::printf("\n");
    // Where the complete frame's time went (medians).
    std::printf("%-16s       until its sync %.2f, sync %.2f, render %.2f, swap %.2f; frames %.1f\n", "",
                statsOf(toSync).median, statsOf(sync).median, statsOf(render).median, statsOf(swap).median,
                statsOf(frames).median);
    std::fflush(stdout);
}

int argValue(int argc, char** argv, const char* name, int fallback) {
    for (int i = 1; i + 1 < argc; ++i)
        if (qstrcmp(argv[i], name) == 0) return std::max(1, atoi(argv[i + 1]));
    return fallback;
}

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsSet("DISPLAY")) qputenv("QT_QPA_PLATFORM", "xcb");
    if (!qEnvironmentVariableIsSet("QSG_RHI_BACKEND")) qputenv("QSG_RHI_BACKEND", "opengl");
    if (!qEnvironmentVariableIsSet("QT_QPA_UPDATE_IDLE_TIME")) qputenv("QT_QPA_UPDATE_IDLE_TIME", "0");  // as the app
    QGuiApplication app(argc, argv);
    const int placesPerType = argValue(argc, argv, "--places", 40);
    const int rounds = argValue(argc, argv, "--rounds", 4);
    GMSServices::provideAPIKey(kKey);

    // Places far enough apart that no two share a tile: one set per map type.
    std::vector<Place> places;
    for (int i = 0; i < 2 * placesPerType; ++i)
        places.push_back({49.8 + 0.04 * (i % 10), 19.5 + 0.06 * (i / 10)});

    QTemporaryDir dir;
    const QString mbtiles = dir.filePath("bench.mbtiles");
    const QString labels = dir.filePath("labels.mbtiles");
    if (!writeMbtiles(mbtiles, places, false) || !writeMbtiles(labels, places, true)) {
        std::fprintf(stderr, "could not write the MBTiles file\n");
        return 1;
    }
    MapServiceOptions options = zltest::localServiceOptions(QUrl(), kKey, dir.path());  // endpoint: once it listens

    // 1. The service fills the disk cache: every place once, each map type.
    {
        zltest::MapServiceChild service;
        options.endpoint = startService(service, mbtiles, labels);
        if (!options.endpoint.isValid()) {
            std::fprintf(stderr, "the map service did not start\n");
            return 1;
        }
        MapServiceSetup setup(options);
        if (!setup.startServices(false)) {
            service.stop();
            return 1;
        }
        Stage stage(setup.tileSource());
        if (!stage.ready()) {
            std::fprintf(stderr, "no OpenGL window (run under xvfb-run)\n");
            service.stop();
            return 77;
        }
        int failed = 0;
        for (int type : {1, 4}) {
            stage.setMapType(type);
            const auto first = places.begin() + (type == 1 ? 0 : placesPerType);
            for (auto p = first; p != first + placesPerType; ++p)
                if (stage.moveTo(*p).drawnMs < 0) ++failed;
        }
        if (failed) {
            std::fprintf(stderr, "%d places never drew in full from the service\n", failed);
            service.stop();
            return 1;
        }
        service.stop();
    }  // the setup finishes its disk writes as it goes

    // 2. A new chain with empty memory caches, the service gone.
    MapServiceSetup setup(options);
    if (!setup.startServices(false)) return 1;
    if (!waitUntil([&] { return setup.isReady(); }, 20000)) {
        std::fprintf(stderr, "the tile services did not start without the service\n");
        return 1;
    }
    Stage stage(setup.tileSource());
    std::printf("view %dx%d at zoom %.0f, render loop %s, %d places per map type, %d memory rounds\n", kView.width(),
                kView.height(), double(kZoom), qgetenv("QSG_RENDER_LOOP").isEmpty() ? "default" : qgetenv("QSG_RENDER_LOOP").constData(),
                placesPerType, rounds);
    for (int type : {1, 4}) {
        stage.setMapType(type);
        const char* typeName = type == 1 ? "normal" : "hybrid";
        const auto first = places.begin() + (type == 1 ? 0 : placesPerType);
        std::vector<Stage::Sample> disk, memory, fresh;
        {
            // Another screen's map, opened where the first one has just
            // arrived: it has no pictures of its own, the tile services'
            // memory and the source's decoded pictures have them all.
            Stage other(setup.tileSource());
            other.setMapType(type);
            for (auto p = first; p != first + placesPerType; ++p) {
                disk.push_back(stage.moveTo(*p));
                fresh.push_back(other.moveTo(*p));
            }
        }
        // The last few places are still held in memory: go round them.
        const int recent = std::min(placesPerType, 10);
        for (int r = 0; r < rounds; ++r)
            for (auto p = first + placesPerType - recent; p != first + placesPerType; ++p)
                memory.push_back(stage.moveTo(*p));
        report((QByteArray(typeName) + " disk").constData(), disk, 50.0);
        report((QByteArray(typeName) + " memory").constData(), memory, 5.0);
        report((QByteArray(typeName) + " new view").constData(), fresh, 5.0);
    }
    return 0;
}
