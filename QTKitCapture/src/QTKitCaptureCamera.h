/* QTKitCaptureCamera.h: one selected camera: its session, its newest frame, and what was made of it.
 *
 * The host's handle is the address of a small record in low memory that owns a reference on the camera until
 * it is released, so that a number from the wire is looked up and never followed.
 *
 * Thread: the framework's frame thread (delivery), its notification thread, and connection tasks, several at
 *         once. Lock order: fetchMutex before mutex. Frames and notifications arrive without a lock held.
 * Owns:   all references below. What the framework has given goes at release; the object itself when the
 *         last call that uses it ends, unless it drives UVC controls: then it stays, in a list of its own.
 * Units:  pixels; one word a pixel.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "QTKit.h"
#include "QTKitCapture/src/PixelArrays.h"
#include "QTKitCapture/src/UVCCameraControl.h"
#include "TarvoRemote/jni_env.h"
#include "platform/Handles.h"
#include "platform/Notifications.h"

class QTKitCaptureCamera final : public NotificationObserver,
                                 public QTCaptureDecompressedVideoOutputDelegate {
public:
    QTKitCaptureCamera() = default;

    void captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(
        QTCaptureDecompressedVideoOutput* captureOutput, CVImageBuffer* videoFrame, void* sampleBuffer,
        QTCaptureConnection* connection) override;
    NSObject& delegateObject() override { return *this; }
    /** Tells the host of a device that was pulled out: of any device, since sessions are not told apart. */
    void handleNotification(NSNotification& notification) override;

    /** The newest frame, retained; null before the first one and after release. */
    Ref<CVImageBuffer> currentFrame();
    /** Null for cameras without controls and after release. */
    Ref<UVCCameraControl> uvc();
    /** Whether the host has released it: then it has no session and gets no frames. */
    bool hasEnded();
    void storeSize(const CVImageBuffer& frame);
    /** Takes a reference that nobody gives back. */
    void stayForever();

    std::recursive_mutex mutex;  // guards the six below, and the starting and stopping of the session
    Ref<QTCaptureSession> mCaptureSession;
    Ref<QTCaptureDeviceInput> mCaptureDeviceInput;
    Ref<QTCaptureDecompressedVideoOutput> mCaptureDecompressedVideoOutput;
    Ref<UVCCameraControl> mUvc;
    Ref<CVImageBuffer> mCurrentImageBuffer;
    bool isReleased = false;

    std::atomic<jobject> jThis = nullptr;  // kept for the host's sake, never used
    // Of the last frame that was examined; two tasks may examine frames of different sizes at once.
    std::atomic<int32_t> imageWidth = 0;
    std::atomic<int32_t> imageHeight = 0;
    std::atomic<int32_t> imageId = 0;  // counts frames; still captures start it over

    std::mutex fetchMutex;  // one task at a time examines a frame
    PixelArrays pixels;     // the last examined frame, and the array in which the host gets it

private:
    ~QTKitCaptureCamera() override = default;

    QTKitCaptureCamera* nextThatStays_ = nullptr;
};

/** What a handle names. */
struct QTKitCameraRecord {
    Ref<QTKitCaptureCamera> camera;
};

/** The camera that a number from the wire names, retained; null otherwise. */
Ref<QTKitCaptureCamera> findCamera(jlong handle);
/** Gives the camera a handle; 0 without memory. */
jlong publishCamera(const Ref<QTKitCaptureCamera>& camera);
/** Ends the handle. Of two that do so one gets the camera. */
Ref<QTKitCaptureCamera> retireCamera(jlong handle);
