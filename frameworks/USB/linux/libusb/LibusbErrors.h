/* LibusbErrors.h: from libusb's errors to the platform's.
 *
 * Thread: any.
 */
#pragma once

#include "USBControl.h"

namespace usb {

/** `error` is 0 or one of LIBUSB_ERROR_…. */
IOReturn returnOfLibusb(int error);

}  // namespace usb
