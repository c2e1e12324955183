/* Errors.h: the numbers under which the capture framework reports, and how it hands errors out.
 *
 * Thread: any.
 * Owns:   an error that is handed out belongs to the thread's innermost CallScope.
 */
#pragma once

#include "frameworks/QTKit/gstreamer/Toolkit.h"

namespace capture {

/** Besides QTErrorDeviceWasDisconnected; the numbers are ours. */
enum ErrorCode : int64_t {
    kErrorDeviceNotOpen = 2,      // a session needs a device that was opened
    kErrorOutputInUse = 3,        // an output belongs to one session
    kErrorUnsupportedFormat = 4,  // frames are BGRA
    kErrorNoResources = 5,        // no memory, no thread, no descriptor, or a part of GStreamer is missing
    kErrorDeviceBusy = 6,         // another program, or another session, streams from the device
    kErrorPermissionDenied = 7,   // the user may not use the device
    kErrorNoUsableMode = 8,       // the device and we could not agree on size and format
    kErrorStreamFailed = 9,       // the device is there, and does not deliver
    kErrorSessionFull = 10        // a session has one input and one output
};

Ref<NSError> makeError(const Failure& failure);
/** Fills the caller's slot, if there is one. False, for the caller to return. */
bool giveError(NSError** slot, const Failure& failure);
/** Posts the runtime error, from the calling thread. */
void postRuntimeError(QTCaptureSession& session, const Failure& failure);

}  // namespace capture
