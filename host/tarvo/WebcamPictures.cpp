#include "host/tarvo/WebcamPictures.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>

#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/FrameFiles.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/Png.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

Clock::duration secondsOf(double seconds) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

bool isFile(const std::string& path) {
    struct stat there {};
    return ::stat(path.c_str(), &there) == 0 && S_ISREG(there.st_mode);
}

std::string aboutPicture(const VideoFrame& frame, const std::vector<uint8_t>& png) {
    return fmt::format("{} x {} pixels, {} bytes", frame.width, frame.height, png.size());
}

/** Takes frames and stores them until there are enough. */
class FrameTaker {
public:
    explicit FrameTaker(const WebcamLiveOptions& options)
        : options_(options), files_(options.target, ".png") {}

    int prepare() { return files_.prepare("webcam live", options_.frames); }
    int run(WebcamFrames& frames);

private:
    int store(const VideoFrame& frame);
    bool isEnough() const { return options_.frames != 0 && count_ == options_.frames; }
    bool isOver() const { return options_.seconds > 0 && Clock::now() >= end_; }

    const WebcamLiveOptions& options_;
    LiveFiles files_;
    Clock::time_point end_;
    int count_ = 0;
};

int FrameTaker::store(const VideoFrame& frame) {
    const auto png = encodePng(frame, PngEffort::fast);
    if (!png.ok()) return report(png.error);
    return files_.store(count_ + 1, png.value, aboutPicture(frame, png.value));
}

int FrameTaker::run(WebcamFrames& frames) {
    const auto begin = Clock::now();
    end_ = begin + secondsOf(options_.seconds);
    auto next = begin;
    int status = kExitOk;
    while (!isEnough() && !isOver()) {
        VideoFrame frame;
        status = frames.next(frame);
        if (status == kExitOk) status = store(frame);
        if (status != kExitOk) break;
        ++count_;
        if (options_.fps <= 0 || isEnough()) continue;
        next = std::max(next + secondsOf(1 / options_.fps), Clock::now() - 1s);
        if (interrupt::pauseUntil(options_.seconds > 0 ? std::min(next, end_) : next)) break;
    }
    if (status != kExitOk && status != kExitInterrupted) return status;
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    note("{} frames in {:.1f} s, {:.1f} a second", count_, seconds, seconds > 0 ? count_ / seconds : 0.0);
    const bool isComplete = options_.frames == 0 || isEnough() || isOver();
    return isComplete ? kExitOk : kExitInterrupted;
}

}  // namespace

int prepareWebcam(WebcamAccess& access, WebcamFrames& frames, const CommonOptions& common,
                  const WebcamSetup& setup) {
    const auto settings = parseWebcamAssignments(setup.assignments);
    if (!settings) return kExitUsage;
    if (const int status = access.open(common); status != kExitOk) return status;
    if (const int status = setWebcamSettings(access.webcam(), *settings); status != kExitOk) return status;
    if (const int status = frames.start(setup.size); status != kExitOk) return status;
    return interrupt::pauseUntil(Clock::now() + secondsOf(setup.settle)) ? kExitInterrupted : kExitOk;
}

int storePng(const VideoFrame& frame, const std::string& path, bool mayOverwrite) {
    const auto png = encodePng(frame, PngEffort::thorough);
    if (!png.ok()) return report(png.error);
    if (auto error = FrameFiles::writeAtomically(path, png.value, mayOverwrite)) return report(error);
    say("{}  {}", path, aboutPicture(frame, png.value));
    return kExitOk;
}

int runWebcamStill(const CommonOptions& common, const WebcamStillOptions& options) {
    if (!options.isForced && isFile(options.output)) {
        complain("{} exists. Choose another --output, or --force to replace it", options.output);
        return kExitFiles;
    }
    WebcamAccess access;
    WebcamFrames frames(access.webcam(), access.events());
    if (const int status = prepareWebcam(access, frames, common, options.setup); status != kExitOk)
        return status;
    VideoFrame picture;
    if (const int status = frames.capture(options.frames, picture); status != kExitOk) return status;
    return storePng(picture, options.output, options.isForced);
}

int runWebcamLive(const CommonOptions& common, const WebcamLiveOptions& options) {
    FrameTaker taker(options);
    if (const int status = taker.prepare(); status != kExitOk) return status;
    WebcamAccess access;
    WebcamFrames frames(access.webcam(), access.events());
    if (const int status = prepareWebcam(access, frames, common, options.setup); status != kExitOk)
        return status;
    return taker.run(frames);
}

}  // namespace tarvo
