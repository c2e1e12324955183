/* witnesses.h: who takes frames and hears errors in tests of the capture framework, whichever set it is of.
 *
 * Thread: made by the test's; called on the framework's.
 */
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "QTKit.h"

namespace test {

/** What a frame says about itself when it is looked at during its delivery. */
struct SeenFrame {
    size_t width = 0;
    size_t height = 0;
    size_t bytesPerRow = 0;
    size_t dataSize = 0;
    std::vector<uint8_t> bytes;  // empty unless asked for
    std::thread::id thread;

    /** The four bytes of a pixel. */
    std::vector<uint8_t> pixel(size_t x, size_t y) const;
};

/** The bytes of a frame, read under its lock. */
std::vector<uint8_t> bytesOf(CVImageBuffer& frame);

/** Takes frames. */
class Taker final : public NSObject, public QTCaptureDecompressedVideoOutputDelegate {
public:
    void captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(
        QTCaptureDecompressedVideoOutput* captureOutput, CVImageBuffer* videoFrame, void* sampleBuffer,
        QTCaptureConnection* connection) override;
    NSObject& delegateObject() override { return *this; }

    size_t count() const { return count_; }
    std::vector<SeenFrame> seen() const;
    /** Waits for so many more. */
    bool waitForMore(size_t frames) const;

    /** Before the session starts. */
    bool keepsBytes = false;
    bool keepsFrames = false;
    /** Called for each frame, on the framework's thread; may be exchanged at any time. */
    void setWork(std::function<void(CVImageBuffer& frame)> work);
    std::vector<Ref<CVImageBuffer>> takeKept();

    std::atomic<int> underway{0};
    std::atomic<int> mostUnderway{0};
    QTCaptureConnection* lastConnection() const { return connection_; }
    QTCaptureDecompressedVideoOutput* lastOutput() const { return output_; }

private:
    ~Taker() override = default;

    mutable std::mutex mutex_;
    std::atomic<size_t> count_{0};
    std::atomic<QTCaptureConnection*> connection_{nullptr};
    std::atomic<QTCaptureDecompressedVideoOutput*> output_{nullptr};
    std::vector<SeenFrame> seen_;
    std::vector<Ref<CVImageBuffer>> kept_;
    std::function<void(CVImageBuffer&)> work_;
};

/** Notes runtime errors. */
class Hearer final : public NotificationObserver {
public:
    Hearer();
    void handleNotification(NSNotification& notification) override;

    struct Heard {
        NSObject* object;
        int64_t code;
        std::thread::id thread;
        std::string text;
    };
    std::vector<Heard> heard() const;
    bool waitFor(size_t count) const;
    void setWork(std::function<void()> work);

private:
    ~Hearer() override;

    mutable std::mutex mutex_;
    std::vector<Heard> heard_;
    std::function<void()> work_;
};

/** Holds deliveries up until it is opened. They may still be on their way through when a test ends: shared.
 */
class Gate {
public:
    void pass();
    void open();
    bool waitForSomebody();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
    int waiting_ = 0;
};

/** A device on its way to a taker of its frames, ready to run. */
struct Chain {
    Ref<QTCaptureDevice> device;
    Ref<QTCaptureDeviceInput> input;
    Ref<QTCaptureDecompressedVideoOutput> output;
    Ref<QTCaptureSession> session;
    Ref<Taker> taker;

    ~Chain();
};
/** Opens the device. */
Chain chainOf(const Ref<QTCaptureDevice>& device);

PixelBufferAttributes sized(double width, double height);

}  // namespace test
