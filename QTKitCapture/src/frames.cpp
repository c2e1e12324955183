/* frames.cpp: the newest frame: its words, its size, and how large it shall be. */
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "QTKitCapture/src/QTKitCapture.h"
#include "QTKitCapture/src/qtkit_internal.h"
#include "platform/CallScope.h"

using qtkit::debug;

namespace {

constexpr uint64_t kMostPixels = 9000000;
constexpr useconds_t kStopPollUs = 10000;
// 10 s. A device that never stops must not keep the camera's lock, and all who wait for it, for ever.
constexpr int kStopPolls = 1000;

/** A frame whose memory may be read; nothing when there is no frame or its memory can't be had. */
class ReadableFrame {
public:
    explicit ReadableFrame(Ref<CVImageBuffer> frame) {
        if (frame && frame->lockBaseAddress() == kCVReturnSuccess) frame_ = std::move(frame);
    }
    ~ReadableFrame() {
        if (frame_) frame_->unlockBaseAddress();
    }
    ReadableFrame(const ReadableFrame&) = delete;
    ReadableFrame& operator=(const ReadableFrame&) = delete;

    explicit operator bool() const { return static_cast<bool>(frame_); }
    const CVImageBuffer* operator->() const { return frame_.get(); }
    const CVImageBuffer& operator*() const { return *frame_; }

private:
    Ref<CVImageBuffer> frame_;
};

uint64_t pixelCount(const CVImageBuffer& frame) {
    uint64_t count = 0;
    const bool isTooMany = __builtin_mul_overflow(frame.width(), frame.height(), &count);
    return isTooMany ? std::numeric_limits<uint64_t>::max() : count;
}

int32_t forLog(uint64_t count) {
    return static_cast<int32_t>(std::min<uint64_t>(count, std::numeric_limits<int32_t>::max()));
}

/** Pixels are little-endian words. */
void copyWords(uint32_t* words, const uint8_t* bytes, size_t count) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(words, bytes, count * sizeof(uint32_t));
    } else {
        for (size_t i = 0; i < count; ++i, bytes += sizeof(uint32_t)) {
            words[i] = bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 |
                       static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
        }
    }
}

/** Rows in whole words: what a device adds to a row beyond them shifts the picture, as it always has. */
void copyPixels(uint32_t* words, const CVImageBuffer& frame) {
    const auto* source = static_cast<const uint8_t*>(frame.baseAddress());
    const size_t width = frame.width();
    const size_t wordsPerRow = frame.bytesPerRow() / sizeof(uint32_t);
    if (width == wordsPerRow) return copyWords(words, source, width * frame.height());
    const size_t wordsToCopy = std::min(width, wordsPerRow);
    for (size_t row = 0; row < frame.height(); ++row) {
        copyWords(words + row * width, source + row * wordsPerRow * sizeof(uint32_t), wordsToCopy);
    }
}

PixelHold takePixels(JNIEnv* env, QTKitCaptureCamera& camera, const CVImageBuffer& frame) {
    camera.storeSize(frame);
    const uint64_t count = pixelCount(frame);
    if (frame.baseAddress() == nullptr || count == 0 || count > kMostPixels) {
        debug("Bail test pixels = %p, dataLength = %d\n", frame.baseAddress(), forLog(count));
        return {};
    }
    PixelArrays::Failure failure = PixelArrays::Failure::None;
    PixelHold pixels = camera.pixels.forWriting(env, static_cast<int32_t>(count), &failure);
    if (failure == PixelArrays::Failure::Words) debug("Bail test cameraData->dataBuffer\n");
    if (failure == PixelArrays::Failure::Array) debug("Bail test cameraData->pixelArray\n");
    if (pixels) copyPixels(pixels.words(), frame);
    return pixels;
}

PixelHold fetchLocked(JNIEnv* env, QTKitCaptureCamera& camera) {
    if (camera.hasEnded()) return {};  // its arrays are gone and stay so
    const ReadableFrame frame(camera.currentFrame());
    return frame ? takePixels(env, camera, *frame) : camera.pixels.current();
}

void stopSession(QTCaptureSession& session) {
    if (!session.isRunning()) return;
    debug("Stopping capture session\n");
    session.stopRunning();
    for (int polls = 0; session.isRunning(); ++polls) {
        if (polls == kStopPolls) return;
        usleep(kStopPollUs);
    }
    debug("Stopped capture session\n");
}

// What the calling thread's reply is made of. While a thread holds it, no other writes into it.
struct ServedImage {
    Ref<QTKitCaptureCamera> camera;
    PixelHold pixels;
};
thread_local ServedImage served;

}  // namespace

PixelHold qtkit::fetchFrame(JNIEnv* env, QTKitCaptureCamera& camera) {
    const std::lock_guard turn(camera.fetchMutex);
    return fetchLocked(env, camera);
}

PixelHold qtkit::fetchDataBuffer(JNIEnv* env, QTKitCaptureCamera& camera) {
    const std::lock_guard turn(camera.fetchMutex);
    fetchLocked(env, camera);
    return camera.pixels.current();
}

void qtkit::setImageDimensions(QTKitCaptureCamera& camera, int32_t width, int32_t height) {
    debug("Updating size to %d x %d\n", width, height);
    PixelBufferAttributes attributes;
    attributes.width = width;
    attributes.height = height;
    // Deliveries wait for this lock, and stopping does not wait for them.
    const std::lock_guard guard(camera.mutex);
    if (camera.isReleased) return;
    stopSession(*camera.mCaptureSession);
    camera.mCaptureDecompressedVideoOutput->setPixelBufferAttributes(attributes);
    camera.mCaptureSession->startRunning();
}

QTKIT_ENTRY(jintArray, GetImageData, jlong handle) {
    (void)object;
    const CallScope scope;
    QTKitCapture_ReleaseImageData();
    Ref<QTKitCaptureCamera> camera = findCamera(handle);
    if (!camera) return nullptr;
    served.pixels = qtkit::fetchFrame(env, *camera);
    served.camera = std::move(camera);
    return served.pixels.array();
}

void QTKitCapture_ReleaseImageData() {
    served.pixels = PixelHold{};  // first: it lies in the camera's pool
    served.camera = {};
}

QTKIT_ENTRY(jint, GetImageWidth, jlong handle) {
    (void)env, (void)object;
    const CallScope scope;
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    if (!camera) return 0;
    if (camera->imageWidth == 0) {
        const std::lock_guard guard(camera->mutex);
        const ReadableFrame frame(camera->mCurrentImageBuffer);
        if (frame) camera->storeSize(*frame);
    }
    return camera->imageWidth;
}

QTKIT_ENTRY(jint, GetImageHeight, jlong handle) {
    (void)env, (void)object;
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    return camera ? camera->imageHeight.load() : 0;
}

QTKIT_ENTRY(void, SetImageDimensions, jlong handle, jint width, jint height) {
    (void)env, (void)object;
    const CallScope scope;
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    if (camera) qtkit::setImageDimensions(*camera, width, height);
}
