// No devices: the helper runs, and its hosts find an empty list. Nothing else can be reached without a
// device.
#include "QTKit.h"

#include "platform/CallScope.h"

const NotificationName QTCaptureSessionRuntimeErrorNotification{"QTCaptureSessionRuntimeErrorNotification"};

const QTCaptureDeviceList* QTCaptureDevice::inputDevices() {
    return autorelease(std::make_unique<QTCaptureDeviceList>());
}

QTCaptureDeviceInput* QTCaptureDeviceInput::createWithDevice(QTCaptureDevice& /*device*/) {
    return nullptr;
}

QTCaptureDecompressedVideoOutput* QTCaptureDecompressedVideoOutput::create() {
    return nullptr;
}

QTCaptureSession* QTCaptureSession::create() {
    return nullptr;
}
