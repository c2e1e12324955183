/* Objects.h: devices, their interfaces, and the lists and plug-ins that lead to them.
 *
 * Thread: any; an iterator belongs to one thread. Requests to one device go one after another.
 * Owns:   an iterator the services that it has not handed out yet; an interface its being open.
 * Errors: kIOReturnNoDevice once the device was unplugged, also when it has been plugged in again since.
 */
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "USBControl.h"
#include "frameworks/USB/linux/Path.h"

namespace usb {

/** A device, or with `interface` one of its interfaces. */
struct Place {
    Attachment device;
    std::optional<InterfaceFacts> interface;

    IOUserClientType type() const {
        return interface ? IOUserClientType::Interface : IOUserClientType::Device;
    }
};

class Service final : public IOService {
public:
    explicit Service(Place where) : place(std::move(where)) {}

    const Place place;

private:
    ~Service() override = default;
};

class Iterator final : public IOIterator {
public:
    explicit Iterator(std::vector<Ref<Service>> services) : services_(std::move(services)) {}
    IOService* next() override;

private:
    ~Iterator() override = default;

    std::vector<Ref<Service>> services_;
    size_t next_ = 0;
};

class PlugIn final : public IOCFPlugInInterface {
public:
    explicit PlugIn(Place place) : place_(std::move(place)) {}

    IOReturn QueryInterface(IOUSBDeviceInterface** device) override;
    IOReturn QueryInterface(IOUSBInterfaceInterface** interface) override;

private:
    ~PlugIn() override = default;

    const Place place_;
};

class Device final : public IOUSBDeviceInterface {
public:
    explicit Device(Attachment device) : device_(std::move(device)) {}

    IOReturn GetLocationID(uint32_t* locationID) override;
    IOReturn GetDeviceVendor(uint16_t* vendor) override;
    IOReturn GetDeviceProduct(uint16_t* product) override;
    IOReturn CreateInterfaceIterator(const IOUSBFindInterfaceRequest* request,
                                     IOIterator** iterator) override;

private:
    ~Device() override = default;

    template <typename Number>
    IOReturn tell(Number value, Number* out) const;

    const Attachment device_;
};

class Interface final : public IOUSBInterfaceInterface {
public:
    explicit Interface(Target target) : target_(std::move(target)) {}

    IOReturn USBInterfaceOpen() override;
    IOReturn USBInterfaceClose() override;
    IOReturn ControlRequest(uint8_t pipeRef, IOUSBDevRequest* request) override;
    IOReturn ClearPipeStall(uint8_t pipeRef) override;

private:
    ~Interface() override;

    bool isOpen() const;
    IOReturn missing() const;
    IOReturn openPathNow();
    void close();

    const Target target_;
    std::unique_ptr<Path> path_;  // while it is open; under the state's `requests`
};

/** Does what allocates; nothing is thrown to the caller. */
template <typename Work>
IOReturn guarded(Work work) {
    try {
        return work();
    } catch (const std::exception&) {
        return kIOReturnNoMemory;
    }
}

}  // namespace usb
