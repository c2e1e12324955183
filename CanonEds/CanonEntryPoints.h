/* CanonEntryPoints.h: the native methods of the host's class com.velmont.camera.canon.CanonEdsWrapper.
 *
 * Each opens a scope for temporary platform objects and calls the Mac_ function of the same name.
 * CanonEdsjnilib.h says what they do.
 *
 * Thread: connection tasks.
 */
#pragma once

#include "CanonEds/CanonEdsjnilib.h"

#define CANON_ENTRY(result, name, ...)                                       \
    result Java_com_velmont_camera_canon_CanonEdsWrapper_##name(JNIEnv* env, \
                                                                jobject object __VA_OPT__(, ) __VA_ARGS__)

CANON_ENTRY(jint, InitializeSDK);
CANON_ENTRY(jint, TerminateSDK);
CANON_ENTRY(jintArray, GetCameraList);
CANON_ENTRY(jstring, GetCameraName, jint cameraReference);
CANON_ENTRY(jint, DoOpenSession, jint cameraReference);
CANON_ENTRY(jint, CloseSession, jint handle);
CANON_ENTRY(jstring, GetFirmwareVersion, jint handle);
CANON_ENTRY(jint, GetSetting, jint handle, jint propertyId);
CANON_ENTRY(jboolean, SetSetting, jint handle, jint propertyId, jint value);
CANON_ENTRY(jintArray, GetSettingOptions, jint handle, jint propertyId);
CANON_ENTRY(jint, DoPreCaptureImage, jint handle, jstring path, jboolean halfPress);
CANON_ENTRY(jint, DoCaptureImage, jint handle, jstring path);
CANON_ENTRY(jint, DownloadImage, jint handle, jint directoryItem);
CANON_ENTRY(void, ExtendShutdownTimer, jint handle);
CANON_ENTRY(jint, DoStartLiveView, jint handle);
CANON_ENTRY(jint, DoStopLiveView, jint handle);
CANON_ENTRY(jbyteArray, DoGetLiveViewImageData, jint handle);
CANON_ENTRY(jboolean, IsLiveViewZoom, jint handle);
CANON_ENTRY(void, SetLiveViewZoom, jint handle, jboolean zoom);
CANON_ENTRY(void, SetLiveViewZoomPosition, jint handle, jfloat x, jfloat y);
CANON_ENTRY(jfloat, GetLiveViewZoomPositionX, jint handle);
CANON_ENTRY(jfloat, GetLiveViewZoomPositionY, jint handle);
CANON_ENTRY(void, DriveFocus, jint handle, jint steps);
CANON_ENTRY(void, Idle);
