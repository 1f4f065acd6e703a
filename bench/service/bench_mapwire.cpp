// Framing costs on the client: building a body of 50 tile requests, and
// reading a 50-tile answer (~1 MB) as it streams in 16 KB chunks.
#include "DashFraming.h"
#include "GMSDASHProtobufferRequest.h"
#include "GMSDASHStreamingReply.h"
#include "maptile.pb.h"

#include <benchmark/benchmark.h>

#include <random>

using namespace zenloft::wire;

namespace {

std::string tileAnswer()
{
    std::mt19937 rng(3);
    GMSx_GMMMapTileResponseProto resp;
    resp.mutable_header()->set_response_code(TILE_RESPONSE_OK);
    for (int i = 0; i < 50; ++i) {
        auto* d = resp.add_map_tile_array();
        d->mutable_map_tile()->set_tile_type(TILE_TYPE_SATELLITE);
        d->mutable_map_tile()->set_tile_index_x(i);
        d->mutable_map_tile()->set_tile_index_y(i);
        d->mutable_map_tile()->set_zoom_level(12);
        std::string data(20000, '\0');
        for (char& c : data)
            c = static_cast<char>(rng());
        d->set_tile_data(std::move(data));
    }
    DashOutput out;
    out.writeUInt16(kDashProtocolVersion);
    out.writeUInt16(kDashMapTileRequest);
    out.writeMessage(resp);
    return out.take();
}

void BM_WriteBodyOf50Tiles(benchmark::State& state)
{
    GMSx_GMMMapTileRequestProto req;
    for (int i = 0; i < 50; ++i) {
        auto* t = req.add_map_tile_array();
        t->set_tile_type(TILE_TYPE_SATELLITE);
        t->set_tile_index_x(i);
        t->set_tile_index_y(i);
        t->set_zoom_level(12);
    }
    DashRequestHeader h;
    h.language = u"en";
    h.platform = u"ios:bench";
    for (auto _ : state) {
        DashOutput out;
        writeRequestHeader(out, h);
        out.writeUInt16(kDashMapTileRequest);
        out.writeMessage(req);
        benchmark::DoNotOptimize(out.bytes().data());
    }
}
BENCHMARK(BM_WriteBodyOf50Tiles);

void BM_StreamRead50TileAnswer(benchmark::State& state)
{
    const std::string body = tileAnswer();
    const std::size_t chunk = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        auto r = std::make_shared<GMSDASHProtobufferRequest>(kDashMapTileRequest,
                                                             std::make_shared<GMSx_GMMMapTileRequestProto>(),
                                                             &GMSx_GMMMapTileResponseProto::default_instance());
        int got = 0;
        r->setHandler(nullptr, [&got](GMSDASHProtobufferRequest::Response resp, std::optional<GMSDASHError>) {
            got += resp ? 1 : 0;
        });
        GMSDASHStreamingReply reply({r}, nullptr);
        for (std::size_t at = 0; at < body.size(); at += chunk)
            reply.appendData(body.data() + at, std::min(chunk, body.size() - at));
        reply.finish(std::nullopt);
        benchmark::DoNotOptimize(got);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(body.size()));
}
BENCHMARK(BM_StreamRead50TileAnswer)->Arg(16 * 1024)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
