/* FakeCapture.h: a capture framework of the test's own behind QTKit.h. Frames come when the test says so.
 *
 * Thread: devices are set up before they are used; deliver() may run beside calls of the camera logic.
 * Owns:   its devices and a reference on every session, until reset().
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "QTKit.h"

/** What a device is like and what goes wrong with it. */
struct FakeDevice {
    std::string name = "Webcam";
    std::string uniqueId = "0x1a110000046d082d";
    std::vector<QTMediaType> media = {QTMediaType::Video};
    bool opens = true;
    bool opensWithError = false;
};

/** One frame; its pixels are those of the lab's pattern: blue x + n, green y + n, red n, alpha 128. */
struct FakeFrame {
    size_t width = 0;
    size_t height = 0;
    size_t bytesPerRow = 0;  // 0: width × 4
    uint32_t number = 0;
    bool locks = true;
    bool hasMemory = true;
    /** No memory behind it: for sizes that would not fit. */
    bool isHollow = false;
};

/** The word of the pattern. */
uint32_t patternWord(size_t x, size_t y, uint32_t number);
std::vector<uint32_t> patternWords(size_t width, size_t height, uint32_t number);

Ref<CVImageBuffer> makeFrame(const FakeFrame& frame);

class FakeCapture {
public:
    static FakeCapture& framework();

    /** Empty entries of the list are null. */
    void reset(const std::vector<std::optional<FakeDevice>>& devices);
    /** The list is not to be had. */
    bool hasNoList = false;
    bool addsInput = true;
    bool addsOutput = true;
    bool makesInput = true;
    /** A stopped session reports running for so many questions more. */
    int slowStops = 0;

    Ref<QTCaptureDevice> device(size_t index);
    /** Hands a frame to the delegate of the session that was made last, as the framework's thread does. */
    void deliver(const FakeFrame& frame);
    void deliver(const Ref<CVImageBuffer>& frame);
    /** Posts a runtime error from the session that was made last. */
    void raise(int64_t code);

    /** "open", "startRunning", "setPixelBufferAttributes 640x480", …, oldest first. */
    std::vector<std::string> calls();
    void forget();
    void note(const std::string& call);
    /** Frames that somebody still holds. */
    std::atomic<int> liveFrames{0};
    std::atomic<int> lockedFrames{0};

    struct Session;
    void remember(Session* session);

private:
    Ref<NSObject> session_;
    Session* latest_ = nullptr;
    QTCaptureDeviceList devices_;
    std::mutex mutex_;
    std::vector<std::string> calls_;
    friend class QTCaptureDevice;
};
