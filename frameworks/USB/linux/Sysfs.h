/* Sysfs.h: devices and their interfaces as the kernel lists them. Needs no permission and opens no device.
 *
 * Thread: any.
 * Errors: what cannot be read is not there: between two looks a device may be pulled out.
 */
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <vector>

#include "frameworks/USB/linux/System.h"
#include "platform/UsbLocation.h"

namespace usb {

/** A device as it was plugged in at one time. */
struct Attachment {
    std::string name;  // the kernel's, such as "1-2.4"
    UsbIdentity identity{};
    uint32_t bus = 0;
    uint32_t number = 0;  // on its bus; another one each time that a device is plugged in
};

/** An interface of the configuration and in the setting that the device is in. */
struct InterfaceFacts {
    uint8_t configuration = 0;
    uint8_t number = 0;
    uint8_t alternate = 0;
    uint8_t deviceClass = 0;
    uint8_t subclass = 0;
    uint8_t protocol = 0;
};

/** All devices but root hubs, in the order of their places. */
std::vector<Attachment> attachedDevices(const System& system);
/** Whether it is still the same device that is plugged in there. */
bool isHere(const System& system, const Attachment& device);

/** By their numbers. */
std::vector<InterfaceFacts> interfacesOf(const System& system, const Attachment& device);
/** Device descriptor and configurations; empty when they cannot be read. */
std::vector<uint8_t> descriptorsOf(const System& system, const Attachment& device);
/** The paths of the video nodes that a driver has made for the interface, oldest first. */
std::vector<std::string> videoNodesOf(const System& system, const Attachment& device,
                                      const InterfaceFacts& interface);
/** The path of the node for requests without a driver. */
std::string rawNodeOf(const System& system, const Attachment& device);

}  // namespace usb
