/* DeviceState.h: what all of this process's objects of one plugged-in device share.
 *
 * Thread: any; each lock guards what stands behind it. `requests` is held while a request is under way, and
 *         `owners` is a leaf.
 * Owns:   itself, for as long as an object of the device lives.
 */
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "frameworks/USB/linux/Descriptors.h"
#include "frameworks/USB/linux/Pace.h"
#include "frameworks/USB/linux/Sysfs.h"

namespace usb {

struct DeviceState {
    /** False: somebody has the interface open. */
    bool take(uint8_t interface, const void* owner);
    bool isTakenBy(uint8_t interface, const void* owner);
    /** Does nothing for who has not taken it. */
    void giveBack(uint8_t interface, const void* owner);

    std::mutex requests;  // one request at a time goes to a device, whatever interface it is for
    Pace pace;
    std::map<uint8_t, VideoControl> controls;                 // by interface, once read
    std::map<std::pair<uint8_t, uint8_t>, uint16_t> lengths;  // of extension units' controls, once asked for

private:
    std::mutex owners_;
    std::map<uint8_t, const void*> ownerOf_;
};

std::shared_ptr<DeviceState> stateOf(const Attachment& device);

}  // namespace usb
