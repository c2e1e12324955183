#include "host/tarvo/WebcamFrames.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include "host/client/protocol.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

constexpr auto kFirstFrameLimit = 15s;
constexpr auto kSizeLimit = 10s;
constexpr auto kSameFrameLimit = 500ms;
constexpr auto kDoubtLimit = 3s;
constexpr auto kRetry = 5ms;
constexpr auto kEventPoll = 50ms;
// One frame may have been on its way when the webcam was unplugged.
constexpr int kFramesThatProve = 2;

bool isGoneEvent(const Event& event) {
    const auto* status = std::get_if<StatusEvent>(&event);
    return status != nullptr && status->module == kModuleVideo && status->value == kVideoStatusGone;
}

void showProgress(const Event& event, int32_t frames) {
    const auto* progress = std::get_if<ProgressEvent>(&event);
    if (progress != nullptr && progress->module == kModuleVideo)
        console::showProgress(fmt::format("{} frames", frames), progress->percent);
}

}  // namespace

int WebcamFrames::complainOfLoss() const {
    if (taken_ > 0) {
        complain("'{}' was unplugged after {} frames", webcam_.name(), taken_);
    } else {
        complain("'{}' was unplugged", webcam_.name());
    }
    return kExitFailed;
}

bool WebcamFrames::isLost(const Event* event) {
    if (event != nullptr && isGoneEvent(*event)) doubts_ = kFramesThatProve;
    return doubts_ > 0 && !webcam_.isStillListed();
}

int WebcamFrames::takeEvents() {
    Event event;
    while (events_.tryNext(event)) {
        if (isLost(&event)) return complainOfLoss();
    }
    if (isLost(nullptr)) return complainOfLoss();
    return interrupt::isRequested() ? kExitInterrupted : kExitOk;
}

int WebcamFrames::wait(VideoFrame& frame) {
    const auto begin = Clock::now();
    for (;;) {
        auto fetched = webcam_.client().fetchFrame(webcam_.camera());
        if (!fetched.ok()) return report(fetched.error);
        if (const int status = takeEvents(); status != kExitOk) return status;
        const auto waited = Clock::now() - begin;
        const bool isNew = !fetched.value.isEmpty() && fetched.value != last_;
        if (isNew && doubts_ > 0) --doubts_;
        if (isNew || (!fetched.value.isEmpty() && doubts_ == 0 && waited >= kSameFrameLimit)) {
            frame = std::move(fetched.value);
            return kExitOk;
        }
        if (doubts_ > 0 && waited >= kDoubtLimit) return complainOfLoss();
        if (waited >= kFirstFrameLimit) {
            complain("'{}' delivers no frames. Close other programs that use it, or plug it in again",
                     webcam_.name());
            return kExitTimeout;
        }
        if (interrupt::pauseUntil(Clock::now() + kRetry)) return kExitInterrupted;
    }
}

int WebcamFrames::start(const FrameSize& size) {
    if (size.width > 0) {
        const auto error = webcam_.client().setImageDimensions(webcam_.camera(), size.width, size.height);
        if (error) return report(error);
    }
    const auto begin = Clock::now();
    for (;;) {
        if (const int status = wait(last_); status != kExitOk) return status;
        if (size.width == 0 || (last_.width == size.width && last_.height == size.height)) return kExitOk;
        if (Clock::now() - begin < kSizeLimit) continue;
        complain("'{}' delivers {} x {} pixels, not {} x {}", webcam_.name(), last_.width, last_.height,
                 size.width, size.height);
        return kExitFailed;
    }
}

int WebcamFrames::next(VideoFrame& frame) {
    if (const int status = wait(frame); status != kExitOk) return status;
    last_ = frame;
    ++taken_;
    return kExitOk;
}

int WebcamFrames::takeAverage(int32_t frames, VideoFrame& picture) {
    Result<VideoFrame> result;
    std::atomic<bool> isDone{false};
    std::thread caller([&, camera = webcam_.camera()] {
        result = webcam_.client().captureFrame(camera, frames, last_.width, last_.height);
        isDone = true;
    });
    int status = kExitOk;
    while (!isDone) {
        const auto event = events_.next(kEventPoll, status == kExitOk ? interrupt::fd() : -1);
        if (status != kExitOk) continue;
        if (event.error.failure == Failure::interrupted) status = kExitInterrupted;
        if (isLost(event.ok() ? &event.value : nullptr)) status = kExitFailed;
        if (status != kExitOk) webcam_.cutShort();
        if (event.ok()) showProgress(event.value, frames);
    }
    caller.join();
    if (status == kExitFailed) return complainOfLoss();
    if (status != kExitOk) return status;
    if (!result.ok()) return report(result.error);
    picture = std::move(result.value);
    return kExitOk;
}

int WebcamFrames::settleDoubt() {
    if (const int status = takeEvents(); status != kExitOk) return status;
    VideoFrame ignored;
    while (doubts_ > 0) {
        if (const int status = wait(ignored); status != kExitOk) return status;
        last_ = ignored;
    }
    return kExitOk;
}

int WebcamFrames::capture(int32_t frames, VideoFrame& picture) {
    const int64_t pixels = int64_t{last_.width} * last_.height;
    if (pixels < kFewestStillPixels) {
        complain("a still has {} pixels at least; '{}' delivers {} x {}", kFewestStillPixels, webcam_.name(),
                 last_.width, last_.height);
        return kExitFailed;
    }
    if (const int status = takeAverage(frames, picture); status != kExitOk) return status;
    // The helper makes pictures of the last frame when no new one comes, so only now it is known what of.
    if (const int status = settleDoubt(); status != kExitOk) return status;
    if (picture.isEmpty()) {
        complain("'{}' gave no picture", webcam_.name());
        return kExitFailed;
    }
    if (frames > 1) console::showProgress(fmt::format("{} frames", frames), 100);
    return kExitOk;
}

}  // namespace tarvo
