#include "frameworks/USB/simulated/Services.h"

#include <new>

#include "frameworks/USB/Matching.h"
#include "frameworks/USB/simulated/PlugIn.h"
#include "lab/World.h"

namespace bus {

namespace {

using lab::video::Camera;

std::vector<Ref<Service>> matchingServices(const IOServiceMatching& matching) {
    std::vector<Ref<Service>> services;
    for (const lab::DeviceRef& device : lab::World::instance().devices()) {
        const auto camera = std::dynamic_pointer_cast<Camera>(device);
        if (!camera || !camera->setup().usb) continue;
        const lab::video::UsbSetup& usb = *camera->setup().usb;
        if (!isWanted(matching, usb.vendor, usb.product)) continue;
        const std::optional<lab::video::Link> link = camera->link();
        if (!link) continue;
        services.push_back(Ref<Service>::adopt(new Service({camera, *link}, IOUserClientType::Device)));
    }
    return services;
}

}  // namespace

IOService* Iterator::next() {
    return next_ < services_.size() ? services_[next_++].take() : nullptr;
}

}  // namespace bus

IOReturn IOServiceGetMatchingServices(const IOServiceMatching& matching, IOIterator** iterator) {
    const IOReturn fault = bus::faultOf("IOServiceGetMatchingServices", {});
    if (fault != kIOReturnSuccess) return fault;
    return bus::handOut(iterator, [&] { return new bus::Iterator(bus::matchingServices(matching)); });
}

IOReturn IOCreatePlugInInterfaceForService(IOService& service, IOUserClientType type,
                                           IOCFPlugInInterface** plugIn) {
    const auto& own = static_cast<const bus::Service&>(service);
    const IOReturn fault = bus::faultOf("IOCreatePlugInInterfaceForService", own.at.id());
    if (fault != kIOReturnSuccess) return fault;
    if (type != own.type) return kIOReturnBadArgument;
    if (!own.at.isHere()) return kIOReturnNoDevice;
    return bus::handOut(plugIn, [&] { return new bus::PlugIn(own.at, type); });
}

IOReturn IOObjectRelease(IOService* service) {
    if (service == nullptr) return kIOReturnBadArgument;
    const IOReturn fault = bus::faultOf("IOObjectRelease", static_cast<bus::Service&>(*service).at.id());
    service->release();
    return fault;
}
