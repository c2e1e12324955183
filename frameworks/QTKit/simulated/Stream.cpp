#include "frameworks/QTKit/simulated/Stream.h"

#include <algorithm>
#include <utility>

#include "lab/Threads.h"
#include "platform/CallScope.h"

namespace capture {

namespace {

using Seconds = std::chrono::duration<double>;

template <typename Duration>
auto clockTime(Duration duration) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(duration);
}

}  // namespace

Stream::Stream(Input& input, std::vector<std::unique_ptr<Feed>> feeds)
    : input_(Ref<Input>::share(&input)), feeds_(std::move(feeds)), camera_(input.ownDevice().camera()) {
    camera_->beginSession();
}

Stream::~Stream() {
    cancel();
}

void Stream::start() {
    lab::startThread("capture-frames", [self = shared_from_this()] { self->run(); });
}

void Stream::cancel() {
    {
        const std::lock_guard guard(mutex_);
        if (std::exchange(isCancelled_, true)) return;
    }
    changed_.notify_all();
    camera_->endSession();
}

void Stream::Schedule::setRate(double newFps, Clock::time_point now) {
    if (newFps == fps) return;
    fps = newFps;
    start = std::max(start, now);
    frames = 0;
}

Stream::Clock::time_point Stream::Schedule::next() const {
    return start + clockTime(Seconds(static_cast<double>(frames + 1) / fps));
}

uint64_t Stream::Schedule::advance(Clock::time_point now) {
    const uint64_t before = frames;
    frames = static_cast<uint64_t>(Seconds(now - start).count() * fps);
    // Rounding may put the time a hair before the frame that was waited for.
    if (frames <= before) frames = before + 1;
    return frames - before;
}

/** Until the next frame is due; false when the stream is cancelled first. */
bool Stream::wait(std::unique_lock<std::mutex>& lock, Schedule& schedule) {
    constexpr std::chrono::milliseconds kSilentRest{50};
    constexpr double kLeastFps = 0.001;  // so that a time between two frames can be told
    while (!isCancelled_) {
        const Clock::time_point now = Clock::now();
        schedule.setRate(camera_->fps(), now);
        if (schedule.fps < kLeastFps) {
            changed_.wait_until(lock, now + kSilentRest);
        } else if (now < schedule.next()) {
            changed_.wait_until(lock, schedule.next());
        } else {
            const uint64_t due = schedule.advance(now);
            if (due > 1) camera_->countMissed(due - 1);
            return true;
        }
    }
    return false;
}

void Stream::run() {
    Schedule schedule;
    schedule.start = Clock::now() + std::chrono::milliseconds(camera_->setup().startMs);
    std::unique_lock lock(mutex_);
    while (wait(lock, schedule)) {
        lock.unlock();
        deliver();
        lock.lock();
    }
}

void Stream::deliver() {
    const uint64_t number = camera_->nextFrame();
    bool isCounted = false;
    for (const std::unique_ptr<Feed>& feed : feeds_) {
        if (deliver(*feed, number, isCounted)) isCounted = true;
    }
    if (!isCounted) camera_->countMissed(1);
}

/** Painting takes its time, and happens before it is sure that the frame is wanted: once it is, nothing lies
 *  between that and the call. */
bool Stream::deliver(Feed& feed, uint64_t number, bool isCounted) {
    Output& output = feed.output();
    QTCaptureConnection* connection = input_->pictures();
    if (connection == nullptr || !output.slot().isReady()) return false;
    Frame* frame = feed.paint(number);
    if (frame == nullptr) return false;

    std::optional<Delivery> delivery;
    {
        const std::lock_guard guard(mutex_);
        if (isCancelled_) return false;
        delivery = output.slot().begin();
        if (!delivery) return false;
        if (!isCounted && !camera_->countFrame(device().link(), frame->format().size)) {
            output.slot().end();
            return false;
        }
    }
    const CallScope scope;
    delivery->delegate->captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(
        &output, frame, nullptr, connection);
    output.slot().end();
    return true;
}

}  // namespace capture
