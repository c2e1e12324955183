/* Events from four threads at once on one callback socket, against the same sends under a bare mutex. */
#include <benchmark/benchmark.h>

#include <mutex>
#include <thread>
#include <vector>

#include "TarvoRemote/callback.h"
#include "benchmarks/Loopback.h"

namespace {

constexpr int kSenders = 4;
constexpr int kMessagesEach = 5000;
constexpr size_t kMessageSize = 18;  // a state event: byte, marker, byte, three ints

/** Counts the messages whose three ints do not belong together. */
int64_t readMessages(int socket) {
    int64_t mixed = 0;
    uint8_t message[kMessageSize];
    for (int i = 0; i < kSenders * kMessagesEach; ++i) {
        receiveAll(socket, message, sizeof message);
        const bool isWhole = message[0] == 10 && message[5] == EVENT_STATE && message[10] == message[6] &&
                             message[14] == message[6];
        mixed += isWhole ? 0 : 1;
    }
    return mixed;
}

template <class SendOne>
void messages(benchmark::State& state, SendOne sendOne) {
    Connection connection;
    int64_t mixed = 0;
    for (auto _ : state) {
        std::vector<std::thread> senders;
        for (int32_t sender = 0; sender < kSenders; ++sender) {
            senders.emplace_back([&, sender] {
                for (int i = 0; i < kMessagesEach; ++i) {
                    sendOne(connection.near, sender);
                }
            });
        }
        mixed += readMessages(connection.far);
        for (std::thread& sender : senders) {
            sender.join();
        }
    }
    state.counters["mixed"] = static_cast<double>(mixed);
    state.SetItemsProcessed(state.iterations() * kSenders * kMessagesEach);
}

void BM_callback_baseline(benchmark::State& state) {
    std::mutex lock;
    messages(state, [&lock](int socket, int32_t sender) {
        const uint8_t head[] = {10, EVENT_STATE};
        const int32_t marker = CALLBACK_MARKER;
        const std::lock_guard guard(lock);
        send(socket, head, 1, 0);
        send(socket, &marker, sizeof marker, 0);
        send(socket, head + 1, 1, 0);
        for (int i = 0; i < 3; ++i) {
            send(socket, &sender, sizeof sender, 0);
        }
    });
}

void BM_callback(benchmark::State& state) {
    initTarvoRemote();
    messages(state, [](int socket, int32_t sender) {
        if (getCallbackSocket() != socket) setCallbackSocket(socket);
        sendCallback(10, EVENT_STATE, {sender, sender, sender});
    });
    setCallbackSocket(0);
}

BENCHMARK(BM_callback_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_callback)->UseRealTime()->MinWarmUpTime(0.2);

}  // namespace
