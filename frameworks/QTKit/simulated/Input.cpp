#include "frameworks/QTKit/simulated/Input.h"

#include <new>

#include "lab/Call.h"

namespace capture {

void Connection::setEnabled(bool isEnabled) {
    lab::Call call("QTCaptureConnection.setEnabled", camera_->id());
    call.text("media", lab::video::mediumName(medium_)).flag("enabled", isEnabled);
    if (call.refused()) return;
    isEnabled_ = isEnabled;
}

Input::Input(Device& device) : device_(Ref<Device>::share(&device)) {
    for (const lab::video::Medium medium : device.camera()->setup().media) {
        connections_.push_back(Ref<QTCaptureConnection>::adopt(new Connection(device.camera(), medium)));
    }
}

QTCaptureConnection* Input::pictures() const {
    for (const Ref<QTCaptureConnection>& connection : connections_) {
        if (connection->mediaType() != QTMediaType::Sound && connection->isEnabled()) return connection.get();
    }
    return nullptr;
}

}  // namespace capture

QTCaptureDeviceInput* QTCaptureDeviceInput::createWithDevice(QTCaptureDevice& device) {
    auto& own = static_cast<capture::Device&>(device);
    if (lab::faultAt("QTCaptureDeviceInput.createWithDevice", own.camera()->id())) return nullptr;
    try {
        return new capture::Input(own);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
