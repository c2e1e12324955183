/* qtkit_internal.h: what the capture unit's files share among themselves.
 *
 * Thread: connection tasks, several at once on one camera; each function takes the camera's locks by itself.
 * Errors: an empty hold, with a line in the log.
 */
#pragma once

#include "QTKitCapture/src/PixelArrays.h"
#include "QTKitCapture/src/QTKitCaptureCamera.h"
#include "TarvoRemote/jni_env.h"

namespace qtkit {

/** The unit's log, on standard output with the tag "QTKitCapture". */
void debug(const char* format, ...) __attribute__((format(printf, 1, 2)));

/** Examines the newest frame and copies its words. The array as it is from then on: the previous one when
 *  there is no frame that can be read, none when the frame can't be taken. */
PixelHold fetchFrame(JNIEnv* env, QTKitCaptureCamera& camera);

/** The same for a still, which takes whatever is there afterwards: the frame before a failed one, too. */
PixelHold fetchDataBuffer(JNIEnv* env, QTKitCaptureCamera& camera);

/** Asks for frames of the size. Restarts the session, unless the camera has been released. */
void setImageDimensions(QTKitCaptureCamera& camera, int32_t width, int32_t height);

}  // namespace qtkit
