// Requests by libusb, to interfaces that no driver serves.
#include <libusb.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "frameworks/USB/linux/DirectAccess.h"
#include "frameworks/USB/linux/libusb/LibusbErrors.h"

namespace usb {

struct DirectDevice {
    libusb_context* context = nullptr;
    libusb_device_handle* handle = nullptr;
    int claimed = -1;

    DirectDevice() = default;
    DirectDevice(const DirectDevice&) = delete;
    DirectDevice& operator=(const DirectDevice&) = delete;
    ~DirectDevice() {
        if (claimed >= 0) libusb_release_interface(handle, claimed);
        if (handle != nullptr) libusb_close(handle);
        if (context != nullptr) libusb_exit(context);
    }
};

namespace {

constexpr unsigned kTimeoutMs = 2000;

int openWith(DirectDevice& device, int node, uint8_t interface) {
    // The device is known already: looking for all others would open each of them.
    int result = libusb_set_option(nullptr, LIBUSB_OPTION_NO_DEVICE_DISCOVERY);
    if (result == 0) result = libusb_init(&device.context);
    if (result == 0) result = libusb_wrap_sys_device(device.context, node, &device.handle);
    // A driver that has the interface keeps it: taking it away would end the stream of somebody else.
    if (result == 0) result = libusb_claim_interface(device.handle, interface);
    if (result == 0) device.claimed = interface;
    return result;
}

IOReturn open(int node, uint8_t interface, DirectDevice** out) {
    std::unique_ptr<DirectDevice> device(new (std::nothrow) DirectDevice);
    if (!device) return kIOReturnNoMemory;
    const int result = openWith(*device, node, interface);
    if (result == 0) *out = device.release();
    return returnOfLibusb(result);
}

void close(DirectDevice* device) {
    delete device;
}

int transfer(DirectDevice& device, const IOUSBDevRequest& request, uint8_t* data) {
    return libusb_control_transfer(device.handle, request.bmRequestType, request.bRequest, request.wValue,
                                   request.wIndex, data, request.wLength, kTimeoutMs);
}

IOReturn request(DirectDevice* device, IOUSBDevRequest* request) {
    try {
        // A request that fails on its way leaves the caller's bytes alone.
        auto* const theirs = static_cast<uint8_t*>(request->pData);
        std::vector<uint8_t> bytes(theirs, theirs + request->wLength);
        const int done = transfer(*device, *request, bytes.data());
        if (done < 0) return returnOfLibusb(done);
        const bool isRead = (request->bmRequestType & LIBUSB_ENDPOINT_IN) != 0;
        if (isRead) std::copy_n(bytes.begin(), done, theirs);
        request->wLenDone = static_cast<uint32_t>(done);
        return kIOReturnSuccess;
    } catch (const std::bad_alloc&) {
        return kIOReturnNoMemory;
    }
}

constexpr DirectAccess kAccess = {.open = open, .close = close, .request = request};

}  // namespace

}  // namespace usb

extern "C" __attribute__((visibility("default"))) const usb::DirectAccess* tarvoDirectAccess() {
    return &usb::kAccess;
}
