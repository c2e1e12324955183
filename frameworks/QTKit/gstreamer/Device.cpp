#include "frameworks/QTKit/gstreamer/Device.h"

#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "frameworks/QTKit/gstreamer/Errors.h"
#include "platform/CallScope.h"

namespace capture {

namespace {

struct Registry {
    std::mutex mutex;              // comes before a device's lock
    std::vector<Device*> devices;  // guarded by mutex
};

/** Never destroyed: streams may be under way while the process exits. */
Registry& registry() {
    static auto* all = new Registry;
    return *all;
}

}  // namespace

Device::Device(const CameraRef& camera)
    : name_(camera->name()), uniqueId_(camera->uniqueId()), camera_(camera) {}

Device::~Device() {
    const std::lock_guard guard(registry().mutex);
    std::erase(registry().devices, this);
}

Ref<Device> Device::of(const CameraRef& camera) {
    const std::lock_guard guard(registry().mutex);
    for (Device* device : registry().devices) {
        if (device->uniqueId_ != camera->uniqueId() || !device->retainIfAlive()) continue;
        const std::lock_guard lock(device->mutex_);
        device->camera_ = camera;
        return Ref<Device>::adopt(device);
    }
    registry().devices.reserve(registry().devices.size() + 1);
    auto made = Ref<Device>::adopt(new Device(camera));
    registry().devices.push_back(made.get());
    return made;
}

CameraRef Device::camera() const {
    const std::lock_guard guard(mutex_);
    return camera_;
}

bool Device::open(NSError** error) {
    const std::lock_guard turn(openMutex_);
    if (isOpen()) return true;
    std::unique_ptr<Reservation> reservation;
    try {
        if (const Failure failure = camera()->reserve(seat_.isTaken(), reservation)) {
            return giveError(error, failure);
        }
    } catch (const std::bad_alloc&) {
        return giveError(error, {kErrorNoResources});
    }
    const std::lock_guard guard(mutex_);
    reservation_ = std::move(reservation);
    return true;
}

bool Device::isOpen() const {
    const std::lock_guard guard(mutex_);
    return reservation_ != nullptr;
}

void Device::close() {
    const std::lock_guard turn(openMutex_);
    std::unique_ptr<Reservation> ended;
    const std::lock_guard guard(mutex_);
    ended.swap(reservation_);
}

}  // namespace capture

const QTCaptureDeviceList* QTCaptureDevice::inputDevices() {
    try {
        const capture::Toolkit* const toolkit = capture::toolkit();
        std::vector<capture::CameraRef> cameras;
        if (toolkit == nullptr || !toolkit->list(cameras)) return nullptr;
        auto list = std::make_unique<QTCaptureDeviceList>();
        for (const capture::CameraRef& camera : cameras) {
            list->push_back(Ref<QTCaptureDevice>::adopt(capture::Device::of(camera).take()));
        }
        return autorelease(std::move(list));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
