/* CanonCamera.h: the record of one open session; its address is the handle that the host holds.
 *
 * Thread: connection tasks and the worker thread use it side by side. Single values are atomic and nothing
 *         orders them against each other; the two values of several bytes have a lock each, which is held for
 *         a copy only.
 * Owns:   the frame buffer. The camera reference is given back at close, when the last call that uses it
 *         ends.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "EDSDK.h"
#include "TarvoRemote/jni_env.h"
#include "platform/Handles.h"

/** A host path of so many bytes, or more, is refused: the longest that is taken fills, with four characters
 * of extension and the end mark, 1024 less six bytes, which vendors' path buffers hold. */
constexpr jsize kPathTooLong = 1014;

struct ZoomPosition {
    int32_t x = 0;
    int32_t y = 0;
};

using CameraPin = handles::Pin<handles::StandIn>;

struct CanonCamera {
    CanonCamera() = default;
    CanonCamera(const CanonCamera&) = delete;
    CanonCamera& operator=(const CanonCamera&) = delete;

    EdsCameraRef camera = nullptr;
    CameraPin cameraPin;                        // keeps it
    int32_t cameraReference = 0;                // the int that stands for it on the wire
    std::atomic<jobject> hostObject = nullptr;  // kept for the host's sake, never used or deleted

    std::mutex frameLock;                 // guards the three below
    uint32_t evfBufferSize = 0;           // largest frame so far
    std::shared_ptr<ByteArray> evfImage;  // as long as the largest frame so far
    uint32_t evfImageLength = 0;          // length of the latest frame

    std::atomic<int32_t> savedDofPreview = 0;  // what the host set last; put back after captures
    std::atomic<int32_t> pendingTv = 0;        // shutter speed to set at the next progress report; 0: none
    bool legacy = false;                       // the camera speaks the legacy protocol
    std::atomic<bool> uiLocked = false;
    std::atomic<bool> capacitySet = false;  // announced since the last failed capture
    std::atomic<bool> connected = false;    // cleared at close and when the camera shuts down
    bool pressShutter = false;              // releases by shutter-button commands

    std::atomic<int32_t> evfZoom = 0;             // of the latest frame
    std::atomic<ZoomPosition> evfZoomPosition{};  // of the latest frame, in full-image pixels
    int32_t evfFullWidth = 0;
    int32_t evfFullHeight = 0;

    std::mutex fileNameLock;  // guards fileName
    std::string fileName;     // host path of the next download, without extension

    std::atomic<int32_t> imageCount = 0;        // files expected from the capture: 1 or 2
    std::atomic<int32_t> imagesDownloaded = 0;  // of them downloaded or failed
    bool rebel300D = false;

    int32_t handle() const { return static_cast<int32_t>(reinterpret_cast<intptr_t>(this)); }
};

using CanonSession = handles::Pin<CanonCamera>;

/** The session that a number from the wire, or a library callback's context, names; a null pin otherwise. */
inline CanonSession findSession(intptr_t handle) {
    return handles::pin<CanonCamera>(handles::Kind::CanonSession, handle);
}

/** The same, but only while the camera is there. */
inline CanonSession findConnectedSession(intptr_t handle) {
    CanonSession session = findSession(handle);
    return session && session->connected ? std::move(session) : CanonSession{};
}
