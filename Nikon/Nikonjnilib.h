/* Nikonjnilib.h: the native methods of the host's class com.velmont.camera.nikon.NikonMaid.
 *
 * A host names a directory of camera modules and gets a module handle; with it it selects a camera and gets
 * a camera handle, which all camera operations take.
 *
 * Thread: any connection task. A camera module works for one thread at a time, so all calls on a module and
 *         its cameras wait for each other; modules of other types are not waited for. A capture or a
 *         transfer holds its module until the last file is written.
 * Owns:   returned arrays belong to the caller. A camera's handle lives until releaseCamera, whatever becomes
 *         of the camera and of its module.
 * Units:  live-view zoom in pixels of the live-view picture; focus in the camera's own steps.
 * Errors: results are what the host sees. A handle that is zero, stale, forged or of the other kind gets the
 *         answer of a method without a module or without an active camera: 0, null or nothing, and 65535
 *         for a camera type.
 */
#pragma once

#include "TarvoRemote/jni_env.h"

#define NIKON_ENTRY(result, name, ...)                                 \
    result Java_com_velmont_camera_nikon_NikonMaid_##name(JNIEnv* env, \
                                                          jobject object __VA_OPT__(, ) __VA_ARGS__)

/* ---- Modules and cameras (start.cpp, cameras.cpp) ---- */

/** Loads the module of a type (0 to 15) from the directory. Returns its handle, 0 on any failure. */
NIKON_ENTRY(jlong, InitializeSDK, jstring directory, jint moduleType);
/** Closes the module with all its cameras, which become inactive. 0: closed, or there was none; 1: something
 *  would not close. Then its handle stays good for another try, and cameras that are still open stay active.
 */
NIKON_ENTRY(jint, TerminateSDK, jlong module);
NIKON_ENTRY(jint, getCameraCount, jlong module);
/** 65535 when there is no such camera or it does not tell, 0 when it cannot be opened. */
NIKON_ENTRY(jint, getCameraTypeAtIndex, jlong module, jint index);
/** A camera handle, 0 when there is no such camera. One camera may be selected several times. */
NIKON_ENTRY(jlong, selectCameraAtIndex, jlong module, jint index);
/** Closes the camera and ends its handle. Other handles of the same camera become inactive. */
NIKON_ENTRY(void, releaseCamera, jlong camera);

/* ---- Settings (settings.cpp): capabilities that are enumerations, by the position in their list ---- */

/** 0 for an inactive camera, -1 for what cannot be read. */
NIKON_ENTRY(jint, GetSetting, jlong camera, jint capability);
NIKON_ENTRY(void, SetSetting, jlong camera, jint capability, jint index);
/** The list as texts; null for what is not offered, empty for elements that have no texts. */
NIKON_ENTRY(jobjectArray, GetSettingOptions, jlong camera, jint capability);

/* ---- Capture (capture.cpp, images.cpp, status.cpp) ---- */

/** Releases the shutter and brings the pictures: 0 done or inactive, -1 no source, -2 path too long, -3 the
 *  capture failed, -31 the module would not work, -4 no picture came. The path has no extension. */
NIKON_ENTRY(jint, CaptureImage, jlong camera, jstring imagePath);
/** Only sets the path for checkForImages, and lets the module work: 0, -1, -2 or -31. */
NIKON_ENTRY(jint, preCaptureImage, jlong camera, jstring imagePath);
/** Brings pictures that wait: their number, or -4, -5, -51 (an object cannot be had), -60 (no transfer). */
NIKON_ENTRY(jint, checkForImages, jlong camera);
/** 0 for an inactive camera, -1 when the level cannot be read. */
NIKON_ENTRY(jint, getBatteryLevel, jlong camera);
NIKON_ENTRY(jboolean, getBracketing, jlong camera);

/* ---- Live view and focus (live_view.cpp, zoom.cpp, focus.cpp) ---- */

/** 1 when the camera took the new state; 0 also when it was in this state before. */
NIKON_ENTRY(jboolean, SetLiveView, jlong camera, jboolean on);
NIKON_ENTRY(jboolean, IsLiveView, jlong camera);
/** The JPEG data of a fresh frame, or null. */
NIKON_ENTRY(jbyteArray, getLiveViewImage, jlong camera);
/** What the last fetched frame said; 0 before the first one. */
NIKON_ENTRY(jint, GetLiveViewZoomPositionX, jlong camera);
NIKON_ENTRY(jint, GetLiveViewZoomPositionY, jlong camera);
NIKON_ENTRY(jint, GetLiveViewZoomWidth, jlong camera);
NIKON_ENTRY(jint, GetLiveViewZoomHeight, jlong camera);
/** Does nothing before the first frame: only a frame tells the scale. */
NIKON_ENTRY(void, SetLiveViewZoomPosition, jlong camera, jint x, jint y);
/** Returns when the lens stands still, or after 100 frames. */
NIKON_ENTRY(void, driveFocus, jlong camera, jint steps);
