// Reading a large KML file: the overlay parser against expat alone with empty
// handlers on the same file, both fed in the parser's block size. The file
// (ZL_KML_BENCH_MB megabytes, 100 by default: styles, points, lines and
// polygons with holes) is generated into the temp folder and removed after.
#include <benchmark/benchmark.h>
#include <expat.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include "GMUKMLParser.h"

namespace {

struct LargeFile {
    std::filesystem::path path;
    std::uint64_t bytes = 0;

    LargeFile() {
        const char* env = std::getenv("ZL_KML_BENCH_MB");
        const std::uint64_t target = std::uint64_t(env ? std::atoi(env) : 100) << 20;
        path = std::filesystem::temp_directory_path() / ("zl_bench_kml_" + std::to_string(getpid()) + ".kml");
        std::ofstream out(path, std::ios::binary);
        out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<kml xmlns=\"http://www.opengis.net/kml/2.2\"><Document>\n";
        for (int i = 0; i < 100; ++i)
            out << "<Style id=\"s" << i << "\"><LineStyle><color>ff" << (i % 10) << "0ff00</color><width>2.5</width>"
                << "</LineStyle><PolyStyle><color>7f00ff" << (i % 10) << "0</color><fill>1</fill></PolyStyle>"
                << "<IconStyle><scale>1.1</scale><Icon><href>icon" << i << ".png</href></Icon></IconStyle></Style>\n";
        std::uint64_t written = out.tellp();
        for (std::uint64_t i = 0; written < target; ++i) {
            const double lon = 8.0 + double(i % 1000) * 0.001, lat = 47.0 + double(i % 777) * 0.001;
            char head[160];
            std::snprintf(head, sizeof head, "<Placemark><name>site %llu</name><description>plan entry</description>"
                          "<styleUrl>#s%llu</styleUrl>", (unsigned long long)i, (unsigned long long)(i % 100));
            std::string body;
            char tuple[64];
            auto coordinates = [&](int count, double size) {
                body += "<coordinates>";
                for (int k = 0; k < count; ++k) {
                    std::snprintf(tuple, sizeof tuple, "%.6f,%.6f,0 ", lon + size * (k % 2), lat + size * (k / 2 % 2));
                    body += tuple;
                }
                body += "</coordinates>";
            };
            switch (i % 3) {
            case 0:
                body += "<Point>", coordinates(1, 0), body += "</Point>";
                break;
            case 1:
                body += "<LineString><tessellate>1</tessellate>", coordinates(20, 0.01), body += "</LineString>";
                break;
            default:
                body += "<Polygon><outerBoundaryIs><LinearRing>", coordinates(12, 0.02);
                body += "</LinearRing></outerBoundaryIs><innerBoundaryIs><LinearRing>", coordinates(6, 0.005);
                body += "</LinearRing></innerBoundaryIs></Polygon>";
            }
            out << head << body << "</Placemark>\n";
            written += std::strlen(head) + body.size() + 13;
        }
        out << "</Document></kml>\n";
        bytes = std::uint64_t(out.tellp());
    }
    ~LargeFile() { std::filesystem::remove(path); }
};

const LargeFile& largeFile() {
    static LargeFile file;
    return file;
}

double peakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

void BM_ParseKml(benchmark::State& state) {
    const LargeFile& file = largeFile();
    std::size_t placemarks = 0;
    for (auto _ : state) {
        auto parser = GMUKMLParser::withFile(file.path.string());
        parser.parse();
        if (parser.error())
            state.SkipWithError(parser.error()->message.c_str());
        placemarks = parser.placemarks().size();
        benchmark::DoNotOptimize(parser.placemarks().data());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * file.bytes));
    state.counters["placemarks"] = double(placemarks);
    state.counters["file_MB"] = double(file.bytes) / (1 << 20);
    state.counters["peak_rss_MB"] = peakMegabytes();
}
BENCHMARK(BM_ParseKml)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_ExpatEmptyHandlers(benchmark::State& state) {
    const LargeFile& file = largeFile();
    for (auto _ : state) {
        XML_Parser p = XML_ParserCreate(nullptr);
        XML_SetElementHandler(p, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
        XML_SetCharacterDataHandler(p, [](void*, const XML_Char*, int) {});
        std::FILE* f = std::fopen(file.path.c_str(), "rb");
        for (;;) {
            void* buffer = XML_GetBuffer(p, int(GMUKMLParser::kBlockSize));
            std::size_t n = std::fread(buffer, 1, GMUKMLParser::kBlockSize, f);
            if (XML_ParseBuffer(p, int(n), n == 0) == XML_STATUS_ERROR || n == 0)
                break;
        }
        std::fclose(f);
        XML_ParserFree(p);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * file.bytes));
}
BENCHMARK(BM_ExpatEmptyHandlers)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

BENCHMARK_MAIN();
