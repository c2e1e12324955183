/* QTKitCapture.h: the native methods of the host's class com.velmont.camera.qtkit.QTKitCapture.
 *
 * Thread: connection tasks, several at once on one camera. What they share is guarded (QTKitCaptureCamera.h).
 * Owns:   returned strings and arrays are the caller's, but for the array of GetImageData: it belongs to the
 *         camera and stays as it is until the calling thread lets it go or asks for the next one.
 * Units:  pixels; settings are fractions, 0.0 to 1.0. Words are alpha, red, green, blue from the high byte
 *         down, row after row.
 * Errors: 0, null or nothing. A handle that is zero, stale or forged gets the same.
 */
#pragma once

#include "TarvoRemote/jni_env.h"

#define QTKIT_ENTRY(result, name, ...)                                    \
    result Java_com_velmont_camera_qtkit_QTKitCapture_##name(JNIEnv* env, \
                                                             jobject object __VA_OPT__(, ) __VA_ARGS__)

/* Devices and selection. Only devices with video count; they are numbered from 0. */
QTKIT_ENTRY(jint, Initialize);
QTKIT_ENTRY(void, Terminate);
QTKIT_ENTRY(jint, GetCameraCount);
/** Null for a name that is not ASCII. */
QTKIT_ENTRY(jstring, GetCameraName, jint index);
QTKIT_ENTRY(jlong, DoSelectCamera, jint index);
QTKIT_ENTRY(void, ReleaseCamera, jlong handle);
QTKIT_ENTRY(void, SetNoiseReduction, jlong handle, jboolean flag);

/* Frames and stills */
QTKIT_ENTRY(jintArray, GetImageData, jlong handle);
/** Lets the calling thread's array go. */
void QTKitCapture_ReleaseImageData();
QTKIT_ENTRY(jint, GetImageWidth, jlong handle);
/** 0 until a frame was fetched or its width asked for. */
QTKIT_ENTRY(jint, GetImageHeight, jlong handle);
QTKIT_ENTRY(void, SetImageDimensions, jlong handle, jint width, jint height);
/** One frame, or the mean of up to 120; waits for each. */
QTKIT_ENTRY(jintArray, CaptureImage, jlong handle, jint count, jint width, jint height);
/** Forwarders that the host's class once called; nobody does now. */
QTKIT_ENTRY(void, HandleProgress, jint percent);
QTKIT_ENTRY(void, HandleStatus, jint status);

/* Settings. The two directions disagree on the ids 0 and 1, and hosts rely on it. */
QTKIT_ENTRY(jboolean, hasUvcSettings, jlong handle);
QTKIT_ENTRY(void, setUvcSetting, jlong handle, jint setting, jfloat value);
QTKIT_ENTRY(jfloat, getUvcSetting, jlong handle, jint setting);
QTKIT_ENTRY(void, driveFocus, jlong handle, jint amount);
/** The sequence grabber's dialog; this platform has no grabber. */
QTKIT_ENTRY(jboolean, hasSettings, jlong handle);
QTKIT_ENTRY(void, settingsDialog, jlong handle);
