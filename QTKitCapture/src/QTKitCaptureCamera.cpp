#include "QTKitCapture/src/QTKitCaptureCamera.h"

#include <utility>

#include "QTKitCapture/src/QTKitCapture.h"
#include "TarvoRemote/QTKitRemote.h"
#include "platform/PlatformLog.h"

namespace {

constexpr int32_t kStatusDisconnected = 1;

using CameraPin = handles::Pin<QTKitCameraRecord>;

CameraPin pinCamera(jlong handle) {
    return handles::pin<QTKitCameraRecord>(handles::Kind::VideoCamera, static_cast<intptr_t>(handle));
}

std::atomic<QTKitCaptureCamera*> camerasThatStay{nullptr};

}  // namespace

void QTKitCaptureCamera::captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(
    QTCaptureDecompressedVideoOutput*, CVImageBuffer* videoFrame, void*, QTCaptureConnection*) {
    // The frame that is replaced goes after the lock is left: its end may take time.
    auto frame = Ref<CVImageBuffer>::share(videoFrame);
    const std::lock_guard guard(mutex);
    if (isReleased) return;  // a last delivery; the object may stay, its frames shall not
    std::swap(mCurrentImageBuffer, frame);
    if (mCurrentImageBuffer) ++imageId;
}

void QTKitCaptureCamera::handleNotification(NSNotification& notification) {
    NSLog("Notification %s\n", notification.description().c_str());
    if (&notification.name() != &QTCaptureSessionRuntimeErrorNotification) return;
    const NSError* error = notification.error();
    if (error != nullptr && error->code() == QTErrorDeviceWasDisconnected) {
        QTKitRemote_handleStatusEvent(kStatusDisconnected);
    }
}

Ref<CVImageBuffer> QTKitCaptureCamera::currentFrame() {
    const std::lock_guard guard(mutex);
    return mCurrentImageBuffer;
}

Ref<UVCCameraControl> QTKitCaptureCamera::uvc() {
    const std::lock_guard guard(mutex);
    return mUvc;
}

bool QTKitCaptureCamera::hasEnded() {
    const std::lock_guard guard(mutex);
    return isReleased;
}

void QTKitCaptureCamera::storeSize(const CVImageBuffer& frame) {
    imageWidth = static_cast<int32_t>(frame.width());
    imageHeight = static_cast<int32_t>(frame.height());
}

void QTKitCaptureCamera::stayForever() {
    retain();
    nextThatStays_ = camerasThatStay;
    while (!camerasThatStay.compare_exchange_weak(nextThatStays_, this)) {
    }
}

Ref<QTKitCaptureCamera> findCamera(jlong handle) {
    const CameraPin pin = pinCamera(handle);
    return pin ? pin->camera : Ref<QTKitCaptureCamera>{};
}

jlong publishCamera(const Ref<QTKitCaptureCamera>& camera) {
    auto* record = handles::create<QTKitCameraRecord>(handles::Kind::VideoCamera, QTKitCameraRecord{camera});
    return static_cast<jlong>(reinterpret_cast<intptr_t>(record));
}

Ref<QTKitCaptureCamera> retireCamera(jlong handle) {
    Ref<QTKitCaptureCamera> camera = findCamera(handle);
    if (!camera || !handles::retire(handles::Kind::VideoCamera, static_cast<intptr_t>(handle))) return {};
    return camera;
}

QTKIT_ENTRY(void, HandleProgress, jint percent) {
    (void)env, (void)object;
    QTKitRemote_handleProgress(percent);
}

QTKIT_ENTRY(void, HandleStatus, jint status) {
    (void)env, (void)object;
    QTKitRemote_handleStatusEvent(status);
}
