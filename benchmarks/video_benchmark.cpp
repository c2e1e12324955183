/* Video: the averaging loop against the bandwidth that it is bound by, and the fetch of a 1080p frame over
 * the socket against one copy and a raw send of the same bytes. */
#include <benchmark/benchmark.h>
#include <sys/wait.h>

#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "QTKitCapture/src/averaging.h"
#include "benchmarks/Loopback.h"
#include "tests/e2e/support/video_fixture.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr size_t kPixels = size_t{kWidth} * kHeight;
constexpr size_t kFrameBytes = kPixels * sizeof(uint32_t);
// A word is read, and three sums are read and written.
constexpr size_t kTouchedBytes = kPixels * 28;

void BM_averaging_1080p(benchmark::State& state) {
    std::vector<uint32_t> words(kPixels);
    std::mt19937 random(1);
    for (uint32_t& word : words) {
        word = static_cast<uint32_t>(random());
    }
    FrameSums sums;
    require(sums.allocate(kPixels), "sums");
    for (auto _ : state) {
        addFrame(sums, words.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kTouchedBytes));
}

/** A copy touches every byte twice, so that one of half as many takes as much of the bus. */
void BM_averaging_1080p_baseline(benchmark::State& state) {
    const std::vector<uint8_t> from(kTouchedBytes / 2, 1);
    std::vector<uint8_t> to(from.size(), 2);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kTouchedBytes));
}

/* ---- The fetch ---- */

constexpr size_t kCallSize = 10;
constexpr size_t kAnswerSize = 8 + kFrameBytes;

void fetches(benchmark::State& state, int port, const uint8_t (&call)[kCallSize]) {
    const int socket = connectTo(port);
    std::vector<uint8_t> answer(kAnswerSize);
    for (auto _ : state) {
        send(socket, call, sizeof call, 0);
        receiveAll(socket, answer.data(), answer.size());
    }
    close(socket);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFrameBytes));
}

void BM_video_frame_1080p(benchmark::State& state) {
    e2e::HelperOptions options;
    // Few frames a second: painting them is the lab's work, not the helper's.
    options.scenario =
        e2e::videoScenario({e2e::webcam({{"width", kWidth}, {"height", kHeight}, {"fps", 2}})});
    e2e::HelperProcess helper(options);
    e2e::VideoCalls video(helper.port());
    const int64_t camera = video.selectCamera(0);
    require(e2e::eventually([&] { return video.imageWidth(camera) == kWidth; }), "a frame");
    uint8_t call[kCallSize] = {40, 10};
    const e2e::Bytes handle = e2e::Message().int64(camera);
    std::memcpy(call + 2, handle.data(), handle.size());
    fetches(state, helper.port(), call);
}

/** Reads and sends in the same portions as the helper does, and copies the frame once. */
[[noreturn]] void serveCopies(int listener) {
    const int socket = accept(listener, nullptr, nullptr);
    sendWithoutDelay(socket);
    const std::vector<uint8_t> frame(kFrameBytes, 7);
    std::vector<uint8_t> array(kFrameBytes);
    uint8_t call[kCallSize];
    for (;;) {
        for (const auto& [at, size] : {std::pair{0, 1}, std::pair{1, 1}, std::pair{2, 8}}) {
            if (recv(socket, call + at, static_cast<size_t>(size), MSG_WAITALL) != size) _exit(0);
        }
        for (int i = 0; i < 2; ++i) {
            send(socket, call, 1, 0);
        }
        std::memcpy(array.data(), frame.data(), kFrameBytes);
        for (int i = 0; i < 2; ++i) {
            send(socket, call, 1, 0);
        }
        const auto count = static_cast<int32_t>(kPixels);
        send(socket, &count, sizeof count, 0);
        send(socket, array.data(), array.size(), 0);
    }
}

void BM_video_frame_1080p_baseline(benchmark::State& state) {
    const Listener listener = listenAnywhere();
    const pid_t child = fork();
    require(child >= 0, "fork");
    if (child == 0) serveCopies(listener.socket);
    fetches(state, listener.port, {40, 10});
    close(listener.socket);
    waitpid(child, nullptr, 0);
}

BENCHMARK(BM_averaging_1080p_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_averaging_1080p)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_video_frame_1080p_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_video_frame_1080p)->UseRealTime()->MinWarmUpTime(0.2);

}  // namespace
