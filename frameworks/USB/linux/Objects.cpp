#include "frameworks/USB/linux/Objects.h"

#include "frameworks/USB/Matching.h"

namespace usb {

namespace {

IOUSBFindInterfaceRequest kindOf(const InterfaceFacts& interface) {
    return {interface.deviceClass, interface.subclass, interface.protocol, interface.alternate};
}

Ref<Service> serviceAt(Place place) {
    return Ref<Service>::adopt(new Service(std::move(place)));
}

}  // namespace

IOService* Iterator::next() {
    return next_ < services_.size() ? services_[next_++].take() : nullptr;
}

IOReturn PlugIn::QueryInterface(IOUSBDeviceInterface** device) {
    if (device == nullptr || place_.interface) return kIOReturnBadArgument;
    return guarded([&] {
        *device = new Device(place_.device);
        return kIOReturnSuccess;
    });
}

IOReturn PlugIn::QueryInterface(IOUSBInterfaceInterface** interface) {
    if (interface == nullptr || !place_.interface) return kIOReturnBadArgument;
    return guarded([&] {
        *interface = new Interface({systemInUse(), place_.device, *place_.interface, stateOf(place_.device)});
        return kIOReturnSuccess;
    });
}

/* ---- Devices ---- */

template <typename Number>
IOReturn Device::tell(Number value, Number* out) const {
    if (out == nullptr) return kIOReturnBadArgument;
    return guarded([&] {
        if (!isHere(systemInUse(), device_)) return kIOReturnNoDevice;
        *out = value;
        return kIOReturnSuccess;
    });
}

IOReturn Device::GetLocationID(uint32_t* locationID) {
    return tell(device_.identity.location, locationID);
}

IOReturn Device::GetDeviceVendor(uint16_t* vendor) {
    return tell(device_.identity.vendor, vendor);
}

IOReturn Device::GetDeviceProduct(uint16_t* product) {
    return tell(device_.identity.product, product);
}

IOReturn Device::CreateInterfaceIterator(const IOUSBFindInterfaceRequest* request, IOIterator** iterator) {
    if (request == nullptr || iterator == nullptr) return kIOReturnBadArgument;
    return guarded([&] {
        const System& system = systemInUse();
        if (!isHere(system, device_)) return kIOReturnNoDevice;
        std::vector<Ref<Service>> services;
        for (const InterfaceFacts& interface : interfacesOf(system, device_)) {
            if (isWanted(*request, kindOf(interface))) services.push_back(serviceAt({device_, interface}));
        }
        *iterator = new Iterator(std::move(services));
        return kIOReturnSuccess;
    });
}

/* ---- Interfaces ---- */

Interface::~Interface() {
    close();
}

bool Interface::isOpen() const {
    return target_.state->isTakenBy(target_.interface.number, this);
}

/** What is wrong with an interface that is not open. */
IOReturn Interface::missing() const {
    return isHere(target_.system, target_.device) ? kIOReturnNotOpen : kIOReturnNoDevice;
}

void Interface::close() {
    {
        const std::lock_guard turn(target_.state->requests);
        path_.reset();
    }
    target_.state->giveBack(target_.interface.number, this);
}

IOReturn Interface::openPathNow() {
    const std::lock_guard turn(target_.state->requests);
    return openPath(target_, path_);
}

IOReturn Interface::USBInterfaceOpen() {
    return guarded([&] {
        if (!isHere(target_.system, target_.device)) return kIOReturnNoDevice;
        if (!target_.state->take(target_.interface.number, this)) return kIOReturnExclusiveAccess;
        const IOReturn result = guarded([&] { return openPathNow(); });
        if (result != kIOReturnSuccess) target_.state->giveBack(target_.interface.number, this);
        return result;
    });
}

IOReturn Interface::USBInterfaceClose() {
    return guarded([&] {
        if (!isOpen()) return missing();
        close();
        return kIOReturnSuccess;
    });
}

IOReturn Interface::ControlRequest(uint8_t pipeRef, IOUSBDevRequest* request) {
    constexpr uint8_t kDefaultPipe = 0;
    if (request == nullptr || pipeRef != kDefaultPipe) return kIOReturnBadArgument;
    if (request->pData == nullptr && request->wLength > 0) return kIOReturnBadArgument;
    return guarded([&] {
        const std::lock_guard turn(target_.state->requests);
        return path_ ? path_->request(*request) : missing();
    });
}

/** A stalled request on the default pipe is over with the next one, and the other pipe is the driver's. */
IOReturn Interface::ClearPipeStall(uint8_t pipeRef) {
    constexpr uint8_t kStatusPipe = 1;
    if (pipeRef > kStatusPipe) return kIOReturnBadArgument;
    return guarded([&] {
        if (!isHere(target_.system, target_.device)) return kIOReturnNoDevice;
        return isOpen() ? kIOReturnSuccess : kIOReturnNotOpen;
    });
}

}  // namespace usb

/* ---- The library's functions ---- */

IOReturn IOServiceGetMatchingServices(const IOServiceMatching& matching, IOIterator** iterator) {
    if (iterator == nullptr) return kIOReturnBadArgument;
    return usb::guarded([&] {
        std::vector<Ref<usb::Service>> services;
        for (usb::Attachment& device : usb::attachedDevices(usb::systemInUse())) {
            if (isWanted(matching, device.identity.vendor, device.identity.product)) {
                services.push_back(usb::serviceAt({std::move(device), std::nullopt}));
            }
        }
        *iterator = new usb::Iterator(std::move(services));
        return kIOReturnSuccess;
    });
}

IOReturn IOCreatePlugInInterfaceForService(IOService& service, IOUserClientType type,
                                           IOCFPlugInInterface** plugIn) {
    const usb::Place& place = static_cast<const usb::Service&>(service).place;
    if (plugIn == nullptr || type != place.type()) return kIOReturnBadArgument;
    return usb::guarded([&] {
        if (!usb::isHere(usb::systemInUse(), place.device)) return kIOReturnNoDevice;
        *plugIn = new usb::PlugIn(place);
        return kIOReturnSuccess;
    });
}

IOReturn IOObjectRelease(IOService* service) {
    if (service == nullptr) return kIOReturnBadArgument;
    service->release();
    return kIOReturnSuccess;
}
