/* Large replies by the wire functions against the bare sends of the same bytes. */
#include <benchmark/benchmark.h>

#include <thread>
#include <vector>

#include "TarvoRemote/wire.h"
#include "benchmarks/Loopback.h"

namespace {

/** Takes so many bytes for each one that it says are ready. */
class Drain {
public:
    explicit Drain(int socket, size_t messageSize)
        : thread_([socket, messageSize] {
              std::vector<uint8_t> buffer(messageSize);
              const uint8_t done = 1;
              while (recv(socket, buffer.data(), messageSize, MSG_WAITALL) ==
                     static_cast<ssize_t>(messageSize)) {
                  send(socket, &done, 1, MSG_NOSIGNAL);
              }
          }) {}
    ~Drain() { thread_.join(); }
    Drain(const Drain&) = delete;
    Drain& operator=(const Drain&) = delete;

private:
    std::thread thread_;
};

template <class Send>
void replies(benchmark::State& state, size_t payload, Send sendReply) {
    Connection connection;
    {
        const Drain drain(connection.far, payload + 4);
        for (auto _ : state) {
            sendReply(connection.near);
            uint8_t done = 0;
            receiveAll(connection.near, &done, 1);
        }
        shutdown(connection.near, SHUT_RDWR);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(payload));
}

constexpr size_t kBytes = 1000000;
constexpr size_t kInts = 2000000;

void rawReplies(benchmark::State& state, size_t payload) {
    std::vector<uint8_t> data(payload, 7);
    const auto count = static_cast<int32_t>(payload);
    replies(state, payload, [&](int socket) {
        send(socket, &count, sizeof count, 0);
        send(socket, data.data(), data.size(), 0);
    });
}

void BM_byte_array_1MB_baseline(benchmark::State& state) {
    rawReplies(state, kBytes);
}

void BM_byte_array_1MB(benchmark::State& state) {
    std::vector<uint8_t> data(kBytes, 7);
    const ArrayRecord array = {kBytes, data.data()};
    replies(state, kBytes, [&](int socket) { writeByteArray(socket, &array); });
}

void BM_int_array_8MB_baseline(benchmark::State& state) {
    rawReplies(state, kInts * sizeof(int32_t));
}

void BM_int_array_8MB(benchmark::State& state) {
    std::vector<int32_t> data(kInts, 7);
    const ArrayRecord array = {kInts, data.data()};
    replies(state, kInts * sizeof(int32_t), [&](int socket) { writeIntArray(socket, &array); });
}

BENCHMARK(BM_byte_array_1MB_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_byte_array_1MB)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_int_array_8MB_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_int_array_8MB)->UseRealTime()->MinWarmUpTime(0.2);

}  // namespace
