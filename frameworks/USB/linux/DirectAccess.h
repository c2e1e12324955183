/* DirectAccess.h: requests to a device that no driver serves; a plug-in, so that its library is loaded only
 * where there is such a device.
 *
 * Thread: one at a time for a device.
 * Owns:   a device belongs to who opened it; the descriptor stays the caller's, and open, until it is closed.
 * Errors: IOReturn; outputs are untouched on failure.
 */
#pragma once

#include "USBControl.h"

namespace usb {

struct DirectDevice;

struct DirectAccess {
    /** Takes the interface for this process, from the node of its device (/dev/bus/usb/…), opened for
     * writing. kIOReturnExclusiveAccess: a driver or another process has it. */
    IOReturn (*open)(int node, uint8_t interface, DirectDevice** device);
    /** Gives the interface back. */
    void (*close)(DirectDevice* device);
    /** A request on the default pipe, as it stands. Waits a few seconds at most. */
    IOReturn (*request)(DirectDevice* device, IOUSBDevRequest* request);
};

/** Null when the plug-in or its library is missing; says so once. */
const DirectAccess* loadDirectAccess();

/** The plug-in's one entry, and its type. */
inline constexpr char kDirectAccessSymbol[] = "tarvoDirectAccess";
using DirectAccessEntry = const DirectAccess* (*)();

}  // namespace usb
