/* How far from its deadline a timed Nikon capture sends its first command, and starts the shutter.
 *
 * Between the two lies the prescribed read of one capability, whose completion a module reports at a poll,
 * 10 ms apart. The body here completes that read at once, so that what is left is the helper's own.
 */
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "benchmarks/Deadlines.h"
#include "benchmarks/NikonBench.h"

namespace {

constexpr int kCaptures = 100;
constexpr int64_t kAheadUs = 60000;

e2e::Json body() {
    return e2e::withCapabilities({e2e::capability(e2e::kReadBeforeCapture, e2e::kUnsignedCap, e2e::kGettable,
                                                  {{"value", 0}, {"completeAfter", 0}})},
                                 {{"shots", e2e::nikonShots({{e2e::nikonItem(e2e::kJpegType, 1000)}})}});
}

int64_t shutterTime(NikonBench& bench) {
    for (const e2e::Json& entry : bench.lab.calls("MAIDEntryPoint")) {
        const e2e::Json& args = entry.at("args");
        if (e2e::number(args.at("command")) == e2e::kStartCommand &&
            e2e::number(args.at("param")) == e2e::kCapture) {
            return entry.at("us").get<int64_t>();
        }
    }
    require(false, "the shutter command is in the trace");
    return 0;
}

int64_t distanceOfOneCapture(NikonBench& bench, const std::string& path) {
    bench.lab.clearTrace();
    const int64_t deadline = readClock(CLOCK_REALTIME) + kAheadUs;
    require(bench.nikon.capture(bench.camera, path, deadline) == 0, "capture");
    return shutterTime(bench) + wallClockAhead() - deadline;
}

void measure(benchmark::State& state) {
    NikonBench bench(body());
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

void BM_nikon_deadline_idle(benchmark::State& state) {
    measure(state);
}

void BM_nikon_deadline_both_cores_busy(benchmark::State& state) {
    const BusyProcess first;
    const BusyProcess second;
    measure(state);
}

BENCHMARK(BM_nikon_deadline_idle)->UseRealTime()->Iterations(1);
BENCHMARK(BM_nikon_deadline_both_cores_busy)->UseRealTime()->Iterations(1);

}  // namespace
