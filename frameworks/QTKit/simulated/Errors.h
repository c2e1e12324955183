/* Errors.h: the numbers under which the simulated capture framework reports, and how it hands errors out.
 *
 * Thread: any.
 * Owns:   an error that is handed out belongs to the thread's innermost CallScope.
 */
#pragma once

#include "QTKit.h"

namespace capture {

/** Besides QTErrorDeviceWasDisconnected; the numbers are ours. */
enum ErrorCode : int64_t {
    kErrorRefused = 1,            // a fault of the lab
    kErrorDeviceNotOpen = 2,      // a session needs a device that was opened
    kErrorOutputInUse = 3,        // an output belongs to one session
    kErrorUnsupportedFormat = 4,  // frames are BGRA
    kErrorNoResources = 5         // no memory, or no thread
};

Ref<NSError> makeError(int64_t code);
/** Fills the caller's slot, if there is one. */
void giveError(NSError** slot, int64_t code);

}  // namespace capture
