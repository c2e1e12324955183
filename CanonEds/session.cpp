/* session.cpp: which cameras there are, and a session on one of them. */
#include <cstring>
#include <utility>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/ImageSizes.h"
#include "CanonEds/canon_internal.h"

namespace {

using handles::Kind;

/** The camera stays ours while the pin lasts, whatever another connection closes meanwhile. */
CameraPin findCamera(jint cameraReference) {
    return handles::pin<handles::StandIn>(Kind::CanonCamera, cameraReference);
}

EdsCameraRef cameraOf(const CameraPin& pin) {
    return static_cast<EdsCameraRef>(pin->object);
}

void giveCameraBack(void* camera) {
    EdsRelease(static_cast<EdsCameraRef>(camera));
}

bool beginsWith(const char* text, const char* beginning) {
    return std::strncmp(text, beginning, std::strlen(beginning)) == 0;
}

jintArray listCameras(JNIEnv* env, EdsCameraListRef list) {
    EdsUInt32 count = 0;
    EdsGetChildCount(list, &count);
    jintArray references = (*env)->NewIntArray(env, static_cast<jsize>(count));
    if (references == nullptr) return nullptr;
    for (jsize i = 0; i < references->count; ++i) {
        EdsBaseRef camera = nullptr;
        EdsGetChildAtIndex(list, i, &camera);
        // The camera keeps its reference: the host will open a session with it.
        const jint reference = handles::standFor(Kind::CanonCamera, camera);
        (*env)->SetIntArrayRegion(env, references, i, 1, &reference);
    }
    return references;
}

/** What the camera's description tells about it. */
void recogniseModel(CanonCamera& session) {
    EdsDeviceInfo info{};
    EdsGetDeviceInfo(session.camera, &info);
    info.szDeviceDescription[EDS_MAX_NAME - 1] = '\0';
    session.legacy = info.deviceSubType == 0;
    debug("Camera type legacy=%d\n", session.legacy);
    const char* description = info.szDeviceDescription;
    session.rebel300D =
        beginsWith(description, "EOS DIGITAL REBEL") || beginsWith(description, "EOS Kiss REBEL 300D");
    const ImageSize size = findImageSize(description);
    session.evfFullWidth = size.width;
    session.evfFullHeight = size.height;
    session.pressShutter = size.pressShutter;
    debug("evfFullImageDimensions for %s = %d x %d\n", description, size.width, size.height);
}

/** A null context tells the library whom no longer to call; returns the last status. */
EdsError installHandlers(EdsCameraRef camera, void* context) {
    EdsSetObjectEventHandler(camera, kEdsObjectEvent_All, handleObjectEvent, context);
    EdsSetPropertyEventHandler(camera, kEdsPropertyEvent_All, handlePropertyEvent, context);
    return EdsSetCameraStateEventHandler(camera, kEdsStateEvent_All, handleStateEvent, context);
}

bool openCameraSession(CanonCamera& session) {
    const EdsError status = EdsOpenSession(session.camera);
    debug("EdsOpenSession 0x%X\n", status);
    // Legacy cameras report an internal error and work all the same.
    return status == EDS_ERR_OK || (status == EDS_ERR_INTERNAL_ERROR && session.legacy);
}

/** The state that captures rely on; a camera that refuses a part of it is used as it is. */
void prepareCamera(CanonCamera& session) {
    lockUI(session);
    EdsError status = setProperty(session.camera, kEdsPropID_SaveTo, kEdsSaveTo_Host);
    debug("set kEdsPropID_SaveTo to %d = 0x%X\n", kEdsSaveTo_Host, status);
    int32_t saveTo = 0;
    status = getProperty(session.camera, kEdsPropID_SaveTo, &saveTo);
    debug("get kEdsPropID_SaveTo to %d = 0x%X\n", saveTo, status);
    constexpr int32_t kSingleFrame = 0;
    status = setProperty(session.camera, kEdsPropID_DriveMode, kSingleFrame);
    debug("set kEdsPropID_DriveMode to %d = 0x%X\n", kSingleFrame, status);
    status = announceCapacity(session.camera);
    debug("EdsSetCapacity 0x%X\n", status);
    unlockUI(session);
}

}  // namespace

jintArray Mac_GetCameraList(JNIEnv* env) {
    if (!isLibraryInitialised()) return nullptr;
    EdsCameraListRef list = nullptr;
    EdsGetCameraList(&list);
    if (list == nullptr) return nullptr;
    jintArray references = listCameras(env, list);
    EdsRelease(list);
    return references;
}

jstring Mac_GetCameraName(JNIEnv* env, jobject, jint cameraReference) {
    const CameraPin camera = findCamera(cameraReference);
    EdsDeviceInfo info{};
    if (!camera || EdsGetDeviceInfo(cameraOf(camera), &info) != EDS_ERR_OK) return nullptr;
    info.szDeviceDescription[EDS_MAX_NAME - 1] = '\0';
    return (*env)->NewStringUTF(env, info.szDeviceDescription);
}

jint Mac_DoOpenSession(JNIEnv* env, jobject object, jint cameraReference) {
    CameraPin camera = findCamera(cameraReference);
    if (!camera) return kNoSession;
    auto* record = handles::create<CanonCamera>(Kind::CanonSession);
    if (record == nullptr) return 0;
    const jint handle = record->handle();
    const CanonSession session = findSession(handle);
    session->camera = cameraOf(camera);
    session->cameraPin = std::move(camera);
    session->cameraReference = cameraReference;
    session->connected = true;
    recogniseModel(*session);
    installHandlers(session->camera, session.get());
    if (!openCameraSession(*session)) {
        // The handlers stay installed; their context is a handle that names nothing any more.
        handles::retire(Kind::CanonSession, handle);
        return 0;
    }
    session->hostObject = (*env)->NewGlobalRef(env, object);
    prepareCamera(*session);
    return handle;
}

jint Mac_CloseSession(JNIEnv*, jobject, jint handle) {
    const CanonSession session = findSession(handle);
    // Of two connections that close at once, one does.
    if (!session || !handles::retire(Kind::CanonSession, handle)) return kNoSession;
    session->connected = false;
    EdsError result = installHandlers(session->camera, nullptr);
    // Legacy cameras do not survive a second opening, so theirs stays open.
    if (!session->legacy) {
        result = EdsCloseSession(session->camera);
        // The library gets it back when the last call that uses it ends, on whatever connection.
        handles::release(Kind::CanonCamera, session->cameraReference, giveCameraBack);
    }
    session->hostObject = nullptr;
    return static_cast<jint>(result);
}

jstring Mac_GetFirmwareVersion(JNIEnv* env, jobject, jint handle) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return nullptr;
    char version[32 + 1] = {};
    lockUI(*session);
    if (EdsGetPropertyData(session->camera, kEdsPropID_FirmwareVersion, 0, 32, version) != EDS_ERR_OK) {
        std::strcpy(version, "N/A");
    }
    unlockUI(*session);
    return (*env)->NewStringUTF(env, version);
}
