#include "frameworks/QTKit/gstreamer/Input.h"

#include <new>

namespace capture {

Input::Input(Device& device) : device_(Ref<Device>::share(&device)) {
    connections_.push_back(Ref<QTCaptureConnection>::adopt(new Connection));
}

QTCaptureConnection* Input::pictures() const {
    QTCaptureConnection* const only = connections_.front().get();
    return only->isEnabled() ? only : nullptr;
}

}  // namespace capture

QTCaptureDeviceInput* QTCaptureDeviceInput::createWithDevice(QTCaptureDevice& device) {
    try {
        return new capture::Input(static_cast<capture::Device&>(device));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
