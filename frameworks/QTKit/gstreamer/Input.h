/* Input.h: a device's way into a session. What webcams carry here are pictures: one connection.
 *
 * Thread: any.
 * Owns:   the device, and the connection.
 */
#pragma once

#include <atomic>

#include "frameworks/QTKit/gstreamer/Device.h"

namespace capture {

class Connection final : public QTCaptureConnection {
public:
    QTMediaType mediaType() const override { return QTMediaType::Video; }
    void setEnabled(bool isEnabled) override { isEnabled_ = isEnabled; }
    bool isEnabled() const override { return isEnabled_; }

private:
    ~Connection() override = default;

    std::atomic<bool> isEnabled_{true};
};

class Input final : public QTCaptureDeviceInput {
public:
    explicit Input(Device& device);

    QTCaptureDevice& device() const override { return *device_; }
    const std::vector<Ref<QTCaptureConnection>>& connections() const override { return connections_; }

    Device& ownDevice() const { return *device_; }
    /** The connection that pictures come over; null while it is disabled. */
    QTCaptureConnection* pictures() const;

private:
    ~Input() override = default;

    const Ref<Device> device_;
    std::vector<Ref<QTCaptureConnection>> connections_;  // never changed
};

}  // namespace capture
