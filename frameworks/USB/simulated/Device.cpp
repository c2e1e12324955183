#include "frameworks/USB/simulated/Device.h"

#include <new>

#include "frameworks/USB/Matching.h"
#include "frameworks/USB/simulated/Interface.h"
#include "frameworks/USB/simulated/PlugIn.h"
#include "frameworks/USB/simulated/Services.h"

namespace bus {

namespace {

/** The video-control interface, the only one that the lab's devices have. */
constexpr IOUSBFindInterfaceRequest kVideoControl{14, 1, 0, 0};

}  // namespace

template <typename Number>
IOReturn Device::tell(std::string_view call, Number value, Number* out) const {
    if (out == nullptr) return kIOReturnBadArgument;
    if (const IOReturn fault = faultOf(call, at_.id()); fault != kIOReturnSuccess) return fault;
    if (!at_.isHere()) return kIOReturnNoDevice;
    *out = value;
    return kIOReturnSuccess;
}

IOReturn Device::GetLocationID(uint32_t* locationID) {
    return tell("GetLocationID", at_.usb().location, locationID);
}

IOReturn Device::GetDeviceVendor(uint16_t* vendor) {
    return tell("GetDeviceVendor", at_.usb().vendor, vendor);
}

IOReturn Device::GetDeviceProduct(uint16_t* product) {
    return tell("GetDeviceProduct", at_.usb().product, product);
}

IOReturn Device::CreateInterfaceIterator(const IOUSBFindInterfaceRequest* request, IOIterator** iterator) {
    if (request == nullptr) return kIOReturnBadArgument;
    const IOReturn fault = faultOf("CreateInterfaceIterator", at_.id());
    if (fault != kIOReturnSuccess) return fault;
    if (!at_.isHere()) return kIOReturnNoDevice;
    return handOut(iterator, [&] {
        std::vector<Ref<Service>> services;
        if (isWanted(*request, kVideoControl)) {
            services.push_back(Ref<Service>::adopt(new Service(at_, IOUserClientType::Interface)));
        }
        return new Iterator(std::move(services));
    });
}

IOReturn PlugIn::QueryInterface(IOUSBDeviceInterface** device) {
    if (type_ != IOUserClientType::Device) return kIOReturnBadArgument;
    const IOReturn fault = faultOf("QueryInterface", at_.id());
    if (fault != kIOReturnSuccess) return fault;
    return handOut(device, [&] { return new Device(at_); });
}

IOReturn PlugIn::QueryInterface(IOUSBInterfaceInterface** interface) {
    if (type_ != IOUserClientType::Interface) return kIOReturnBadArgument;
    const IOReturn fault = faultOf("QueryInterface", at_.id());
    if (fault != kIOReturnSuccess) return fault;
    return handOut(interface, [&] { return new Interface(at_); });
}

}  // namespace bus
