/* cameras.cpp: which cameras a module has, and the handle of one of them. */
#include "Nikon/Enumeration.h"
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"
#include "platform/CallScope.h"

using namespace nikon;

namespace {

using handles::Kind;

constexpr uint32_t kNoCameraType = 65535;
constexpr uint32_t kCameraType = 0x81D7;
// What a camera wants to hear when it is selected, in this order.
constexpr uint32_t kClearedOnSelection = 0x823D;
constexpr uint32_t kSetOnSelection = 0x823C;

/** Opened on first use; null when it cannot be opened. */
tagRefObj* sourceOf(tagRefObj* module, int32_t id) {
    if (tagRefObj* source = GetRefChildPtr_ID(module, id)) return source;
    if (!AddChild(module, id)) {
        debug("Source object can't be opened.\n");
        return nullptr;
    }
    debug("Source object is opened.\n");
    return GetRefChildPtr_ID(module, id);
}

uint32_t GetCameraTypeAtIndex(tagRefObj* module, jint index, tagRefObj** sourceOut) {
    Enumeration list;
    if (!list.read(module, kMaidCapabilityChildren) || list.record().physicalBytes != sizeof(uint32_t) ||
        list.record().elements == 0 || !list.fetchElements()) {
        return kNoCameraType;
    }
    if (index < 0 || static_cast<size_t>(index) >= list.count(sizeof(uint32_t))) return kNoCameraType;
    const auto id = static_cast<int32_t>(list.valueAt(static_cast<size_t>(index)));
    tagRefObj* source = sourceOf(module, id);
    if (source == nullptr) return 0;
    uint32_t type = 0;
    const bool isKnown =
        Command_CapGet(source, kCameraType, kMaidDataUnsignedPtr, reinterpret_cast<MaidParam>(&type));
    // The module may have taken the camera away while it was asked.
    if (sourceOut != nullptr && GetRefChildPtr_ID(module, id) == source) *sourceOut = source;
    return isKnown ? type : kNoCameraType;
}

void link(NikonModule& module, NikonCamera& camera) {
    camera.next = module.firstCamera;
    module.firstCamera = &camera;
}

void unlink(NikonModule& module, const NikonCamera& camera) {
    NikonCamera** place = &module.firstCamera;
    while (*place != &camera) {
        place = &(*place)->next;
    }
    *place = camera.next;
}

/** The camera was selected several times: with the object that all its records name, all of them end. */
void endOthersOf(const NikonModule& module, const tagRefObj* source) {
    for (NikonCamera* other = module.firstCamera; other != nullptr; other = other->next) {
        if (other->data.source != source) continue;
        other->data.source = nullptr;
        other->data.active = 0;
    }
}

void closeSource(const NikonModule& module, CameraData& camera) {
    tagRefObj* source = camera.source;
    camera.source = nullptr;
    source->cameraData = nullptr;
    endOthersOf(module, source);
    RemoveChild(source->parent, source->id);
}

}  // namespace

NIKON_ENTRY(jint, getCameraCount, jlong module) {
    (void)env, (void)object;
    const ModuleCall call(module);
    Enumeration list;
    if (!call || !list.read(call.root(), kMaidCapabilityChildren)) return 0;
    return static_cast<jint>(list.record().elements);
}

NIKON_ENTRY(jint, getCameraTypeAtIndex, jlong module, jint index) {
    (void)env, (void)object;
    const ModuleCall call(module);
    if (!call) return static_cast<jint>(kNoCameraType);
    return static_cast<jint>(GetCameraTypeAtIndex(call.root(), index, nullptr));
}

NIKON_ENTRY(jlong, selectCameraAtIndex, jlong module, jint index) {
    (void)env, (void)object;
    const ModuleCall call(module);
    if (!call) return 0;
    tagRefObj* source = nullptr;
    GetCameraTypeAtIndex(call.root(), index, &source);
    if (source == nullptr) return 0;
    auto* camera = handles::create<NikonCamera>(
        Kind::NikonCamera, handles::pin<NikonModule>(Kind::NikonModule, toAddress(module)));
    if (camera == nullptr) return 0;
    camera->data.source = source;
    camera->data.active = 1;
    source->cameraData = &camera->data;
    link(*call.module(), *camera);
    SetUnsignedCapability(source, kClearedOnSelection, 0);
    SetUnsignedCapability(source, kSetOnSelection, 1);
    return toHandle(camera);
}

NIKON_ENTRY(void, releaseCamera, jlong camera) {
    (void)env, (void)object;
    debug("In release camera\n");
    const handles::Pin<NikonCamera> record = pinCamera(camera);
    // Of two connections that release at once, one does.
    if (!record || !handles::retire(Kind::NikonCamera, toAddress(camera))) return;
    NikonModule& module = *record->module;
    const std::lock_guard guard(*module.lock);
    const CallScope scope;
    record->data.active = 0;
    unlink(module, *record);
    if (record->data.source != nullptr) closeSource(module, record->data);
}
