/* How far from its deadline a timed capture gives the shutter command, by the lab's trace. */
#include <benchmark/benchmark.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "benchmarks/CanonBench.h"
#include "benchmarks/Loopback.h"

namespace {

constexpr int kCaptures = 200;
constexpr int64_t kAheadUs = 60000;

int64_t readClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

/** The trace tells monotonic time, deadlines are of the wall clock. */
int64_t wallClockAhead() {
    return readClock(CLOCK_REALTIME) - readClock(CLOCK_MONOTONIC);
}

int64_t distanceOfOneCapture(CanonBench& bench, const std::string& path) {
    bench.lab.clearTrace();
    const int64_t deadline = readClock(CLOCK_REALTIME) + kAheadUs;
    require(bench.canon.capture(bench.session, path, deadline) == 0, "capture");
    const std::vector<e2e::Json> commands = bench.lab.calls("EdsSendCommand");
    require(!commands.empty(), "the shutter command is in the trace");
    return commands.front().at("us").get<int64_t>() + wallClockAhead() - deadline;
}

double percentile(const std::vector<int64_t>& sorted, double share) {
    return static_cast<double>(sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1))]);
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
        std::sort(distances.begin(), distances.end());
        state.counters["p50_us"] = percentile(distances, 0.5);
        state.counters["p99_us"] = percentile(distances, 0.99);
        state.counters["max_us"] = percentile(distances, 1.0);
    }
}

/** Keeps one core busy for its lifetime. */
class BusyProcess {
public:
    BusyProcess() : process_(fork()) {
        require(process_ >= 0, "fork");
        if (process_ > 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // a benchmark that gives up must not leave it behind
        volatile uint64_t turns = 0;
        for (;;) {
            turns = turns + 1;
        }
    }
    ~BusyProcess() {
        if (process_ <= 0) return;
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    BusyProcess(const BusyProcess&) = delete;
    BusyProcess& operator=(const BusyProcess&) = delete;

private:
    pid_t process_;
};

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
