/* Video: the averaging loop against the bandwidth that it is bound by, and the fetch of a 1080p frame over
 * the socket against one copy and a raw send of the same bytes. */
#include <benchmark/benchmark.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "QTKitCapture/src/averaging.h"
#include "benchmarks/Loopback.h"
#include "tests/e2e/support/temp_folder.h"
#include "tests/e2e/support/video_fixture.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr size_t kPixels = size_t{kWidth} * kHeight;
constexpr size_t kFrameBytes = kPixels * sizeof(uint32_t);
// A word is read, and three sums are read and written.
constexpr size_t kTouchedBytes = kPixels * 28;

std::vector<uint32_t> noise(uint32_t seed) {
    std::vector<uint32_t> words(kPixels);
    std::mt19937 random(seed);
    for (uint32_t& word : words) {
        word = static_cast<uint32_t>(random());
    }
    return words;
}

void BM_averaging_1080p(benchmark::State& state) {
    const std::vector<uint32_t> words = noise(1);
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

/* ---- A whole average, beside another program's ---- */

constexpr int kAveragedFrames = 32;
constexpr int kDistinctFrames = 4;

void BM_average_of_32(benchmark::State& state) {
    std::vector<std::vector<uint32_t>> frames;
    for (int i = 0; i < kDistinctFrames; ++i) {
        frames.push_back(noise(static_cast<uint32_t>(i)));
    }
    std::vector<uint32_t> picture(kPixels);
    for (auto _ : state) {
        FrameSums sums;
        require(sums.allocate(kPixels), "sums");
        for (int i = 0; i < kAveragedFrames; ++i) {
            addFrame(sums, frames[static_cast<size_t>(i % kDistinctFrames)].data());
        }
        averageFrames(sums, kAveragedFrames, picture.data());
        benchmark::DoNotOptimize(picture.data());
    }
}

double secondsOf(const std::string& command) {
    const auto begin = std::chrono::steady_clock::now();
    require(std::system(command.c_str()) == 0, command.c_str());
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/** One mean of FFmpeg's filter over the same frames. The filter makes a mean of the last 32 for each frame
 * that it is given, so its time is divided by their number; what reading them and bringing them into its
 * format costs is taken off, by a run without the filter. */
void BM_average_of_32_baseline(benchmark::State& state) {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) return state.SkipWithError("there is no ffmpeg");
    constexpr int kMeans = 8;
    const e2e::TempFolder folder;
    const std::string path = folder.file("frames.raw");
    std::ofstream file(path, std::ios::binary);
    for (int i = 0; i < kDistinctFrames; ++i) {
        const std::vector<uint32_t> words = noise(static_cast<uint32_t>(i));
        file.write(reinterpret_cast<const char*>(words.data()), static_cast<std::streamsize>(kFrameBytes));
    }
    file.close();
    const std::string command =
        "ffmpeg -v error -f rawvideo -pixel_format bgra -video_size 1920x1080 -stream_loop " +
        std::to_string(kMeans / kDistinctFrames - 1) + " -i " + path + " -vf format=gbrp";
    const std::string nowhere = " -f null - </dev/null";
    for (auto _ : state) {
        const double without = secondsOf(command + nowhere);
        const double with = secondsOf(command + ",tmix=frames=" + std::to_string(kAveragedFrames) + nowhere);
        state.SetIterationTime(std::max(with - without, 1e-9) / kMeans);
    }
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
BENCHMARK(BM_average_of_32_baseline)->UseManualTime()->Iterations(2);
BENCHMARK(BM_average_of_32)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_video_frame_1080p_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_video_frame_1080p)->UseRealTime()->MinWarmUpTime(0.2);

}  // namespace
