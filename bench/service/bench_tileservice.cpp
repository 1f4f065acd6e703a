// The tile service's own cost per tile, without network or disk: a screen of
// tiles asked for, batched, answered and called back; then the same screen
// from the memory cache.
#include "Clock.h"
#include "GMSDASHBatchedTileRequest.h"
#include "GMSDASHTileService.h"
#include "maptile.pb.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>

using namespace zenloft::wire;

namespace {

struct Bench {
    zl::ManualClock clock;
    QObject queue;
    std::vector<std::shared_ptr<GMSDASHBatchedTileRequest>> sent;
    std::shared_ptr<GMSDASHTileService> service;
    std::vector<zl::RequestHandle> held;
    int answered = 0;
    explicit Bench(int batch)
    {
        GMSDASHTileServiceOptions o;
        o.tileType.mapTileType = TILE_TYPE_SATELLITE;
        o.maxRequestsPerBatch = batch;
        service = GMSDASHTileService::create(
            o, &queue,
            [this](const std::shared_ptr<GMSDASHRequest>& r) {
                sent.push_back(std::static_pointer_cast<GMSDASHBatchedTileRequest>(r));
            },
            &clock);
        service->startRequestQueue();
        QCoreApplication::sendPostedEvents();
    }
    void ask(int z, int n)
    {
        for (int i = 0; i < n; ++i)
            held.push_back(service->requestTile(GMSTileCoords(z, i % 8, i / 8),
                                                [this](const GMSTileCoords&, int, const GMSTilePtr&) { ++answered; }));
        QCoreApplication::sendPostedEvents();
    }
    void answerAll(const std::string& data)
    {
        for (const auto& batch : sent) {
            const auto req = batch->buildRequestProto();
            auto resp = std::make_shared<GMSx_GMMMapTileResponseProto>();
            resp->mutable_header()->set_tile_edition(1);
            for (const auto& t : req.map_tile_array()) {
                auto* a = resp->add_map_tile_array();
                *a->mutable_map_tile() = t;
                a->mutable_map_tile()->mutable_version_id()->set_version_id("v");
                a->set_tile_data(data);
            }
            service->handleServerResponse(batch, resp, std::nullopt);
        }
        sent.clear();
    }
};

const std::string kTile = std::string("\x89PNG\r\n\x1a\n", 8) + std::string(20000, 'x');

// 48 tiles (two layers of a phone screen) from the network path.
void BM_ScreenThroughBatches(benchmark::State& state)
{
    for (auto _ : state) {
        Bench b(int(state.range(0)));
        b.ask(6, 48);
        b.answerAll(kTile);
        if (b.answered != 48)
            state.SkipWithError("not every tile was answered");
    }
    state.SetItemsProcessed(state.iterations() * 48);
}
BENCHMARK(BM_ScreenThroughBatches)->Arg(16)->Arg(50);

// The same 32 tiles again: memory hits only.
void BM_ScreenFromMemory(benchmark::State& state)
{
    Bench b(50);
    b.ask(6, 32);
    b.answerAll(kTile);
    for (auto _ : state) {
        b.ask(6, 32);
        b.held.clear();  // answered from memory already
        benchmark::DoNotOptimize(b.answered);
    }
    state.SetItemsProcessed(state.iterations() * 32);
}
BENCHMARK(BM_ScreenFromMemory);

void BM_TileCoordsClosestToZoom(benchmark::State& state)
{
    qint64 p = 12345;
    for (auto _ : state) {
        p = p * 6364136223846793005LL + 1442695040888963407LL;
        benchmark::DoNotOptimize(GMSTileCoords::coordsClosestToZoom(17, p >> 34, p >> 35).hash());
    }
}
BENCHMARK(BM_TileCoordsClosestToZoom);

}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
