/* Device.h: a video device of the lab, as the capture framework shows it.
 *
 * There is one object for one plugging of a device, as long as anybody holds it.
 *
 * Thread: any.
 * Owns:   its reservation, which ends with it at the latest.
 */
#pragma once

#include "QTKit.h"
#include "frameworks/QTKit/simulated/Library.h"
#include "lab/video/Camera.h"

namespace capture {

QTMediaType mediaTypeOf(lab::video::Medium medium);

class Device final : public QTCaptureDevice {
public:
    /** The object that there is, or a new one. */
    static Ref<Device> of(const lab::video::CameraRef& camera, lab::video::Link link);

    const std::string& localizedDisplayName() const override { return camera_->setup().name; }
    const std::string& uniqueID() const override { return camera_->setup().uniqueId; }
    bool hasMediaType(QTMediaType type) const override;

    bool open(NSError** error) override;
    bool isOpen() const override { return camera_->isReserved(link_); }
    void close() override;

    const lab::video::CameraRef& camera() const { return camera_; }
    lab::video::Link link() const { return link_; }

private:
    Device(lab::video::CameraRef camera, lab::video::Link link) : camera_(std::move(camera)), link_(link) {}
    ~Device() override;

    const lab::video::CameraRef camera_;
    const lab::video::Link link_;
    const Tally tally_{Kind::device};
};

}  // namespace capture
