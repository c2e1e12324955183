/* Newest.h: a delegate that takes nothing of the heap itself. */
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include "QTKit.h"

namespace test {

/** Keeps the newest frame, as a live view does. */
class Newest final : public NSObject, public QTCaptureDecompressedVideoOutputDelegate {
public:
    void captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(QTCaptureDecompressedVideoOutput*,
                                                                           CVImageBuffer* videoFrame, void*,
                                                                           QTCaptureConnection*) override {
        Ref<CVImageBuffer> frame = Ref<CVImageBuffer>::share(videoFrame);
        if (frame->lockBaseAddress() == kCVReturnSuccess) frame->unlockBaseAddress();
        const std::lock_guard guard(mutex_);
        std::swap(newest_, frame);
        ++count_;
    }
    NSObject& delegateObject() override { return *this; }

    /** Without the helpers of the other tests, which allocate. */
    void waitForMore(int frames) const {
        const int wanted = count_ + frames;
        for (int i = 0; i < 20000 && count_ < wanted; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_GE(count_, wanted);
    }

private:
    ~Newest() override = default;

    std::atomic<int> count_{0};
    std::mutex mutex_;
    Ref<CVImageBuffer> newest_;
};

}  // namespace test
