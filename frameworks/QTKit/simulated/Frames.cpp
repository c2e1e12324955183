#include "frameworks/QTKit/simulated/Frames.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace capture {

namespace {

constexpr uint8_t kSurplusByte = 0xEE;
/** More pictures than that were kept by somebody who kept many; they go when they come back. */
constexpr size_t kUsualFrames = 8;

}  // namespace

Frame::Frame(const Format& format)
    : format_(format),
      pixels_(std::make_unique_for_overwrite<uint8_t[]>(std::max<size_t>(format.dataSize(), 1))) {
    // Painters write pixels only, so what lies between rows is filled once.
    std::memset(pixels_.get(), kSurplusByte, format.dataSize());
}

CVReturn Frame::lockBaseAddress() {
    ++locks_;
    return kCVReturnSuccess;
}

void Frame::unlockBaseAddress() {
    int32_t locks = locks_;
    while (locks > 0 && !locks_.compare_exchange_weak(locks, locks - 1)) {
    }
}

const void* Frame::baseAddress() const {
    return locks_ > 0 ? pixels_.get() : nullptr;
}

bool Frame::isIdle() const {
    if (retainCount() != 1) return false;
    // Looking at the count orders nothing. Giving a reference back does: whatever the last other holder read
    // comes before what the caller writes next.
    retain();
    release();
    return true;
}

Frame* FramePool::take() {
    if (frames_.size() > kUsualFrames && frames_.back()->isIdle()) frames_.pop_back();
    for (const Ref<Frame>& frame : frames_) {
        if (frame->isIdle()) return frame.get();
    }
    try {
        frames_.push_back(Ref<Frame>::adopt(new Frame(format_)));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return frames_.back().get();
}

}  // namespace capture
