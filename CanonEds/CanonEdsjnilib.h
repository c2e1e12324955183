/* CanonEdsjnilib.h: the Canon camera logic, one function for each call that a host can make.
 *
 * Thread: any connection task, and several at once on one camera; nothing here serialises them.
 * Owns:   returned strings and arrays belong to the caller (the live-view frame excepted).
 * Units:  zoom positions are fractions of the full image, offset by 0.1 from the camera's top left corner;
 *         percentages 0 to 100.
 * Errors: results are what the host sees: the library's error numbers, 130 (no open session), 134 (live view
 *         refused), -1 (bad arguments or a failed capture), 1001 and 1002 (unusable download path). A
 *         handle that is zero, stale or forged, or whose camera is gone, gets the no-session answer.
 */
#pragma once

#include "TarvoRemote/jni_env.h"

constexpr jint kNoSession = 130;
constexpr jint kLiveViewRefused = 134;
constexpr jint kBadArguments = -1;
constexpr jint kPathIsNoText = 1001;
constexpr jint kPathIsNoFile = 1002;

/* Library start and stop (CanonMemPool.cpp) */
jint Mac_InitializeSDK();
jint Mac_TerminateSDK();
/** Whether the library was ever initialised; never goes back to false. */
bool isLibraryInitialised();

/* Cameras and sessions */
jintArray Mac_GetCameraList(JNIEnv* env);
jstring Mac_GetCameraName(JNIEnv* env, jobject object, jint cameraReference);
/** The session's handle, 0 if the camera refuses, 130 for a reference that names no camera. */
jint Mac_DoOpenSession(JNIEnv* env, jobject object, jint cameraReference);
jint Mac_CloseSession(JNIEnv* env, jobject object, jint handle);
jstring Mac_GetFirmwareVersion(JNIEnv* env, jobject object, jint handle);

/* Settings: by the library's property ids, as 32-bit values */
jint Mac_GetSetting(JNIEnv* env, jobject object, jint handle, jint propertyId);
/** True once the camera took the value; waits up to about 2 s for it to report the value back. */
jboolean Mac_SetSetting(JNIEnv* env, jobject object, jint handle, jint propertyId, jint value);
jintArray Mac_GetSettingOptions(JNIEnv* env, jobject object, jint handle, jint propertyId);

/* Capture and download */
jint Mac_DoPreCaptureImage(JNIEnv* env, jobject object, jint handle, jstring path, jboolean halfPress);
jint Mac_DoCaptureImage(JNIEnv* env, jobject object, jint handle, jstring path);
/** Writes the file whole or leaves none, and uses the item up, unless it answers -1 at once. */
jint Mac_DownloadImage(JNIEnv* env, jobject object, jint handle, jint directoryItem);
void Mac_ExtendShutdownTimer(JNIEnv* env, jobject object, jint handle);

/* Live view and focus */
jint Mac_DoStartLiveView(JNIEnv* env, jobject object, jint handle);
jint Mac_DoStopLiveView(JNIEnv* env, jobject object, jint handle);
/** The session's frame buffer, which stays unchanged until the calling thread releases it. */
jbyteArray Mac_DoGetLiveViewImageData(JNIEnv* env, jobject object, jint handle);
void Mac_ReleaseLiveViewImageData();
jboolean Mac_IsLiveViewZoom(JNIEnv* env, jobject object, jint handle);
void Mac_SetLiveViewZoom(JNIEnv* env, jobject object, jint handle, jboolean zoom);
void Mac_SetLiveViewZoomPosition(JNIEnv* env, jobject object, jint handle, jfloat x, jfloat y);
jfloat Mac_GetLiveViewZoomPositionX(JNIEnv* env, jobject object, jint handle);
jfloat Mac_GetLiveViewZoomPositionY(JNIEnv* env, jobject object, jint handle);
jint Mac_DriveFocus(JNIEnv* env, jobject object, jint handle, jint steps);
void Mac_Idle();
