#include "frameworks/USB/simulated/Interface.h"

#include "lab/Call.h"

namespace bus {

namespace {

using lab::video::UsbRequest;

constexpr uint8_t kDefaultPipe = 0;
constexpr uint8_t kStatusPipe = 1;  // the interface's only other one: the device tells of changes over it
constexpr uint8_t kFromDevice = 0x80;

bool isRead(const IOUSBDevRequest& request) {
    return (request.bmRequestType & kFromDevice) != 0;
}

UsbRequest setupOf(const IOUSBDevRequest& request) {
    return {request.bmRequestType, request.bRequest, request.wValue, request.wIndex, request.wLength};
}

void note(lab::Call& call, const IOUSBDevRequest& request) {
    call.number("requestType", request.bmRequestType).number("request", request.bRequest);
    call.number("value", request.wValue).number("index", request.wIndex).number("length", request.wLength);
    // What an accessor is about stands in the halves of these two.
    call.match("unit", unitOf(setupOf(request))).match("selector", selectorOf(setupOf(request)));
    if (!isRead(request) && request.pData != nullptr) call.bytes("data", request.pData, request.wLength);
}

/** The trace shows statuses as faults name them: without a sign. */
IOReturn done(lab::Call& call, IOReturn result) {
    call.done(static_cast<uint32_t>(result));
    return result;
}

}  // namespace

Interface::~Interface() {
    at_.camera->closeInterface(at_.link, this);
}

IOReturn Interface::USBInterfaceOpen() {
    lab::Call call("OpenInterface", at_.camera->id());
    if (call.refused()) return call.answer<IOReturn>();
    return done(call, returnOf(at_.camera->openInterface(at_.link, this)));
}

IOReturn Interface::USBInterfaceClose() {
    lab::Call call("CloseInterface", at_.camera->id());
    if (call.refused()) return call.answer<IOReturn>();
    return done(call, returnOf(at_.camera->closeInterface(at_.link, this)));
}

IOReturn Interface::ControlRequest(uint8_t pipeRef, IOUSBDevRequest* request) {
    lab::Call call("ControlRequest", at_.camera->id());
    if (request == nullptr) return done(call, kIOReturnBadArgument);
    note(call, *request);
    if (call.refused()) return call.answer<IOReturn>();
    const IOReturn result = carryOut(pipeRef, *request);
    if (result == kIOReturnSuccess && isRead(*request)) {
        call.bytes("data", request->pData, request->wLenDone);
    }
    return done(call, result);
}

IOReturn Interface::carryOut(uint8_t pipeRef, IOUSBDevRequest& request) {
    if (pipeRef != kDefaultPipe || (request.pData == nullptr && request.wLength > 0)) {
        return kIOReturnBadArgument;
    }
    uint32_t done = 0;
    const IOReturn result = returnOf(
        at_.camera->request(at_.link, this, setupOf(request), static_cast<uint8_t*>(request.pData), done));
    if (result == kIOReturnSuccess) request.wLenDone = done;
    return result;
}

IOReturn Interface::ClearPipeStall(uint8_t pipeRef) {
    lab::Call call("ClearPipeStall", at_.camera->id());
    call.number("pipe", pipeRef);
    if (call.refused()) return call.answer<IOReturn>();
    if (pipeRef > kStatusPipe) return done(call, kIOReturnBadArgument);
    return done(call, returnOf(at_.camera->checkInterface(at_.link, this)));
}

}  // namespace bus
