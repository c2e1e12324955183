#include "frameworks/QTKit/gstreamer/Errors.h"

#include <new>

#include "platform/CallScope.h"

const NotificationName QTCaptureSessionRuntimeErrorNotification{"QTCaptureSessionRuntimeErrorNotification"};

namespace capture {

namespace {

std::string describe(int64_t code) {
    switch (code) {
        case QTErrorDeviceWasDisconnected:
            return "The device was disconnected.";
        case kErrorDeviceNotOpen:
            return "The device is not open.";
        case kErrorOutputInUse:
            return "The output belongs to another session.";
        case kErrorUnsupportedFormat:
            return "The pixel format is not supported.";
        case kErrorNoResources:
            return "The session could not be started.";
        case kErrorDeviceBusy:
            return "The device is in use.";
        case kErrorPermissionDenied:
            return "The device may not be used.";
        case kErrorNoUsableMode:
            return "The device delivers nothing that can be used.";
        case kErrorSessionFull:
            return "A session has one input and one output.";
        default:
            return "The device stopped delivering frames.";
    }
}

}  // namespace

Ref<NSError> makeError(const Failure& failure) {
    std::string text = describe(failure.code);
    if (!failure.reason.empty()) text += " " + failure.reason;
    return Ref<NSError>::adopt(new NSError("QTKitErrorDomain", failure.code, std::move(text)));
}

bool giveError(NSError** slot, const Failure& failure) {
    if (slot == nullptr) return false;
    try {
        NSError* error = makeError(failure).take();
        autorelease(error, [](void* lent) { static_cast<NSError*>(lent)->release(); });
        *slot = error;
    } catch (const std::bad_alloc&) {
        // The caller learns that it failed, and no more.
    }
    return false;
}

void postRuntimeError(QTCaptureSession& session, const Failure& failure) {
    try {
        const Ref<NSError> error = makeError(failure);
        const auto notification = Ref<NSNotification>::adopt(
            new NSNotification(QTCaptureSessionRuntimeErrorNotification, &session, error.get()));
        NSNotificationCenter::defaultCenter().postNotification(*notification);
    } catch (const std::bad_alloc&) {
        // An error that there is no memory to tell of is lost.
    }
}

}  // namespace capture
