/* Device.h: a webcam on the bus: where it is, what it is, and which interfaces it has.
 *
 * Thread: any.
 * Errors: kIOReturnNoDevice once it was unplugged.
 */
#pragma once

#include <string_view>
#include <utility>

#include "frameworks/USB/simulated/Bus.h"

namespace bus {

class Device final : public IOUSBDeviceInterface {
public:
    explicit Device(Attachment at) : at_(std::move(at)) {}

    IOReturn GetLocationID(uint32_t* locationID) override;
    IOReturn GetDeviceVendor(uint16_t* vendor) override;
    IOReturn GetDeviceProduct(uint16_t* product) override;
    IOReturn CreateInterfaceIterator(const IOUSBFindInterfaceRequest* request,
                                     IOIterator** iterator) override;

private:
    ~Device() override = default;

    template <typename Number>
    IOReturn tell(std::string_view call, Number value, Number* out) const;

    const Attachment at_;
    const Tally tally_{Kind::device};
};

}  // namespace bus
