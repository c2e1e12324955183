#include "CanonEds/CanonEntryPoints.h"

#include "platform/CallScope.h"

CANON_ENTRY(jint, InitializeSDK) {
    (void)env, (void)object;
    const CallScope scope;
    return Mac_InitializeSDK();
}

CANON_ENTRY(jint, TerminateSDK) {
    (void)env, (void)object;
    const CallScope scope;
    return Mac_TerminateSDK();
}

CANON_ENTRY(jintArray, GetCameraList) {
    (void)object;
    const CallScope scope;
    return Mac_GetCameraList(env);
}

CANON_ENTRY(jstring, GetCameraName, jint cameraReference) {
    const CallScope scope;
    return Mac_GetCameraName(env, object, cameraReference);
}

CANON_ENTRY(jint, DoOpenSession, jint cameraReference) {
    const CallScope scope;
    return Mac_DoOpenSession(env, object, cameraReference);
}

CANON_ENTRY(jint, CloseSession, jint handle) {
    const CallScope scope;
    return Mac_CloseSession(env, object, handle);
}

CANON_ENTRY(jstring, GetFirmwareVersion, jint handle) {
    const CallScope scope;
    return Mac_GetFirmwareVersion(env, object, handle);
}

CANON_ENTRY(jint, GetSetting, jint handle, jint propertyId) {
    const CallScope scope;
    return Mac_GetSetting(env, object, handle, propertyId);
}

CANON_ENTRY(jboolean, SetSetting, jint handle, jint propertyId, jint value) {
    const CallScope scope;
    return Mac_SetSetting(env, object, handle, propertyId, value);
}

CANON_ENTRY(jintArray, GetSettingOptions, jint handle, jint propertyId) {
    const CallScope scope;
    return Mac_GetSettingOptions(env, object, handle, propertyId);
}

CANON_ENTRY(jint, DoPreCaptureImage, jint handle, jstring path, jboolean halfPress) {
    const CallScope scope;
    return Mac_DoPreCaptureImage(env, object, handle, path, halfPress);
}

CANON_ENTRY(jint, DoCaptureImage, jint handle, jstring path) {
    const CallScope scope;
    return Mac_DoCaptureImage(env, object, handle, path);
}

CANON_ENTRY(jint, DownloadImage, jint handle, jint directoryItem) {
    const CallScope scope;
    return Mac_DownloadImage(env, object, handle, directoryItem);
}

CANON_ENTRY(void, ExtendShutdownTimer, jint handle) {
    const CallScope scope;
    Mac_ExtendShutdownTimer(env, object, handle);
}

CANON_ENTRY(jint, DoStartLiveView, jint handle) {
    const CallScope scope;
    return Mac_DoStartLiveView(env, object, handle);
}

CANON_ENTRY(jint, DoStopLiveView, jint handle) {
    const CallScope scope;
    return Mac_DoStopLiveView(env, object, handle);
}

CANON_ENTRY(jbyteArray, DoGetLiveViewImageData, jint handle) {
    const CallScope scope;
    return Mac_DoGetLiveViewImageData(env, object, handle);
}

CANON_ENTRY(jboolean, IsLiveViewZoom, jint handle) {
    const CallScope scope;
    return Mac_IsLiveViewZoom(env, object, handle);
}

CANON_ENTRY(void, SetLiveViewZoom, jint handle, jboolean zoom) {
    const CallScope scope;
    Mac_SetLiveViewZoom(env, object, handle, zoom);
}

CANON_ENTRY(void, SetLiveViewZoomPosition, jint handle, jfloat x, jfloat y) {
    const CallScope scope;
    Mac_SetLiveViewZoomPosition(env, object, handle, x, y);
}

CANON_ENTRY(jfloat, GetLiveViewZoomPositionX, jint handle) {
    const CallScope scope;
    return Mac_GetLiveViewZoomPositionX(env, object, handle);
}

CANON_ENTRY(jfloat, GetLiveViewZoomPositionY, jint handle) {
    const CallScope scope;
    return Mac_GetLiveViewZoomPositionY(env, object, handle);
}

CANON_ENTRY(void, DriveFocus, jint handle, jint steps) {
    const CallScope scope;
    Mac_DriveFocus(env, object, handle, steps);
}

CANON_ENTRY(void, Idle) {
    (void)env, (void)object;
    const CallScope scope;
    Mac_Idle();
}
