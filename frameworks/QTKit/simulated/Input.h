/* Input.h: a device's way into a session, and its connections, one for each medium that it carries.
 *
 * Thread: any.
 * Owns:   the device, and the connections.
 */
#pragma once

#include <atomic>

#include "frameworks/QTKit/simulated/Device.h"

namespace capture {

class Connection final : public QTCaptureConnection {
public:
    Connection(lab::video::CameraRef camera, lab::video::Medium medium)
        : camera_(std::move(camera)), medium_(medium) {}

    QTMediaType mediaType() const override { return mediaTypeOf(medium_); }
    void setEnabled(bool isEnabled) override;
    bool isEnabled() const override { return isEnabled_; }

private:
    ~Connection() override = default;

    const lab::video::CameraRef camera_;
    const lab::video::Medium medium_;
    std::atomic<bool> isEnabled_{true};
};

class Input final : public QTCaptureDeviceInput {
public:
    explicit Input(Device& device);

    QTCaptureDevice& device() const override { return *device_; }
    const std::vector<Ref<QTCaptureConnection>>& connections() const override { return connections_; }

    Device& ownDevice() const { return *device_; }
    /** The connection that pictures come over; null while there is none or it is disabled. */
    QTCaptureConnection* pictures() const;

private:
    ~Input() override = default;

    const Ref<Device> device_;
    std::vector<Ref<QTCaptureConnection>> connections_;  // never changed
    const Tally tally_{Kind::input};
};

}  // namespace capture
