/* Path.h: a way by which requests reach a device.
 *
 * Thread: one at a time, under the lock `requests` of the device's state.
 * Errors: IOReturn; a request's outputs are untouched on failure.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "USBControl.h"
#include "frameworks/USB/linux/DeviceState.h"
#include "frameworks/USB/linux/Sysfs.h"
#include "frameworks/USB/linux/System.h"

namespace usb {

class Path {
public:
    Path() = default;
    Path(const Path&) = delete;
    Path& operator=(const Path&) = delete;
    virtual ~Path() = default;

    virtual IOReturn request(IOUSBDevRequest& request) = 0;
};

inline constexpr uint8_t kToInterface = 0x21;    // class request, host to device
inline constexpr uint8_t kFromInterface = 0xA1;  // class request, device to host

inline bool isFromDevice(const IOUSBDevRequest& request) {
    constexpr uint8_t kFromDevice = 0x80;
    return (request.bmRequestType & kFromDevice) != 0;
}

/** Where a path leads. */
struct Target {
    System& system;
    Attachment device;
    InterfaceFacts interface;
    std::shared_ptr<DeviceState> state;
};

/** Opens the way: the driver's, where it has made video nodes for the interface, else the direct one. The
 * target must outlive it, and its state's `requests` be locked. */
IOReturn openPath(const Target& target, std::unique_ptr<Path>& path);

/** The parts of openPath(). */
IOReturn openDriverPath(const Target& target, const std::vector<std::string>& nodes,
                        std::unique_ptr<Path>& path);
IOReturn openDirectPath(const Target& target, std::unique_ptr<Path>& path);

/** A change, at the device's pace. */
template <typename Set>
IOReturn atPace(const Target& target, Set set) {
    target.state->pace.beforeSet(target.system);
    const IOReturn result = set();
    target.state->pace.afterSet(target.system, result);
    return result;
}

}  // namespace usb
