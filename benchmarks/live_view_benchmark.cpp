/* Frames a second over the socket. The prescribed pause of 10 ms a frame allows 100. */
#include <benchmark/benchmark.h>

#include "benchmarks/CanonBench.h"

namespace {

void BM_live_view(benchmark::State& state) {
    CanonBench bench(e2e::Json{{"liveview", e2e::madeUpFrames({80000})}});
    bench.canon.startLiveView(bench.session);
    bench.canon.liveViewFrame(bench.session);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bench.canon.liveViewFrame(bench.session));
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_live_view)->UseRealTime()->Iterations(500);

}  // namespace
