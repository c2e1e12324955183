/* How far from its deadline a timed capture gives the shutter command, by the lab's trace. */
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "benchmarks/CanonBench.h"
#include "benchmarks/Deadlines.h"

namespace {

constexpr int kCaptures = 200;
constexpr int64_t kAheadUs = 60000;

int64_t distanceOfOneCapture(CanonBench& bench, const std::string& path) {
    bench.lab.clearTrace();
    const int64_t deadline = readClock(CLOCK_REALTIME) + kAheadUs;
    require(bench.canon.capture(bench.session, path, deadline) == 0, "capture");
    const std::vector<e2e::Json> commands = bench.lab.calls("EdsSendCommand");
    require(!commands.empty(), "the shutter command is in the trace");
    return commands.front().at("us").get<int64_t>() + wallClockAhead() - deadline;
}

void measure(benchmark::State& state) {
    CanonBench bench(e2e::Json{{"shots", e2e::shotOf({e2e::madeUpFile("IMG_0001.JPG", 1000)})}});
    const e2e::TempFolder folder;
    const std::string path = folder.file("picture");
    for (auto _ : state) {
        std::vector<int64_t> distances;
        for (int i = 0; i < kCaptures; ++i) {
            distances.push_back(std::abs(distanceOfOneCapture(bench, path)));
        }
        tellDistances(state, std::move(distances));
    }
}

void BM_deadline_idle(benchmark::State& state) {
    measure(state);
}

void BM_deadline_both_cores_busy(benchmark::State& state) {
    const BusyProcess first;
    const BusyProcess second;
    measure(state);
}

BENCHMARK(BM_deadline_idle)->UseRealTime()->Iterations(1);
BENCHMARK(BM_deadline_both_cores_busy)->UseRealTime()->Iterations(1);

}  // namespace
