/* still_capture.cpp: one frame, or the mean of many, as an array of the caller's. */
#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <thread>

#include "QTKitCapture/src/QTKitCapture.h"
#include "QTKitCapture/src/averaging.h"
#include "QTKitCapture/src/qtkit_internal.h"
#include "TarvoRemote/QTKitRemote.h"
#include "platform/CallScope.h"

using qtkit::debug;

namespace {

constexpr jint kMostFrames = 120;
constexpr int64_t kFewestPixels = 1000;
constexpr std::chrono::milliseconds kFramePause{50};
constexpr int kFramePauses = 11;
constexpr std::chrono::milliseconds kSizePause{100};
constexpr int kSizePauses = 99;
constexpr int32_t kSizeFrames = 30;

/** One still capture under way. */
struct Still {
    JNIEnv* env;
    QTKitCaptureCamera& camera;
    jint width;
    jint height;
    jint frames;

    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
};

bool isRecordedSize(const QTKitCaptureCamera& camera, jint width, jint height) {
    return camera.imageWidth == width && camera.imageHeight == height;
}

void logOtherSize(const Still& still) {
    debug("Incorrect dimensions width %d != %d or height %d != %d\n", still.camera.imageWidth.load(),
          still.width, still.camera.imageHeight.load(), still.height);
}

/** Only a fetch on another connection records another size meanwhile. */
void awaitRequestedSize(const Still& still) {
    still.camera.imageId = 0;
    for (int pauses = 0; pauses < kSizePauses; ++pauses) {
        if (isRecordedSize(still.camera, still.width, still.height) || still.camera.imageId > kSizeFrames ||
            still.camera.hasEnded()) {
            return;
        }
        std::this_thread::sleep_for(kSizePause);
    }
}

/** The picture shall be one that arrived after the call; a device that has fallen silent gives its last. */
void awaitNewFrame(QTKitCaptureCamera& camera) {
    const int32_t seen = camera.imageId;
    for (int pauses = 0; pauses < kFramePauses && camera.imageId == seen && !camera.hasEnded(); ++pauses) {
        std::this_thread::sleep_for(kFramePause);
    }
}

/** The words of the next frame, at least as many as asked for; an empty hold, with a line in the log, when
 *  there are none. A frame that grew meanwhile is cut, one that shrank has not enough to take. */
PixelHold nextFrame(const Still& still) {
    awaitNewFrame(still.camera);
    PixelHold words = qtkit::fetchDataBuffer(still.env, still.camera);
    if (!words) {
        debug("nil dataBuffer\n");
        return {};
    }
    if (static_cast<size_t>(words.count()) < still.pixels()) {
        logOtherSize(still);
        return {};
    }
    return words;
}

jintArray newArray(const Still& still, const uint32_t* words) {
    const auto count = static_cast<jsize>(still.pixels());
    jintArray array = (*still.env)->NewIntArray(still.env, count);
    if (array == nullptr) return nullptr;
    (*still.env)->SetIntArrayRegion(still.env, array, 0, count, reinterpret_cast<const jint*>(words));
    return array;
}

jintArray captureSingle(const Still& still) {
    const PixelHold words = nextFrame(still);
    return words ? newArray(still, words.words()) : nullptr;
}

bool sumFrames(const Still& still, FrameSums& sums) {
    for (jint i = 0; i < still.frames; ++i) {
        const PixelHold words = nextFrame(still);
        if (!words) return false;
        addFrame(sums, words.words());
        QTKitRemote_handleProgress(i * 100 / still.frames);
    }
    return true;
}

jintArray captureAverage(const Still& still) {
    FrameSums sums;
    if (!sums.allocate(still.pixels()) || !sumFrames(still, sums)) return nullptr;
    const std::unique_ptr<uint32_t[]> words(new (std::nothrow) uint32_t[still.pixels()]);
    if (words == nullptr) return nullptr;
    averageFrames(sums, still.frames, words.get());
    return newArray(still, words.get());
}

/** True when the frames are of a size that a picture can be made of. */
bool isUsableSize(const Still& still) {
    if (!isRecordedSize(still.camera, still.width, still.height)) {
        logOtherSize(still);
        return false;
    }
    if (static_cast<int64_t>(still.width) * still.height < kFewestPixels) {
        debug("Incorrect dimensions width %d, height %d\n", still.width, still.height);
        return false;
    }
    return true;
}

jintArray capture(const Still& still) {
    const int32_t entryWidth = still.camera.imageWidth;
    const int32_t entryHeight = still.camera.imageHeight;
    const bool isOtherSize = still.width != entryWidth || still.height != entryHeight;
    if (isOtherSize) {
        // The recorded size, not the requested one: hosts ask for the new size themselves and fetch beside.
        qtkit::setImageDimensions(still.camera, entryWidth, entryHeight);
        awaitRequestedSize(still);
    }
    if (!isUsableSize(still)) return nullptr;
    jintArray picture = still.frames == 1 ? captureSingle(still) : captureAverage(still);
    if (picture != nullptr && isOtherSize) qtkit::setImageDimensions(still.camera, entryWidth, entryHeight);
    return picture;
}

}  // namespace

QTKIT_ENTRY(jintArray, CaptureImage, jlong handle, jint count, jint width, jint height) {
    (void)object;
    const CallScope scope;
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    if (!camera) return nullptr;
    return capture({env, *camera, width, height, std::clamp(count, 1, kMostFrames)});
}
