/* Bus.h: what the simulated bus and its objects share: whose they are, and how calls on them are answered.
 *
 * Thread: any.
 * Errors: IOReturn.
 */
#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <string_view>

#include "USBControl.h"
#include "lab/video/Camera.h"

namespace bus {

/** A device as it was plugged in at one time. */
struct Attachment {
    lab::video::CameraRef camera;
    lab::video::Link link = 0;

    const std::string& id() const { return camera->id(); }
    bool isHere() const { return camera->link() == link; }
    const lab::video::UsbSetup& usb() const { return *camera->setup().usb; }
};

enum class Kind : size_t { service, iterator, plugIn, device, interface };
inline constexpr size_t kKindCount = 5;

/** Counts the object that has it as a member. */
class Tally {
public:
    explicit Tally(Kind kind);
    ~Tally();
    Tally(const Tally&) = delete;
    Tally& operator=(const Tally&) = delete;

private:
    Kind kind_;
};

IOReturn returnOf(lab::video::UsbOutcome outcome);

/** What a fault makes of a call that is not shown: success, if there is none. */
IOReturn faultOf(std::string_view call, const std::string& device);

/** Hands a new object out; `make` may throw std::bad_alloc. */
template <typename Wanted, typename Make>
IOReturn handOut(Wanted** out, Make make) {
    if (out == nullptr) return kIOReturnBadArgument;
    try {
        *out = make();
        return kIOReturnSuccess;
    } catch (const std::bad_alloc&) {
        return kIOReturnNoMemory;
    }
}

}  // namespace bus
