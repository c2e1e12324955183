/* Driver.h: the kernel's video driver, asked for single controls.
 *
 * Thread: one at a time.
 * Errors: IOReturn; outputs are untouched on failure.
 * Follows: the kernel's V4L2 control calls, and the query call of its uvcvideo driver.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "USBControl.h"
#include "frameworks/USB/linux/ControlTable.h"
#include "frameworks/USB/linux/System.h"

namespace usb {

/** What the driver tells of a control. */
struct DriverControl {
    int64_t lowest = 0;
    int64_t highest = 0;
    int64_t step = 0;
    int64_t standard = 0;
    bool isReadable = true;
    bool isWritable = true;
    bool isInactive = false;  // something automatic is in charge of it
    bool isVolatile = false;  // the device changes it by itself
};

/** Up to two controls of one request. */
struct DriverValue {
    uint32_t id;
    int32_t number;
};

/** One video node of the driver. */
class Driver {
public:
    Driver(System& system, Descriptor node) : system_(&system), node_(std::move(node)) {}

    /** Whether frames come from the node: there are others, for what goes with them. */
    bool isCapture();
    IOReturn describe(uint32_t id, DriverControl& control);
    bool hasMenuItem(uint32_t id, uint32_t item);
    IOReturn get(std::span<DriverValue> values);
    /** All in one request to the device. */
    IOReturn set(std::span<const DriverValue> values);
    /** A request to an extension unit; `data` must have just the size of the answer or of the control. */
    IOReturn query(uint8_t unit, uint8_t selector, uint8_t request, std::span<uint8_t> data);

private:
    IOReturn call(unsigned long request, void* argument);

    System* system_;
    Descriptor node_;
};

}  // namespace usb
