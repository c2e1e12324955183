/* live_view.cpp: the electronic viewfinder: one JPEG a call, a zoom rectangle, and the lens. */
#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <utility>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/canon_internal.h"

namespace {

constexpr std::chrono::milliseconds kFramePause{10};
constexpr uint32_t kLastCreativeMode = 8;  // above it the basic-zone modes, which have no live view
// Hosts' coordinates lie a tenth of the image off the camera's, in both directions.
constexpr double kZoomOffset = 0.1;

bool isLiveViewActive(const CanonCamera& session) {
    int32_t mode = 0;
    if (getProperty(session.camera, kEdsPropID_Evf_Mode, &mode) != EDS_ERR_OK || mode == 0) return false;
    int32_t device = 0;
    return getProperty(session.camera, kEdsPropID_Evf_OutputDevice, &device) == EDS_ERR_OK &&
           (device & kEdsEvfOutputDevice_PC) != 0;
}

bool isBasicZone(const CanonCamera& session) {
    int32_t mode = 0;
    return getProperty(session.camera, kEdsPropID_AEMode, &mode) == EDS_ERR_OK &&
           static_cast<uint32_t>(mode) > kLastCreativeMode;
}

EdsError switchModeOn(const CanonCamera& session) {
    int32_t mode = 0;
    EdsError status = getProperty(session.camera, kEdsPropID_Evf_Mode, &mode);
    if (status != EDS_ERR_OK) debug("error getting evf mode 0x%X\n", status);
    if (mode != 0) return status;
    status = setProperty(session.camera, kEdsPropID_Evf_Mode, 1);
    if (status != EDS_ERR_OK) debug("error setting evf mode 0x%X\n", status);
    constexpr EdsInt32 kAutofocusOff = 0;
    EdsSendCommand(session.camera, kEdsCameraCommand_DoEvfAf, kAutofocusOff);
    return status;
}

EdsError sendOutputToHost(const CanonCamera& session) {
    const EdsError status = setProperty(session.camera, kEdsPropID_Evf_OutputDevice, kEdsEvfOutputDevice_PC);
    if (status == EDS_ERR_OK) {
        setProperty(session.camera, kEdsPropID_Evf_Zoom, kEdsEvfZoom_Fit);
    } else {
        debug("error setting kEdsPropID_Evf_OutputDevice 0x%X\n", status);
    }
    return status;
}

/* ---- The frame buffer ---- */

// The frame that the calling thread's reply is made of. While a thread holds it, no other writes into it.
struct ServedFrame {
    CanonSession session;
    std::shared_ptr<ByteArray> frame;
};
thread_local ServedFrame served;

std::shared_ptr<ByteArray> newFrameBuffer(JNIEnv* env, uint32_t size) {
    if (size > static_cast<uint32_t>(std::numeric_limits<jsize>::max())) return nullptr;
    jbyteArray array = (*env)->NewByteArray(env, static_cast<jsize>(size));
    auto* kept = static_cast<jbyteArray>((*env)->NewGlobalRef(env, array));
    return {kept, [](ByteArray* buffer) { freeByteArray(buffer); }};
}

/** A buffer that nobody is sending, with what the old one held: a shorter frame leaves the rest as it was. */
std::shared_ptr<ByteArray> copyOf(JNIEnv* env, const ByteArray& old) {
    auto copy = newFrameBuffer(env, static_cast<uint32_t>(old.count));
    (*env)->SetByteArrayRegion(env, copy.get(), 0, old.count, old.elements);
    return copy;
}

void storeFrame(JNIEnv* env, CanonCamera& session, const void* data, uint32_t length) {
    const std::lock_guard guard(session.frameLock);
    session.evfImageLength = length;
    if (length > session.evfBufferSize) {
        session.evfBufferSize = length;
        session.evfImage = newFrameBuffer(env, length);
    } else if (session.evfImage != nullptr && session.evfImage.use_count() > 1) {
        session.evfImage = copyOf(env, *session.evfImage);
    }
    (*env)->SetByteArrayRegion(env, session.evfImage.get(), 0, static_cast<jsize>(length), data);
}

void takeFrame(JNIEnv* env, CanonCamera& session, EdsStreamRef stream, EdsEvfImageRef image) {
    int32_t zoom = session.evfZoom;
    getProperty(image, kEdsPropID_Evf_Zoom, &zoom);
    session.evfZoom = zoom;
    const ZoomPosition latest = session.evfZoomPosition;
    EdsPoint position = {latest.x, latest.y};
    EdsGetPropertyData(image, kEdsPropID_Evf_ZoomPosition, 0, sizeof position, &position);
    session.evfZoomPosition = ZoomPosition{position.x, position.y};
    EdsUInt64 length = 0;
    EdsVoid* data = nullptr;
    // The frame is the library's, which another connection may end.
    const std::unique_lock library = keepLibrary();
    EdsGetLength(stream, &length);
    EdsGetPointer(stream, &data);
    if (data == nullptr || length > static_cast<EdsUInt64>(std::numeric_limits<jsize>::max())) return;
    storeFrame(env, session, data, static_cast<uint32_t>(length));
}

uint32_t frameBufferSize(CanonCamera& session) {
    const std::lock_guard guard(session.frameLock);
    return session.evfBufferSize;
}

/** What the library makes on the way to a frame; given back in any case. */
struct FrameReferences {
    EdsStreamRef stream = nullptr;
    EdsEvfImageRef image = nullptr;

    FrameReferences() = default;
    FrameReferences(const FrameReferences&) = delete;
    FrameReferences& operator=(const FrameReferences&) = delete;
    ~FrameReferences() {
        if (stream != nullptr) EdsRelease(stream);
        if (image != nullptr) EdsRelease(image);
    }
};

/** Logs a failed step. */
bool succeeded(EdsError status, const char* message) {
    if (status != EDS_ERR_OK) debug(message, status);
    return status == EDS_ERR_OK;
}

void fetchFrame(JNIEnv* env, CanonCamera& session) {
    FrameReferences frame;
    EdsError status = EdsCreateMemoryStream(frameBufferSize(session), &frame.stream);
    if (!succeeded(status, "Could not create stream 0x%X\n")) return;
    std::this_thread::sleep_for(kFramePause);
    status = EdsCreateEvfImageRef(frame.stream, &frame.image);
    if (!succeeded(status, "Could not create image ref 0x%X\n")) return;
    status = EdsDownloadEvfImage(session.camera, frame.image);
    if (!succeeded(status, "Could not download image 0x%X\n")) return;
    takeFrame(env, session, frame.stream, frame.image);
}

/* ---- Zoom ---- */

int32_t toPixel(float fraction, int32_t full) {
    const double pixel = (static_cast<double>(fraction) - kZoomOffset) * full;
    return static_cast<int32_t>(std::lround(std::clamp(pixel, 0.0, static_cast<double>(full))));
}

float toFraction(int32_t pixel, int32_t full) {
    const double fraction = static_cast<double>(pixel) / full + kZoomOffset;
    return std::min(static_cast<float>(fraction), 1.0F);
}

struct DriveStep {
    jint steps;
    EdsEvfDriveLens lens;
};

constexpr DriveStep kDriveSteps[] = {
    {-3, kEdsEvfDriveLens_Far3}, {-2, kEdsEvfDriveLens_Far2}, {-1, kEdsEvfDriveLens_Far1},
    {1, kEdsEvfDriveLens_Near1}, {2, kEdsEvfDriveLens_Near2}, {3, kEdsEvfDriveLens_Near3},
};

EdsEvfDriveLens toDriveLens(jint steps) {
    for (const DriveStep& step : kDriveSteps) {
        if (step.steps == steps) return step.lens;
    }
    return kEdsEvfDriveLens_Far1;
}

}  // namespace

jint Mac_DoStartLiveView(JNIEnv*, jobject, jint handle) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return kNoSession;
    if (isBasicZone(*session)) return kLiveViewRefused;
    setProperty(session->camera, kEdsPropID_Evf_DepthOfFieldPreview, 0);
    EdsError status = switchModeOn(*session);
    if (status == EDS_ERR_OK) status = sendOutputToHost(*session);
    const int32_t preview = session->savedDofPreview;
    if (preview != 0) setProperty(session->camera, kEdsPropID_Evf_DepthOfFieldPreview, preview);
    return static_cast<jint>(status);
}

jint Mac_DoStopLiveView(JNIEnv*, jobject, jint handle) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return kNoSession;
    int32_t device = 0;
    const EdsError status = getProperty(session->camera, kEdsPropID_Evf_OutputDevice, &device);
    if (status != EDS_ERR_OK) return static_cast<jint>(status);
    return static_cast<jint>(
        setProperty(session->camera, kEdsPropID_Evf_OutputDevice, device & ~kEdsEvfOutputDevice_PC));
}

jbyteArray Mac_DoGetLiveViewImageData(JNIEnv* env, jobject, jint handle) {
    Mac_ReleaseLiveViewImageData();
    CanonSession session = findConnectedSession(handle);
    if (!session || !isLiveViewActive(*session)) return nullptr;
    fetchFrame(env, *session);
    served.session = std::move(session);
    const std::lock_guard guard(served.session->frameLock);
    served.frame = served.session->evfImage;
    return served.frame.get();
}

void Mac_ReleaseLiveViewImageData() {
    if (!served.session) return;
    {
        // Whoever finds the buffer unshared writes into it, and must do so after the reply has left it: only
        // the lock says so, a share count does not.
        const std::lock_guard guard(served.session->frameLock);
        served.frame.reset();
    }
    served.session = CanonSession{};
}

jboolean Mac_IsLiveViewZoom(JNIEnv*, jobject, jint handle) {
    const CanonSession session = findConnectedSession(handle);
    return session && session->evfZoom == kEdsEvfZoom_x5 ? 1 : 0;
}

void Mac_SetLiveViewZoom(JNIEnv*, jobject, jint handle, jboolean zoom) {
    const CanonSession session = findConnectedSession(handle);
    if (!session || !isLiveViewActive(*session)) return;
    setProperty(session->camera, kEdsPropID_Evf_Zoom, zoom != 0 ? kEdsEvfZoom_x5 : kEdsEvfZoom_Fit);
}

void Mac_SetLiveViewZoomPosition(JNIEnv*, jobject, jint handle, jfloat x, jfloat y) {
    const CanonSession session = findConnectedSession(handle);
    if (!session || !isLiveViewActive(*session)) return;
    const EdsPoint position = {toPixel(x, session->evfFullWidth), toPixel(y, session->evfFullHeight)};
    const EdsError status =
        EdsSetPropertyData(session->camera, kEdsPropID_Evf_ZoomPosition, 0, sizeof position, &position);
    if (status != EDS_ERR_OK) debug("Could not set live view zoom 0x%X\n", status);
}

jfloat Mac_GetLiveViewZoomPositionX(JNIEnv*, jobject, jint handle) {
    const CanonSession session = findConnectedSession(handle);
    return session ? toFraction(session->evfZoomPosition.load().x, session->evfFullWidth) : 0.0F;
}

jfloat Mac_GetLiveViewZoomPositionY(JNIEnv*, jobject, jint handle) {
    const CanonSession session = findConnectedSession(handle);
    return session ? toFraction(session->evfZoomPosition.load().y, session->evfFullHeight) : 0.0F;
}

jint Mac_DriveFocus(JNIEnv*, jobject, jint handle, jint steps) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return kNoSession;
    const EdsEvfDriveLens lens = toDriveLens(steps);
    return static_cast<jint>(
        EdsSendCommand(session->camera, kEdsCameraCommand_DriveLensEvf, static_cast<EdsInt32>(lens)));
}

void Mac_Idle() {
    EdsGetEvent();
}
