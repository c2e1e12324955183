/* UsbLocation.h: where a USB device is plugged in, as one number, and the text that names the device by it.
 *
 * The number has the platform's shape: the bus in the top byte, below it one hexadecimal digit for the port
 * of each tier, root port first: port 1 of the hub at port 2 of bus 0x1A is 0x1A210000. It stays the same as
 * long as the device stays where it is, and both the capture framework and the USB library build it from the
 * same place, so that the two find the same device. 0 is no device's number.
 *
 * Two devices of a machine never share a number as long as every port of a chain is at most 15 and no chain
 * is longer than six, which is as deep as USB goes. Port numbers above 15 do exist, on the root hubs of large
 * machines. A chain that begins with one and goes on with at most three ordinary ports keeps a number of its
 * own: digit 0, two digits for the root port, one for each port below. For what remains the digits are 0, 0
 * and a hash that fills the rest, so that two such devices of one bus could meet, by chance.
 *
 * Thread: any.
 * Errors: nothing, for what is no USB device or names a bus that has no byte.
 * Follows: Universal Serial Bus Specification 2.0, 4.1.1 (tiers); the kernel's names of USB devices.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/Export.h"

/** What the system tells of a USB device without opening it. */
struct UsbIdentity {
    uint32_t location;
    uint16_t vendor;
    uint16_t product;

    bool operator==(const UsbIdentity&) const = default;
};

/** Of a device at the end of a chain of ports; an empty chain is the bus's root hub. */
TARVO_PLATFORM_API std::optional<uint32_t> usbLocation(uint32_t bus, std::span<const uint32_t> ports);

/** Of the device that the kernel gives this name: "1-2.4.1", or "usb1" for a root hub. What follows a colon,
 *  which names an interface ("1-2.4.1:1.0"), is left out. */
TARVO_PLATFORM_API std::optional<uint32_t> usbLocationOfName(std::string_view name);

/** Of the USB device that a place of sysfs belongs to: the device's own folder, or one of anything below it,
 *  like an interface or a video node. Symbolic links are followed. */
TARVO_PLATFORM_API std::optional<UsbIdentity> usbIdentityOfPath(const std::string& sysfsPath);

/** The unique id of a USB video device: "0x", then location (eight digits), vendor and product (four each).
 */
TARVO_PLATFORM_API std::string usbUniqueId(const UsbIdentity& identity);
