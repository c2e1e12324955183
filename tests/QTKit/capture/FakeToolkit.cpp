#include "tests/QTKit/capture/FakeToolkit.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

namespace test {

using capture::Failure;
using capture::FrameSize;
using capture::Reservation;
using capture::Source;
using capture::StreamListener;

namespace {

struct Plugged {
    std::mutex mutex;
    std::vector<FakeCameraRef> cameras;  // guarded by mutex, as below
    bool canTell = true;
};
Plugged& plugged() {
    static Plugged all;
    return all;
}

class FakeReservation final : public Reservation {
public:
    explicit FakeReservation(FakeCameraRef camera) : camera_(std::move(camera)) { ++camera_->reservations; }
    ~FakeReservation() override { --camera_->reservations; }

private:
    const FakeCameraRef camera_;
};

bool list(std::vector<capture::CameraRef>& out) {
    const std::lock_guard guard(plugged().mutex);
    out.assign(plugged().cameras.begin(), plugged().cameras.end());
    return plugged().canTell;
}

}  // namespace

class FakeSource final : public Source {
public:
    void stop() override { isStopped_ = true; }

    void run(FakeCamera& camera, const std::shared_ptr<StreamListener>& listener) {
        camera.mostStreams = std::max<int>(++camera.streams, camera.mostStreams);
        while (!isStopped_) {
            std::this_thread::sleep_for(std::chrono::microseconds(300));
            if (const Failure failure = takeFailure(camera)) {
                listener->streamFailed(failure);
                break;
            }
            if (camera.isSilent) continue;
            if (Ref<CVImageBuffer> frame = nextFrame(camera)) listener->frameArrived(std::move(frame));
            ++camera.frames;
        }
        while (camera.isStuck)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        --camera.streams;
        listener->streamEnded();
    }

private:
    static Ref<CVImageBuffer> nextFrame(FakeCamera& camera) {
        const std::lock_guard guard(camera.mutex_);
        if (camera.makeFrame_) return camera.makeFrame_();
        return Ref<CVImageBuffer>::adopt(new (std::nothrow) NumberedFrame(camera.frames + 1));
    }
    static Failure takeFailure(FakeCamera& camera) {
        const std::lock_guard guard(camera.mutex_);
        return std::exchange(camera.failure_, {});
    }

    std::atomic<bool> isStopped_{false};
};

std::atomic<int> NumberedFrame::living{0};

NumberedFrame::NumberedFrame(uint64_t number) : pixels_{number} {
    ++living;
}

NumberedFrame::~NumberedFrame() {
    --living;
}

uint64_t NumberedFrame::numberOf(CVImageBuffer& frame) {
    return *static_cast<const uint64_t*>(frame.baseAddress());
}

FakeCamera::~FakeCamera() {
    for (std::thread& thread : threads_)
        thread.join();
}

Failure FakeCamera::reserve(bool isStreamingHere, std::unique_ptr<Reservation>& out) {
    const std::lock_guard guard(mutex_);
    wasStreamingHere_ = isStreamingHere;
    if (refusal_) return refusal_;
    out = std::make_unique<FakeReservation>(shared_from_this());
    return {};
}

std::shared_ptr<Source> FakeCamera::start(std::optional<FrameSize> size,
                                          std::shared_ptr<StreamListener> listener) {
    const std::lock_guard guard(mutex_);
    lastSize_ = size;
    if (nextStart_) std::exchange(nextStart_, nullptr)();
    auto source = std::make_shared<FakeSource>();
    threads_.reserve(threads_.size() + 1);
    ++threadsUnderway;
    try {
        threads_.emplace_back([this, source, moved = std::move(listener)]() mutable {
            source->run(*this, moved);
            moved = nullptr;
            --threadsUnderway;
        });
    } catch (...) {
        --threadsUnderway;
        throw;
    }
    ++starts;
    return source;
}

void FakeCamera::fail(const Failure& failure) {
    const std::lock_guard guard(mutex_);
    failure_ = failure;
}

bool FakeCamera::hasFailed() const {
    const std::lock_guard guard(mutex_);
    return !failure_;
}

void FakeCamera::refuseToOpen(const Failure& failure) {
    const std::lock_guard guard(mutex_);
    refusal_ = failure;
}

void FakeCamera::setFrames(std::function<Ref<CVImageBuffer>()> make) {
    const std::lock_guard guard(mutex_);
    makeFrame_ = std::move(make);
}

void FakeCamera::setNextStart(std::function<void()> action) {
    const std::lock_guard guard(mutex_);
    nextStart_ = std::move(action);
}

bool FakeCamera::wasStreamingHere() const {
    const std::lock_guard guard(mutex_);
    return wasStreamingHere_;
}

std::optional<FrameSize> FakeCamera::lastSize() const {
    const std::lock_guard guard(mutex_);
    return lastSize_;
}

void setCameras(const std::vector<FakeCameraRef>& cameras, bool canTell) {
    std::vector<FakeCameraRef> before = cameras;
    const std::lock_guard guard(plugged().mutex);
    plugged().cameras.swap(before);
    plugged().canTell = canTell;
}

}  // namespace test

namespace capture {

const Toolkit* toolkit() {
    static constexpr Toolkit fake = {test::list};
    return &fake;
}

}  // namespace capture
