#include "frameworks/QTKit/simulated/Frames.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "lab/Call.h"

namespace capture {

namespace {

constexpr uint8_t kSurplusByte = 0xEE;
/** More pictures than that were kept by somebody who kept many; they go when they come back. */
constexpr size_t kUsualFrames = 8;

}  // namespace

Frame::Frame(const Format& format, std::string device)
    : format_(format),
      device_(std::move(device)),
      pixels_(std::make_unique_for_overwrite<uint8_t[]>(std::max<size_t>(format.dataSize(), 1))) {
    // Painters write pixels only, so what lies between rows is filled once.
    std::memset(pixels_.get(), kSurplusByte, format.dataSize());
}

CVReturn Frame::lockBaseAddress() {
    if (const auto fault = lab::faultAt("CVImageBuffer.lockBaseAddress", device_)) {
        return static_cast<CVReturn>(*fault);
    }
    ++locks_;
    return kCVReturnSuccess;
}

void Frame::unlockBaseAddress() {
    int32_t locks = locks_;
    while (locks > 0 && !locks_.compare_exchange_weak(locks, locks - 1)) {
    }
}

const void* Frame::baseAddress() const {
    if (locks_ <= 0 || lab::faultAt("CVImageBuffer.baseAddress", device_)) return nullptr;
    return pixels_.get();
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
        frames_.push_back(Ref<Frame>::adopt(new Frame(format_, device_)));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return frames_.back().get();
}

}  // namespace capture
