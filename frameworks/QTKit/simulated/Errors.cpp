#include "frameworks/QTKit/simulated/Errors.h"

#include "platform/CallScope.h"

namespace capture {

namespace {

const char* descriptionOf(int64_t code) {
    switch (code) {
        case QTErrorDeviceWasDisconnected:
            return "The device was disconnected.";
        case kErrorRefused:
            return "The device cannot be used.";
        case kErrorDeviceNotOpen:
            return "The device is not open.";
        case kErrorOutputInUse:
            return "The output belongs to another session.";
        case kErrorUnsupportedFormat:
            return "The pixel format is not supported.";
        case kErrorNoResources:
            return "The session could not be started.";
        default:
            return "The session failed.";
    }
}

}  // namespace

Ref<NSError> makeError(int64_t code) {
    return Ref<NSError>::adopt(new NSError("QTKitErrorDomain", code, descriptionOf(code)));
}

void giveError(NSError** slot, int64_t code) {
    if (slot == nullptr) return;
    NSError* error = makeError(code).take();
    autorelease(error, [](void* lent) { static_cast<NSError*>(lent)->release(); });
    *slot = error;
}

}  // namespace capture
