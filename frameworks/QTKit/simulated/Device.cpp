#include "frameworks/QTKit/simulated/Device.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>

#include "frameworks/QTKit/simulated/Errors.h"
#include "lab/Call.h"
#include "lab/World.h"
#include "platform/CallScope.h"

namespace capture {

namespace {

using lab::video::Camera;
using lab::video::CameraRef;
using lab::video::Link;
using lab::video::Medium;

struct Registry {
    std::mutex mutex;
    std::vector<Device*> devices;  // guarded by mutex
};

Registry& registry() {
    static auto* all = new Registry;
    return *all;
}

/** What a fault makes of opening: 0 fails with an error, -1 without one; 1 and 2 say that all is well, 2 with
 *  an error in the slot nevertheless. */
bool refuseOpen(int64_t result, NSError** error) {
    if (result == 0 || result == 2) giveError(error, kErrorRefused);
    return result > 0;
}

void appendTo(QTCaptureDeviceList& list, const lab::DeviceRef& device) {
    const auto camera = std::dynamic_pointer_cast<Camera>(device);
    if (!camera) return;
    const std::optional<Link> link = camera->link();
    if (!link) return;
    if (camera->setup().isNullEntry) {
        list.emplace_back();
        return;
    }
    list.push_back(Ref<QTCaptureDevice>::adopt(Device::of(camera, *link).take()));
}

}  // namespace

QTMediaType mediaTypeOf(Medium medium) {
    switch (medium) {
        case Medium::video:
            return QTMediaType::Video;
        case Medium::muxed:
            return QTMediaType::Muxed;
        case Medium::sound:
            return QTMediaType::Sound;
    }
    return QTMediaType::Video;
}

Ref<Device> Device::of(const CameraRef& camera, Link link) {
    const std::lock_guard guard(registry().mutex);
    for (Device* device : registry().devices) {
        if (device->camera_ == camera && device->link_ == link && device->retainIfAlive()) {
            return Ref<Device>::adopt(device);
        }
    }
    registry().devices.reserve(registry().devices.size() + 1);
    auto made = Ref<Device>::adopt(new Device(camera, link));
    registry().devices.push_back(made.get());
    return made;
}

Device::~Device() {
    {
        const std::lock_guard guard(registry().mutex);
        std::erase(registry().devices, this);
    }
    // A frame thread may let go of the device late, when the next host has opened it anew: that one keeps it.
    camera_->free(link_, this);
}

bool Device::hasMediaType(QTMediaType type) const {
    const std::vector<Medium>& media = camera_->setup().media;
    return std::any_of(media.begin(), media.end(),
                       [&](Medium medium) { return mediaTypeOf(medium) == type; });
}

bool Device::open(NSError** error) {
    lab::Call call("QTCaptureDevice.open", camera_->id());
    if (call.refused()) return refuseOpen(call.answer<int64_t>(), error);
    const bool isReserved = camera_->reserve(link_, this);
    if (!isReserved) giveError(error, QTErrorDeviceWasDisconnected);
    return call.done(isReserved);
}

void Device::close() {
    lab::Call call("QTCaptureDevice.close", camera_->id());
    if (call.refused()) return;
    camera_->free(link_, this);
}

}  // namespace capture

const QTCaptureDeviceList* QTCaptureDevice::inputDevices() {
    if (lab::faultAt("QTCaptureDevice.inputDevices")) return nullptr;
    try {
        auto list = std::make_unique<QTCaptureDeviceList>();
        for (const lab::DeviceRef& device : lab::World::instance().devices()) {
            capture::appendTo(*list, device);
        }
        return autorelease(std::move(list));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
