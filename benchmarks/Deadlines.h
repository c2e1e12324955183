/* Deadlines.h: what the benchmarks of timed captures have in common: clocks, percentiles and busy cores. */
#pragma once

#include <benchmark/benchmark.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <vector>

#include "benchmarks/Loopback.h"

inline int64_t readClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

/** The trace tells monotonic time, deadlines are of the wall clock. */
inline int64_t wallClockAhead() {
    return readClock(CLOCK_REALTIME) - readClock(CLOCK_MONOTONIC);
}

inline double percentile(const std::vector<int64_t>& sorted, double share) {
    return static_cast<double>(sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1))]);
}

/** The distances' median, 99th percentile and greatest, as the benchmark's counters. */
inline void tellDistances(benchmark::State& state, std::vector<int64_t> distances) {
    std::sort(distances.begin(), distances.end());
    state.counters["p50_us"] = percentile(distances, 0.5);
    state.counters["p99_us"] = percentile(distances, 0.99);
    state.counters["max_us"] = percentile(distances, 1.0);
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
