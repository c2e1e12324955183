/* A stream of 30 frames of 1080p a second, as a host shows it: how old a frame is when the host has it, and
 * what share of a processor the helper takes. The lab tells when each frame was delivered, and the pattern
 * carries its number. */
#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <thread>
#include <utility>
#include <vector>

#include "benchmarks/Deadlines.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/video_fixture.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kFrames = 200;  // fewer than the lab remembers the times of
constexpr auto kSpan = std::chrono::seconds(10);

e2e::HelperOptions oneWebcam() {
    e2e::HelperOptions options;
    options.scenario =
        e2e::videoScenario({e2e::webcam({{"width", kWidth}, {"height", kHeight}, {"fps", 30}})});
    return options;
}

class VideoBench {
public:
    VideoBench() : helper(oneWebcam()), lab(helper.labSocket()), video(helper.port()) {
        camera = video.selectCamera(0);
        require(e2e::eventually([&] { return video.imageWidth(camera) == kWidth; }), "a frame");
    }
    VideoBench(const VideoBench&) = delete;
    VideoBench& operator=(const VideoBench&) = delete;

    /** The number of the frame, as far as its red tells it. */
    int fetch() {
        const e2e::Words words = video.imageData(camera);
        require(!words.empty(), "pixels");
        return static_cast<int>(words[0] >> 16 & 0xFF);
    }

    e2e::HelperProcess helper;
    e2e::LabClient lab;
    e2e::VideoCalls video;
    int64_t camera = 0;
};

/** When the host had each new frame, by the number that its red tells: at most 256, so none comes twice. */
std::map<int, int64_t> watch(VideoBench& bench) {
    std::map<int, int64_t> seen;
    int last = bench.fetch();
    while (seen.size() < kFrames) {
        const int number = bench.fetch();
        if (number != last) seen.emplace(number, readClock(CLOCK_MONOTONIC));
        last = number;
    }
    return seen;
}

void BM_video_frame_age(benchmark::State& state) {
    for (auto _ : state) {
        VideoBench bench;
        const std::map<int, int64_t> seen = watch(bench);
        std::map<int, int64_t> delivered;  // the later ones lie over those of 256 frames before
        const e2e::Json device = bench.lab.device("video-1");
        for (const e2e::Json& time : device.at("frameTimes"))
            delivered[time.at(0).get<int>() % 256] = time.at(1).get<int64_t>();
        std::vector<int64_t> ages;
        for (const auto& [number, at] : seen) {
            const auto found = delivered.find(number);
            if (found != delivered.end() && found->second <= at) ages.push_back(at - found->second);
        }
        require(ages.size() > kFrames / 2, "times of most frames");
        state.counters["frames"] = static_cast<double>(ages.size());
        state.counters["missed"] = device.at("missedFrames").get<double>();
        tellDistances(state, std::move(ages));
    }
}

/** Processor time over wall-clock time, in percent of one core. */
template <typename Host>
double shareOf(VideoBench& bench, Host host) {
    const auto begin = std::chrono::steady_clock::now();
    const auto before = bench.helper.processorTime();
    host(begin + kSpan);
    const std::chrono::duration<double> used = bench.helper.processorTime() - before;
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    return 100 * used.count() / passed.count();
}

/** Thirty fetches a second; beside it the same webcam that nobody fetches from, since the lab paints its
 * frames in the helper's process. */
void BM_video_stream_share(benchmark::State& state) {
    for (auto _ : state) {
        VideoBench bench;
        state.counters["painting_percent"] =
            shareOf(bench, [](auto end) { std::this_thread::sleep_until(end); });
        int fetches = 0;
        state.counters["fetching_percent"] = shareOf(bench, [&](auto end) {
            for (auto next = std::chrono::steady_clock::now(); next < end;
                 next += std::chrono::microseconds(33333)) {
                std::this_thread::sleep_until(next);
                bench.fetch();
                ++fetches;
            }
        });
        state.counters["fetches_a_second"] = fetches / std::chrono::duration<double>(kSpan).count();
    }
}

BENCHMARK(BM_video_frame_age)->UseRealTime()->Iterations(1);
BENCHMARK(BM_video_stream_share)->UseRealTime()->Iterations(1);

}  // namespace
