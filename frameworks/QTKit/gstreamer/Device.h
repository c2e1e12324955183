/* Device.h: a webcam, as the framework shows it.
 *
 * There is one object for one unique id, as long as anybody holds it. A webcam that was pulled out and comes
 * back to the same place is the same device again.
 *
 * Thread: any. Opening takes the open lock, then the lock; both are leaves otherwise.
 * Owns:   its reservation, which ends with it at the latest.
 */
#pragma once

#include <memory>
#include <mutex>

#include "frameworks/QTKit/gstreamer/Seat.h"
#include "frameworks/QTKit/gstreamer/Toolkit.h"

namespace capture {

class Device final : public QTCaptureDevice {
public:
    /** The object that there is, or a new one. */
    static Ref<Device> of(const CameraRef& camera);

    const std::string& localizedDisplayName() const override { return name_; }
    const std::string& uniqueID() const override { return uniqueId_; }
    bool hasMediaType(QTMediaType type) const override { return type == QTMediaType::Video; }

    bool open(NSError** error) override;
    bool isOpen() const override;
    void close() override;

    /** As it was listed last. */
    CameraRef camera() const;
    Seat& seat() { return seat_; }

private:
    explicit Device(const CameraRef& camera);
    ~Device() override;

    const std::string name_;
    const std::string uniqueId_;
    Seat seat_;

    std::mutex openMutex_;  // held through the whole of opening and closing, which are not quick
    mutable std::mutex mutex_;
    CameraRef camera_;  // guarded by mutex_, as below
    std::unique_ptr<Reservation> reservation_;
};

}  // namespace capture
