/* Capture: from a webcam's 1080p frame to BGRA through the elements that the hardware set uses, from the
 * frame's arrival to its delivery, beside ffmpeg on the same frames. */
#include <benchmark/benchmark.h>
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "benchmarks/Loopback.h"
#include "frameworks/QTKit/gstreamer/Elements.h"
#include "frameworks/QTKit/gstreamer/Frame.h"
#include "tests/e2e/support/temp_folder.h"

namespace {

using capture::Coding;
using Frames = std::vector<e2e::Bytes>;

constexpr int kDistinctFrames = 8;
constexpr int kRounds = 8;
constexpr size_t kYuyvBytes = size_t{1920} * 1080 * 2;

/** A moving picture with a sensor's noise, as webcams code it. */
class Recording {
public:
    explicit Recording(Coding coding) : coding_(coding) {
        const std::string source =
            "ffmpeg -v error -f lavfi -i testsrc2=size=1920x1080:rate=30 -vf noise=alls=12:allf=t "
            "-frames:v " +
            std::to_string(kDistinctFrames);
        const std::string format = coding == Coding::Raw
                                       ? " -pix_fmt yuyv422 -f rawvideo " + path()
                                       : " -pix_fmt yuvj422p -q:v 4 " + folder_.file("%d.jpg");
        require(std::system((source + format + " </dev/null").c_str()) == 0, "ffmpeg");
        if (coding == Coding::Raw) {
            const e2e::Bytes all = e2e::readFile(path());
            for (auto at = all.begin(); at != all.end(); at += kYuyvBytes)
                frames_.emplace_back(at, at + kYuyvBytes);
            return;
        }
        e2e::Bytes all;
        for (int i = 1; i <= kDistinctFrames; ++i) {
            frames_.push_back(e2e::readFile(folder_.file(std::to_string(i) + ".jpg")));
            all.insert(all.end(), frames_.back().begin(), frames_.back().end());
        }
        e2e::writeFile(path(), all);
    }

    Coding coding() const { return coding_; }
    const Frames& frames() const { return frames_; }
    /** What ffmpeg is told to read. */
    std::string input() const {
        const std::string format =
            coding_ == Coding::Raw ? " -f rawvideo -pixel_format yuyv422 -video_size 1920x1080" : " -f mjpeg";
        return format + " -stream_loop " + std::to_string(kRounds - 1) + " -i " + path();
    }

private:
    std::string path() const { return folder_.file("frames"); }

    const Coding coding_;
    const e2e::TempFolder folder_;
    Frames frames_;
};

/** A pipeline as a session has it, with the program in the webcam's place. */
class Conversion {
public:
    explicit Conversion(const Recording& recording) : recording_(recording) {
        gst_init(nullptr, nullptr);
        source_ = gst_element_factory_make("appsrc", nullptr);
        const capture::Choice choice{recording.coding(), recording.coding() == Coding::Raw ? "YUY2" : "",
                                     capture::FrameSize{1920, 1080}, false};
        const auto caps = capture::capsOf(choice);
        gst_caps_set_simple(caps.get(), "framerate", GST_TYPE_FRACTION, 30, 1, nullptr);
        g_object_set(source_, "caps", caps.get(), "format", GST_FORMAT_TIME, "is-live", TRUE, "do-timestamp",
                     TRUE, nullptr);
        require(!capture::makeElements(source_, choice, std::nullopt, elements_), "elements");
        GstAppSinkCallbacks callbacks{};
        callbacks.new_sample = take;
        gst_app_sink_set_callbacks(GST_APP_SINK(elements_.sink), &callbacks, this, nullptr);
        gst_element_set_state(elements_.pipeline.get(), GST_STATE_PLAYING);
    }
    ~Conversion() { gst_element_set_state(elements_.pipeline.get(), GST_STATE_NULL); }
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    void convert(size_t number) {
        const e2e::Bytes& frame = recording_.frames()[number % kDistinctFrames];
        auto* const bytes = const_cast<uint8_t*>(frame.data());
        gst_app_src_push_buffer(GST_APP_SRC(source_),
                                gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, bytes, frame.size(), 0,
                                                            frame.size(), nullptr, nullptr));
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [&] { return newest_; });
        newest_ = {};
    }

private:
    static GstFlowReturn take(GstAppSink* sink, gpointer user) {
        auto& self = *static_cast<Conversion*>(user);
        const capture::Held<GstSample> sample(gst_app_sink_pull_sample(sink));
        const std::lock_guard guard(self.mutex_);
        self.newest_ = capture::Frame::of(*sample);
        self.arrived_.notify_one();
        return GST_FLOW_OK;
    }

    const Recording& recording_;
    GstElement* source_ = nullptr;
    capture::Elements elements_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    Ref<CVImageBuffer> newest_;  // guarded by mutex_
};

void convert(benchmark::State& state, Coding coding) {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) return state.SkipWithError("there is no ffmpeg");
    const Recording recording(coding);
    Conversion conversion(recording);
    size_t number = 0;
    for (auto _ : state)
        conversion.convert(number++);
}

double secondsOf(const std::string& command) {
    const auto begin = std::chrono::steady_clock::now();
    require(std::system(command.c_str()) == 0, command.c_str());
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/** What ffmpeg takes for a frame more, all its threads at work; its start and its reading are taken off by a
 * run that only reads. */
void convertByFfmpeg(benchmark::State& state, Coding coding) {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) return state.SkipWithError("there is no ffmpeg");
    const Recording recording(coding);
    const std::string command = "ffmpeg -v error" + recording.input();
    const std::string nowhere = " -f null - </dev/null";
    for (auto _ : state) {
        const double reading = secondsOf(command + " -c copy" + nowhere);
        const double all = secondsOf(command + " -pix_fmt bgra" + nowhere);
        state.SetIterationTime(std::max(all - reading, 1e-9) / (kDistinctFrames * kRounds));
    }
}

void BM_yuyv_1080p(benchmark::State& state) {
    convert(state, Coding::Raw);
}
void BM_yuyv_1080p_baseline(benchmark::State& state) {
    convertByFfmpeg(state, Coding::Raw);
}
void BM_mjpeg_1080p(benchmark::State& state) {
    convert(state, Coding::Jpeg);
}
void BM_mjpeg_1080p_baseline(benchmark::State& state) {
    convertByFfmpeg(state, Coding::Jpeg);
}

BENCHMARK(BM_yuyv_1080p_baseline)->UseManualTime()->Iterations(2);
BENCHMARK(BM_yuyv_1080p)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_mjpeg_1080p_baseline)->UseManualTime()->Iterations(2);
BENCHMARK(BM_mjpeg_1080p)->UseRealTime()->MinWarmUpTime(0.2);

}  // namespace
