/* A stream of 30 frames of 1080p a second, as a host shows it: how old a frame is when the host has it, and
 * what share of a processor the helper takes. The lab tells when each frame was delivered, and the pattern
 * carries its number. */
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
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
constexpr int kRounds = 5;
constexpr int kFrames = 60;  // of a round: far fewer than the lab remembers the times of
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
        const e2e::Bytes handle = e2e::Message().int64(camera);
        std::memcpy(call_ + 2, handle.data(), handle.size());
        socket_ = connectTo(helper.port());
    }
    ~VideoBench() { close(socket_); }
    VideoBench(const VideoBench&) = delete;
    VideoBench& operator=(const VideoBench&) = delete;

    /** The number of the frame, as far as its red tells it. Without the tests' client, which checks and
     * copies. */
    int fetch() {
        send(socket_, call_, sizeof call_, 0);
        receiveAll(socket_, answer_.data(), answer_.size());
        return answer_[kHeaderSize + 2];
    }

    e2e::HelperProcess helper;
    e2e::LabClient lab;
    e2e::VideoCalls video;
    int64_t camera = 0;

private:
    static constexpr size_t kHeaderSize = 8;  // two headers and the count
    uint8_t call_[10] = {40, 10};
    std::vector<uint8_t> answer_ = std::vector<uint8_t>(kHeaderSize + size_t{4} * kWidth * kHeight);
    int socket_ = -1;
};

/** When the host had each new frame, by the number that its red tells. */
std::map<int, int64_t> watch(VideoBench& bench) {
    std::map<int, int64_t> seen;
    int last = bench.fetch();
    while (seen.size() < kFrames) {
        const int number = bench.fetch();
        if (number != last) seen.insert_or_assign(number, readClock(CLOCK_MONOTONIC));
        last = number;
    }
    return seen;
}

/** When the lab delivered them; the later ones lie over those of 256 frames before. */
std::map<int, int64_t> deliveries(VideoBench& bench) {
    std::map<int, int64_t> delivered;
    const e2e::Json device = bench.lab.device("video-1");
    for (const e2e::Json& time : device.at("frameTimes"))
        delivered[time.at(0).get<int>() % 256] = time.at(1).get<int64_t>();
    return delivered;
}

void BM_video_frame_age(benchmark::State& state) {
    for (auto _ : state) {
        VideoBench bench;
        std::vector<int64_t> ages;
        for (int round = 0; round < kRounds; ++round) {
            const std::map<int, int64_t> seen = watch(bench);
            const std::map<int, int64_t> delivered = deliveries(bench);
            for (const auto& [number, at] : seen) {
                const auto found = delivered.find(number);
                if (found != delivered.end() && found->second <= at) ages.push_back(at - found->second);
            }
        }
        require(!ages.empty(), "frames whose time is known");
        state.counters["frames"] = static_cast<double>(ages.size());
        state.counters["missed"] = bench.lab.device("video-1").at("missedFrames").get<double>();
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
