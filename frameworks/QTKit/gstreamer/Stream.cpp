#include "frameworks/QTKit/gstreamer/Stream.h"

#include <cmath>
#include <new>
#include <system_error>
#include <utility>

#include "frameworks/QTKit/gstreamer/Errors.h"
#include "frameworks/QTKit/gstreamer/Session.h"
#include "frameworks/QTKit/gstreamer/Threads.h"
#include "platform/CallScope.h"

namespace capture {

namespace {

/** Both sides, or none: half a size, or an impossible one, is none. */
std::optional<FrameSize> askedSize(const PixelBufferAttributes& attributes) {
    constexpr double kMostSide = 16384;
    if (!attributes.width || !attributes.height) return std::nullopt;
    const double width = std::round(*attributes.width);
    const double height = std::round(*attributes.height);
    // Written so that a side that is no number fails.
    const bool isPossible = width >= 1 && height >= 1 && width <= kMostSide && height <= kMostSide;
    if (!isPossible) return std::nullopt;
    return FrameSize{static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

Failure silence(std::chrono::milliseconds limit) {
    return {QTErrorDeviceWasDisconnected, "No frame came for " + std::to_string(limit.count()) + " ms."};
}

}  // namespace

Patience& patience() {
    static Patience current;
    return current;
}

Stream::Stream(Session& session, Input& input, Output& output)
    : input_(Ref<Input>::share(&input)),
      output_(Ref<Output>::share(&output)),
      size_(askedSize(output.attributes())),
      patience_(patience()),
      session_(&session) {}

Stream::~Stream() = default;

void Stream::start() {
    startThread("capture-frames", [self = shared_from_this()] { self->run(); });
}

void Stream::cancel() {
    std::shared_ptr<Source> source;
    Ref<CVImageBuffer> outdated;
    {
        const std::lock_guard guard(mutex_);
        if (isCancelled_) return;
        isCancelled_ = true;
        session_ = nullptr;
        source = source_;
        std::swap(outdated, newest_);
    }
    changed_.notify_all();
    input_->ownDevice().seat().wake();
    if (source) source->stop();
}

void Stream::frameArrived(Ref<CVImageBuffer> frame) {
    {
        const std::lock_guard guard(mutex_);
        if (isCancelled_) return;
        std::swap(newest_, frame);
        deadline_ = Clock::now() + patience_.nextFrame;
        hasFrames_ = true;
    }
    changed_.notify_all();
}

void Stream::streamFailed(const Failure& failure) {
    {
        const std::lock_guard guard(mutex_);
        try {
            failure_ = failure;
        } catch (const std::bad_alloc&) {
            failure_ = Failure{failure.code};
        }
    }
    changed_.notify_all();
}

void Stream::streamEnded() {
    input_->ownDevice().seat().leave();
}

void Stream::run() {
    Failure failure;
    try {
        failure = streamFrames();
    } catch (const std::bad_alloc&) {
        failure = {kErrorNoResources};
    } catch (const std::system_error&) {
        failure = {kErrorNoResources};
    }
    if (failure) tell(failure);
}

Failure Stream::streamFrames() {
    if (Failure failure = openSource()) return failure;
    for (;;) {
        Ref<CVImageBuffer> frame;
        if (const std::optional<Failure> end = wait(frame)) return *end;
        deliver(*frame);
    }
}

/** No failure when it is cancelled meanwhile: the wait that follows notices. */
Failure Stream::openSource() {
    Device& device = input_->ownDevice();
    if (!device.seat().enter(isCancelled_, patience_.seat)) {
        if (isCancelled_) return {};
        return {kErrorDeviceBusy, "Another session streams from it."};
    }
    std::shared_ptr<Source> source;
    try {
        source = device.camera()->start(size_, shared_from_this());
    } catch (...) {
        device.seat().leave();
        throw;
    }
    {
        const std::lock_guard guard(mutex_);
        source_ = source;
        if (!hasFrames_) deadline_ = Clock::now() + patience_.firstFrame;
        if (!isCancelled_) return {};
    }
    source->stop();
    return {};
}

/** A frame, or what ends the stream; that is no failure when it was cancelled. */
std::optional<Failure> Stream::wait(Ref<CVImageBuffer>& frame) {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (isCancelled_) return Failure{};
        if (newest_) {
            std::swap(frame, newest_);
            return std::nullopt;
        }
        if (failure_) return failure_;
        if (Clock::now() >= deadline_)
            return silence(hasFrames_ ? patience_.nextFrame : patience_.firstFrame);
        changed_.wait_until(lock, deadline_);
    }
}

void Stream::deliver(CVImageBuffer& frame) {
    QTCaptureConnection* connection = input_->pictures();
    if (connection == nullptr) return;
    std::optional<Delivery> delivery;
    {
        // Whoever cancels knows that no delivery begins afterwards.
        const std::lock_guard guard(mutex_);
        if (isCancelled_) return;
        delivery = output_->slot().begin();
    }
    if (!delivery) return;
    const CallScope scope;
    delivery->delegate->captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(
        output_.get(), &frame, nullptr, connection);
    output_->slot().end();
}

/** The session, if it is still there and still wants to hear of this stream. */
Ref<Session> Stream::giveUp() {
    const std::lock_guard guard(mutex_);
    if (session_ == nullptr || !session_->retainIfAlive()) return {};
    return Ref<Session>::adopt(session_);
}

void Stream::tell(const Failure& failure) {
    const Ref<Session> session = giveUp();
    cancel();
    if (!session || !session->abandon(*this)) return;
    const CallScope scope;
    postRuntimeError(*session, failure);
}

}  // namespace capture
