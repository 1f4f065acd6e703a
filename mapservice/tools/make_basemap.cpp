// Renders the built-in base map, its label layer and the two together (the
// road map) into MBTiles files:
//   zl_make_basemap --land-coarse land-110m.json --land land-50m.json
//                   --countries countries-50m.json --out basemap.mbtiles
//                   --labels-out labels.mbtiles --roadmap-out roadmap.mbtiles
//                   [--max-zoom 8] [--threads N]
// Any output may be left out, but the road map is made with the base map. Each file is written under a temporary name
// and renamed when complete.
#include "BasemapRenderer.h"
#include "CountryLabels.h"
#include "Mbtiles.h"
#include "TilePng.h"
#include "TopoJson.h"

#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

using namespace zenloft::basemap;
using zl::MbtilesWriter;

namespace {

bool load(const QString& path, const QString& object, TopoLayer& layer)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "zl_make_basemap: cannot read %s\n", qPrintable(path));
        return false;
    }
    QString error;
    if (!readTopoJson(f.readAll(), object, layer, error)) {
        std::fprintf(stderr, "zl_make_basemap: %s: %s\n", qPrintable(path), qPrintable(error));
        return false;
    }
    return true;
}

struct Result {
    int z, x, y;
    QByteArray data;     // empty: open water
    QByteArray roadmap;  // with the names drawn on; empty: no name here
};

// Both files cover the whole Web Mercator world from zoom 0.
std::map<std::string, std::string> metadataFor(const std::string& name, const std::string& type,
                                               const std::string& description, int maxZoom)
{
    return {
        {"name", name},
        {"format", "png"},
        {"type", type},
        {"minzoom", "0"},
        {"maxzoom", std::to_string(maxZoom)},
        {"bounds", "-180,-85.0511,180,85.0511"},
        {"attribution", "Natural Earth (public domain)"},
        {"description", description},
    };
}

// Writes `out` through a temporary file; `fill` adds the tiles.
bool writeMbtiles(const QString& out, const std::map<std::string, std::string>& metadata,
                  const std::function<bool(MbtilesWriter&, std::string&)>& fill, int& tiles, int& images)
{
    const QString tmp = out + ".part";
    QFile::remove(tmp);
    MbtilesWriter writer;
    std::string error;
    if (!writer.open(tmp.toStdString(), metadata, error) || !fill(writer, error) || !writer.finish(error)) {
        std::fprintf(stderr, "zl_make_basemap: %s\n", error.c_str());
        QFile::remove(tmp);
        return false;
    }
    tiles = writer.tileCount();
    images = writer.imageCount();
    QFile::remove(out);
    if (!QFile::rename(tmp, out)) {
        std::fprintf(stderr, "zl_make_basemap: cannot move %s to %s\n", qPrintable(tmp), qPrintable(out));
        return false;
    }
    return true;
}

// Country names: few tiles carry one, so they are drawn here in one thread;
// every other tile is the one shared empty image.
bool makeLabels(const CountryLabels& labels, int maxZoom, const QString& out)
{
    QElapsedTimer timer;
    timer.start();
    const auto metadata =
        metadataFor("Zenloft country names", "overlay", "Country names over the base map or imagery", maxZoom);
    const QByteArray empty = labels.emptyTile();
    int tiles = 0, images = 0;
    const bool ok = writeMbtiles(out, metadata, [&](MbtilesWriter& writer, std::string& error) {
        for (int z = 0; z <= maxZoom; ++z)
            for (int y = 0; y < (1 << z); ++y)
                for (int x = 0; x < (1 << z); ++x) {
                    const auto png = labels.renderTile(z, x, y);
                    if (!writer.addTile(z, x, y, (png ? *png : empty).toStdString(), error))
                        return false;
                }
        return true;
    }, tiles, images);
    if (ok)
        std::printf("zl_make_basemap: %d label tiles (%d distinct images), zooms 0-%d, %.1f s -> %s\n", tiles,
                    images, maxZoom, timer.elapsed() / 1000.0, qPrintable(out));
    return ok;
}

}  // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"land-coarse", "TopoJSON with the object 'land' for the lowest zooms.", "file"});
    parser.addOption({"land", "TopoJSON with the object 'land'.", "file"});
    parser.addOption({"countries", "TopoJSON with the object 'countries' (borders).", "file"});
    parser.addOption({"out", "MBTiles file of the base map to write.", "file"});
    parser.addOption({"labels-out", "MBTiles file of the country names to write.", "file"});
    parser.addOption({"roadmap-out", "MBTiles file of the base map with the names drawn on (needs --out).", "file"});
    parser.addOption({"max-zoom", "Highest zoom level (default 8).", "n", "8"});
    parser.addOption({"threads", "Rendering threads (default: all cores).", "n"});
    parser.process(app);
    for (const char* required : {"land", "countries"}) {
        if (!parser.isSet(required)) {
            std::fprintf(stderr, "zl_make_basemap: --%s is required\n", required);
            return 2;
        }
    }
    if (!parser.isSet("out") && !parser.isSet("labels-out")) {
        std::fprintf(stderr, "zl_make_basemap: nothing to do: give --out, --labels-out or both\n");
        return 2;
    }
    if (parser.isSet("roadmap-out") && !parser.isSet("out")) {
        std::fprintf(stderr, "zl_make_basemap: --roadmap-out is made with the base map: give --out too\n");
        return 2;
    }
    const int maxZoom = std::clamp(parser.value("max-zoom").toInt(), 0, 12);
    const int threads = parser.isSet("threads") ? std::max(1, parser.value("threads").toInt())
                                                : std::max(1, QThread::idealThreadCount());

    QElapsedTimer timer;
    timer.start();
    TopoLayer coarse, detailed, countries;
    if (!load(parser.value("land"), "land", detailed) || !load(parser.value("countries"), "countries", countries))
        return 1;
    if (parser.isSet("land-coarse")) {
        if (!load(parser.value("land-coarse"), "land", coarse))
            return 1;
    } else {
        coarse = detailed;
    }
    std::optional<CountryLabels> labels;
    if (parser.isSet("labels-out") || parser.isSet("roadmap-out"))
        labels.emplace(countries, maxZoom);
    if (parser.isSet("labels-out") && !makeLabels(*labels, maxZoom, parser.value("labels-out")))
        return 1;
    if (!parser.isSet("out"))
        return 0;
    const BasemapRenderer renderer(std::move(coarse), std::move(detailed), std::move(countries));

    const QString out = parser.value("out");
    const QString roadmapOut = parser.value("roadmap-out");
    const CountryLabels* names = roadmapOut.isEmpty() ? nullptr : &*labels;
    const auto metadata = metadataFor("Zenloft base map", "baselayer", "Land, water and country borders", maxZoom);
    long long total = 0;
    for (int z = 0; z <= maxZoom; ++z)
        total += (1LL << z) * (1LL << z);
    // Work items: the tiles above `split` one by one, then one subtree per
    // tile at `split`, each clipped level by level down to maxZoom.
    const int split = std::min(3, maxZoom);
    struct Item {
        int z, x, y;
        bool subtree;
    };
    std::vector<Item> items;
    for (int z = 0; z < split; ++z)
        for (int y = 0; y < (1 << z); ++y)
            for (int x = 0; x < (1 << z); ++x)
                items.push_back({z, x, y, false});
    for (int y = 0; y < (1 << split); ++y)
        for (int x = 0; x < (1 << split); ++x)
            items.push_back({split, x, y, true});
    const QByteArray water = renderer.waterTile();
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<Result> results;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&] {
            const auto sink = [&](int z, int x, int y, const std::optional<QByteArray>& png) {
                QByteArray roadmap;
                if (names && names->touches(z, x, y)) {
                    QImage picture = png ? QImage::fromData(*png, "PNG").convertToFormat(QImage::Format_RGB32)
                                         : QImage::fromData(water, "PNG");
                    names->drawOnto(picture, z, x, y);
                    roadmap = tilePng(picture);
                }
                std::lock_guard lock(mutex);
                results.push_back({z, x, y, png ? *png : QByteArray(), roadmap});
                ready.notify_one();
            };
            for (std::size_t i = next++; i < items.size(); i = next++) {
                const Item& it = items[i];
                if (it.subtree)
                    renderer.renderSubtree(it.z, it.x, it.y, maxZoom, sink);
                else
                    sink(it.z, it.x, it.y, renderer.renderTile(it.z, it.x, it.y));
            }
        });
    }
    int tiles = 0, images = 0, roadmapTiles = 0, roadmapImages = 0;
    // Every result is taken off the queue even after a failed write, so that
    // the workers can finish and be joined.
    const auto drain = [&](MbtilesWriter& writer, MbtilesWriter* roadmapWriter, std::string& error) {
        long long written = 0;
        bool good = true;
        while (written < total) {
            std::deque<Result> batch;
            {
                std::unique_lock lock(mutex);
                ready.wait(lock, [&] { return !results.empty(); });
                batch.swap(results);
            }
            for (const Result& r : batch) {
                const QByteArray& base = r.data.isEmpty() ? water : r.data;
                if (good && !writer.addTile(r.z, r.x, r.y, base.toStdString(), error))
                    good = false;
                if (good && roadmapWriter &&
                    !roadmapWriter->addTile(r.z, r.x, r.y, (r.roadmap.isEmpty() ? base : r.roadmap).toStdString(), error))
                    good = false;
                ++written;
            }
        }
        for (auto& w : workers)
            w.join();
        return good;
    };
    bool ok;
    if (names) {
        const auto roadmapMetadata = metadataFor("Zenloft road map", "baselayer",
                                                 "Land, water, country borders and names", maxZoom);
        ok = writeMbtiles(roadmapOut, roadmapMetadata, [&](MbtilesWriter& roadmapWriter, std::string& error) {
            return writeMbtiles(out, metadata, [&](MbtilesWriter& writer, std::string& e) {
                return drain(writer, &roadmapWriter, e);
            }, tiles, images) || (error = "the base map was not written", false);
        }, roadmapTiles, roadmapImages);
    } else {
        ok = writeMbtiles(out, metadata, [&](MbtilesWriter& writer, std::string& error) {
            return drain(writer, nullptr, error);
        }, tiles, images);
    }
    if (!ok)
        return 1;
    if (names)
        std::printf("zl_make_basemap: %d tiles with names (%d distinct images) -> %s\n", roadmapTiles, roadmapImages,
                    qPrintable(roadmapOut));
    std::printf("zl_make_basemap: %d tiles (%d distinct images), zooms 0-%d, %d threads, %.1f s -> %s\n",
                tiles, images, maxZoom, threads, timer.elapsed() / 1000.0, qPrintable(out));
    return 0;
}
