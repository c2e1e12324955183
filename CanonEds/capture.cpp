/* capture.cpp: prepare, and release the shutter. */
#include <array>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/canon_internal.h"

namespace {

// The second image's format in an image-quality code: set when a shot yields RAW and JPEG.
constexpr int32_t kSecondImageFormat = 0xF0;

bool setFileName(JNIEnv* env, CanonCamera& session, jstring path) {
    if (path == nullptr || (*env)->GetStringUTFLength(env, path) >= kPathTooLong) return false;
    std::array<char, kPathTooLong> text{};
    (*env)->GetStringUTFRegion(env, path, 0, (*env)->GetStringLength(env, path), text.data());
    debug("FILE NAME : '%s'\n", text.data());
    const std::lock_guard guard(session.fileNameLock);
    session.fileName = text.data();
    return true;
}

void announceCapacityOnce(CanonCamera& session) {
    if (session.capacitySet) return;
    announceCapacity(session.camera);
    session.capacitySet = true;
}

void expectImages(CanonCamera& session) {
    session.imagesDownloaded = 0;
    session.imageCount = 1;
    int32_t quality = 0;
    const EdsError status = getProperty(session.camera, kEdsPropID_ImageQuality, &quality);
    if (status == EDS_ERR_OK && (quality & kSecondImageFormat) != 0) session.imageCount = 2;
    debug("read imagequality = 0x%X, error=0x%X, imageCount=%d\n", quality, status,
          session.imageCount.load());
}

bool isLiveViewModeOn(const CanonCamera& session) {
    int32_t mode = 0;
    return getProperty(session.camera, kEdsPropID_Evf_Mode, &mode) == EDS_ERR_OK && mode != 0;
}

/** A picture is taken with the aperture of the exposure, not with the one held for looking. */
void endDofPreview(const CanonCamera& session) {
    if (!isLiveViewModeOn(session)) return;
    int32_t preview = 0;
    const EdsError status = getProperty(session.camera, kEdsPropID_Evf_DepthOfFieldPreview, &preview);
    if (status == EDS_ERR_OK && preview != 0)
        setProperty(session.camera, kEdsPropID_Evf_DepthOfFieldPreview, 0);
}

void restoreDofPreview(const CanonCamera& session) {
    if (!isLiveViewModeOn(session)) return;
    const int32_t preview = session.savedDofPreview;
    if (preview != 0) setProperty(session.camera, kEdsPropID_Evf_DepthOfFieldPreview, preview);
}

EdsError pressShutterButton(const CanonCamera& session, EdsInt32 position) {
    return EdsSendCommand(session.camera, kEdsCameraCommand_PressShutterButton, position);
}

EdsError releaseShutter(const CanonCamera& session) {
    if (!session.pressShutter) return EdsSendCommand(session.camera, kEdsCameraCommand_TakePicture, 0);
    const EdsError status = pressShutterButton(session, kEdsCameraCommand_ShutterButton_Completely_NonAF);
    if (status == EDS_ERR_OK) pressShutterButton(session, kEdsCameraCommand_ShutterButton_OFF);
    return status;
}

}  // namespace

jint Mac_DoPreCaptureImage(JNIEnv* env, jobject, jint handle, jstring path, jboolean halfPress) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return kNoSession;
    announceCapacityOnce(*session);
    expectImages(*session);
    endDofPreview(*session);
    if (!setFileName(env, *session, path)) return kBadArguments;
    if (halfPress != 0 && session->pressShutter) {
        pressShutterButton(*session, kEdsCameraCommand_ShutterButton_Halfway_NonAF);
    }
    return 0;
}

jint Mac_DoCaptureImage(JNIEnv* env, jobject, jint handle, jstring path) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return kNoSession;
    announceCapacityOnce(*session);
    session->imagesDownloaded = 0;
    if (!setFileName(env, *session, path)) return kBadArguments;
    const EdsError status = releaseShutter(*session);
    debug("picture 0x%X\n", status);
    restoreDofPreview(*session);
    if (status == EDS_ERR_OK) return 0;
    session->capacitySet = false;
    return kBadArguments;
}

void Mac_ExtendShutdownTimer(JNIEnv*, jobject, jint handle) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return;
    const EdsError status = EdsSendCommand(session->camera, kEdsCameraCommand_ExtendShutDownTimer, 0);
    debug("kEdsCameraCommand_ExtendShutDownTimer 0x%X\n", status);
}
