#include "tests/QTKitCapture/FakeUsb.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {

template <class... Values>
std::string text(const char* format, Values... values) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format, values...);
    return buffer;
}

struct Service final : IOService {
    Service(FakeUsbDevice& of, bool isForInterface) : device(of), isInterface(isForInterface) {}
    FakeUsbDevice& device;
    bool isInterface;
};

struct Iterator final : IOIterator {
    std::vector<Service*> services;
    size_t at = 0;

    ~Iterator() override {
        std::for_each(services.begin() + static_cast<std::ptrdiff_t>(at), services.end(),
                      [](Service* service) { service->release(); });
    }
    IOService* next() override { return at < services.size() ? services[at++] : nullptr; }
};

struct Interface final : IOUSBInterfaceInterface {
    explicit Interface(FakeUsbDevice& of) : device(of) {}
    FakeUsbDevice& device;

    IOReturn USBInterfaceOpen() override {
        FakeUsb& bus = FakeUsb::bus();
        bus.note("open");
        if (device.open != kIOReturnSuccess) return device.open;
        const std::lock_guard guard(bus.mutex);
        bus.mostOpenInterfaces = std::max(bus.mostOpenInterfaces, ++bus.openInterfaces);
        return kIOReturnSuccess;
    }
    IOReturn USBInterfaceClose() override {
        FakeUsb::bus().note("close");
        const std::lock_guard guard(FakeUsb::bus().mutex);
        // The end of a control closes its interface once more.
        if (FakeUsb::bus().openInterfaces == 0) return kIOReturnNotOpen;
        --FakeUsb::bus().openInterfaces;
        return kIOReturnSuccess;
    }
    IOReturn ControlRequest(uint8_t pipe, IOUSBDevRequest* request) override {
        if (pipe != 0) FakeUsb::bus().note(text("pipe %d", pipe));
        return FakeUsb::bus().carryOut(device, *request);
    }
    IOReturn ClearPipeStall(uint8_t pipe) override {
        FakeUsb::bus().note(text("clear %d", pipe));
        return kIOReturnSuccess;
    }
};

struct Device final : IOUSBDeviceInterface {
    explicit Device(FakeUsbDevice& of) : device(of) {}
    FakeUsbDevice& device;

    IOReturn GetLocationID(uint32_t* location) override {
        *location = device.location;
        return kIOReturnSuccess;
    }
    IOReturn GetDeviceVendor(uint16_t* vendor) override {
        *vendor = device.vendor;
        return kIOReturnSuccess;
    }
    IOReturn GetDeviceProduct(uint16_t* product) override {
        *product = device.product;
        return kIOReturnSuccess;
    }
    IOReturn CreateInterfaceIterator(const IOUSBFindInterfaceRequest* wanted, IOIterator** made) override {
        const bool isVideoControl = wanted->bInterfaceClass == 14 && wanted->bInterfaceSubClass == 1 &&
                                    wanted->bInterfaceProtocol == 0xFFFF &&
                                    wanted->bAlternateSetting == 0xFFFF;
        auto* iterator = new Iterator;
        if (isVideoControl && device.hasControlInterface) {
            iterator->services.push_back(new Service(device, true));
        }
        *made = iterator;
        return kIOReturnSuccess;
    }
};

struct PlugIn final : IOCFPlugInInterface {
    explicit PlugIn(FakeUsbDevice& of) : device(of) {}
    FakeUsbDevice& device;

    IOReturn QueryInterface(IOUSBDeviceInterface** found) override {
        if (device.deviceQuery == kIOReturnSuccess) *found = new Device(device);
        return device.deviceQuery;
    }
    IOReturn QueryInterface(IOUSBInterfaceInterface** found) override {
        if (device.interfaceQuery == kIOReturnSuccess) *found = new Interface(device);
        return device.interfaceQuery;
    }
};

}  // namespace

FakeUsb& FakeUsb::bus() {
    static FakeUsb theBus;
    return theBus;
}

void FakeUsb::reset() {
    const std::lock_guard guard(mutex);
    devices_.clear();
    calls_.clear();
    openInterfaces = mostOpenInterfaces = 0;
}

FakeUsbDevice& FakeUsb::add(const FakeUsbDevice& device) {
    devices_.push_back(std::make_unique<FakeUsbDevice>(device));
    return *devices_.back();
}

std::vector<FakeUsbDevice*> FakeUsb::devices() {
    std::vector<FakeUsbDevice*> all;
    for (const auto& device : devices_) {
        all.push_back(device.get());
    }
    return all;
}

std::vector<std::string> FakeUsb::calls() {
    const std::lock_guard guard(mutex);
    return calls_;
}

std::vector<std::string> FakeUsb::requests() {
    std::vector<std::string> found;
    for (const std::string& call : calls()) {
        if (call.starts_with("A1 ") || call.starts_with("21 ")) found.push_back(call);
    }
    return found;
}

void FakeUsb::forget() {
    const std::lock_guard guard(mutex);
    calls_.clear();
}

void FakeUsb::note(const std::string& call) {
    const std::lock_guard guard(mutex);
    calls_.push_back(call);
}

IOReturn FakeUsb::carryOut(FakeUsbDevice& device, IOUSBDevRequest& request) {
    auto* bytes = static_cast<uint8_t*>(request.pData);
    std::string told = text("%02X %02X %04x %04x %d", request.bmRequestType, request.bRequest, request.wValue,
                            request.wIndex, request.wLength);
    const bool isSet = request.bmRequestType == 0x21;
    for (int i = 0; isSet && i < request.wLength; ++i) {
        told += text(i == 0 ? ": %02x" : "%02x", bytes[i]);
    }
    const std::lock_guard guard(mutex);
    calls_.push_back(told);
    if (device.request != kIOReturnSuccess) return device.request;
    const auto found = device.controls.find({request.wIndex >> 8, request.wValue >> 8});
    if ((request.wIndex & 0xFF) != device.interface || found == device.controls.end()) {
        return kIOUSBPipeStalled;
    }
    FakeUsbControl& control = found->second;
    const std::map<uint8_t, uint64_t> values = {
        {0x81, control.current}, {0x82, control.min}, {0x83, control.max}};
    uint64_t value = isSet ? 0 : values.at(request.bRequest);
    for (int i = 0; i < request.wLength; ++i) {
        if (isSet) {
            value |= static_cast<uint64_t>(bytes[i]) << 8 * i;
        } else {
            bytes[i] = static_cast<uint8_t>(value >> 8 * i);
        }
    }
    if (isSet) control.current = value;
    request.wLenDone = request.wLength;
    return kIOReturnSuccess;
}

IOReturn IOServiceGetMatchingServices(const IOServiceMatching& matching, IOIterator** made) {
    auto* iterator = new Iterator;
    for (FakeUsbDevice* device : FakeUsb::bus().devices()) {
        const bool matches = !matching.hasIds ||
                             (matching.idVendor == device->vendor && matching.idProduct == device->product);
        if (matches) iterator->services.push_back(new Service(*device, false));
    }
    *made = iterator;
    return kIOReturnSuccess;
}

IOReturn IOCreatePlugInInterfaceForService(IOService& service, IOUserClientType type,
                                           IOCFPlugInInterface** made) {
    auto& known = static_cast<Service&>(service);
    if (known.isInterface != (type == IOUserClientType::Interface)) return kIOReturnBadArgument;
    const IOReturn status = known.isInterface ? known.device.interfacePlugIn : known.device.devicePlugIn;
    if (status == kIOReturnSuccess) *made = new PlugIn(known.device);
    return status;
}

IOReturn IOObjectRelease(IOService* service) {
    auto* known = static_cast<Service*>(service);
    const IOReturn status = known->isInterface ? known->device.interfaceRelease : kIOReturnSuccess;
    known->release();
    return status;
}
