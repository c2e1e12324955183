/* Errors.h: from the kernel's errors to the platform's.
 *
 * Thread: any.
 */
#pragma once

#include "USBControl.h"

namespace usb {

/** Of opening a node: `error` is an errno value. */
IOReturn returnOfOpen(int error);

/** Of a request that the driver carries out. Most of its errors are a device that stalled, by the reason
 * which the device then gave. */
IOReturn returnOfRequest(int error);

}  // namespace usb
