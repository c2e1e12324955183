// Entry points: the library itself, and references.
#include "frameworks/EDSDK/simulated/Events.h"
#include "frameworks/EDSDK/simulated/Library.h"
#include "frameworks/EDSDK/simulated/Streams.h"
#include "lab/World.h"

namespace sim {

namespace {

/** Which kind of thing is counted, for the trace; a null where there is none. */
void nameObject(lab::Call& call, const std::shared_ptr<Object>& object) {
    if (!object) {
        call.null("object");
        return;
    }
    call.text("object", kindName(object->kind));
    if (object->kind == Kind::camera) nameDevice(call, static_cast<const Camera*>(object.get()));
    if (object->kind == Kind::directoryItem)
        nameDevice(call, static_cast<const DirectoryItem*>(object.get()));
    if (object->kind == Kind::evfImage) nameDevice(call, static_cast<EvfImage*>(object.get()));
}

std::shared_ptr<CameraList> listOfCameras() {
    auto list = std::make_shared<CameraList>();
    for (const lab::DeviceRef& device : lab::World::instance().devices()) {
        if (device->family() != lab::Family::canon) continue;
        auto body = std::static_pointer_cast<lab::canon::Body>(device);
        if (const auto link = body->link()) list->cameras.push_back({std::move(body), *link});
    }
    return list;
}

/** Lists have their cameras as children; volumes and folders of a camera are not shown. */
EdsError childCount(const std::shared_ptr<Object>& parent, EdsUInt32* count) {
    if (!parent) return notLive();
    if (count == nullptr) return EDS_ERR_INVALID_POINTER;
    if (parent->kind == Kind::cameraList) {
        *count = static_cast<EdsUInt32>(static_cast<const CameraList&>(*parent).cameras.size());
        return kOk;
    }
    if (parent->kind != Kind::camera) return EDS_ERR_INVALID_HANDLE;
    const Attachment& at = static_cast<const Camera&>(*parent).at;
    const EdsError error = errorOf(at.body->check(at.link));
    if (error == kOk) *count = 0;
    return error;
}

EdsError childAt(const std::shared_ptr<Object>& parent, EdsInt32 index, EdsBaseRef* child) {
    if (!parent) return notLive();
    if (child == nullptr) return EDS_ERR_INVALID_POINTER;
    if (parent->kind == Kind::camera) return EDS_ERR_INVALID_INDEX;
    if (parent->kind != Kind::cameraList) return EDS_ERR_INVALID_HANDLE;
    const auto& cameras = static_cast<const CameraList&>(*parent).cameras;
    if (index < 0 || static_cast<size_t>(index) >= cameras.size()) return EDS_ERR_INVALID_INDEX;
    EdsBaseRef reference = Objects::instance().addCamera(cameras[static_cast<size_t>(index)]);
    if (reference == nullptr) return EDS_ERR_INTERNAL_ERROR;
    *child = reference;
    return kOk;
}

}  // namespace

}  // namespace sim

using namespace sim;

EdsError EdsInitializeSDK() {
    lab::Call call("EdsInitializeSDK");
    return answer(call, startLibrary);
}

EdsError EdsTerminateSDK() {
    lab::Call call("EdsTerminateSDK");
    return answer(call, stopLibrary);
}

EdsError EdsGetEvent() {
    lab::Call call("EdsGetEvent");
    return answerStarted(call, [] {
        deliverOne();
        return kOk;
    });
}

EdsUInt32 EdsRetain(EdsBaseRef object) {
    lab::Call call("EdsRetain");
    nameObject(call, Objects::instance().find(object));
    if (call.refused()) return call.answer<EdsUInt32>();
    const std::optional<EdsUInt32> count = Objects::instance().retain(object);
    if (!count) notLive();
    return call.done(count.value_or(kNoReference));
}

EdsUInt32 EdsRelease(EdsBaseRef object) {
    lab::Call call("EdsRelease");
    nameObject(call, Objects::instance().find(object));
    if (call.refused()) return call.answer<EdsUInt32>();
    return call.done(releaseByCaller(object));
}

EdsError EdsGetChildCount(EdsBaseRef parent, EdsUInt32* count) {
    lab::Call call("EdsGetChildCount");
    const auto object = Objects::instance().find(parent);
    nameObject(call, object);
    return answer(call, [&] { return childCount(object, count); });
}

EdsError EdsGetChildAtIndex(EdsBaseRef parent, EdsInt32 index, EdsBaseRef* child) {
    lab::Call call("EdsGetChildAtIndex");
    const auto object = Objects::instance().find(parent);
    call.number("index", index);
    return answer(call, [&] { return childAt(object, index, child); });
}

EdsError EdsGetCameraList(EdsCameraListRef* list) {
    lab::Call call("EdsGetCameraList");
    return answerStarted(call, [&]() -> EdsError {
        if (list == nullptr) return EDS_ERR_INVALID_POINTER;
        return handOut(listOfCameras(), list);
    });
}
