/* The shortest call (is live view zoomed?) against a process that only echoes as many bytes in as many sends.
 */
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <csignal>

#include "benchmarks/Loopback.h"
#include "tests/e2e/support/helper_process.h"

namespace {

constexpr uint8_t kCall[] = {10, 19, 0, 0, 0, 0};
constexpr size_t kAnswerSize = 5;  // two headers of two bytes and the result: five sends of a byte

void roundTrips(benchmark::State& state, int port) {
    const int socket = connectTo(port);
    uint8_t answer[kAnswerSize];
    for (auto _ : state) {
        send(socket, kCall, sizeof kCall, 0);
        receiveAll(socket, answer, sizeof answer);
    }
    close(socket);
}

/** Reads and sends in the same portions as the helper does. */
[[noreturn]] void echoForever(int listener) {
    const int socket = accept(listener, nullptr, nullptr);
    sendWithoutDelay(socket);
    uint8_t call[sizeof kCall];
    for (;;) {
        for (const auto& [at, size] : {std::pair{0, 1}, std::pair{1, 1}, std::pair{2, 4}}) {
            if (recv(socket, call + at, static_cast<size_t>(size), MSG_WAITALL) != size) _exit(0);
        }
        for (size_t i = 0; i < kAnswerSize; ++i) {
            send(socket, call, 1, 0);
        }
    }
}

void BM_round_trip(benchmark::State& state) {
    const e2e::HelperProcess helper({});
    roundTrips(state, helper.port());
}

void BM_round_trip_baseline(benchmark::State& state) {
    const Listener listener = listenAnywhere();
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) echoForever(listener.socket);
    roundTrips(state, listener.port);
    close(listener.socket);
    waitpid(child, nullptr, 0);
}

BENCHMARK(BM_round_trip_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_round_trip)->UseRealTime()->MinWarmUpTime(0.2);

}  // namespace
