#include "Nikon/CallBack.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "Nikon/CameraData.h"
#include "Nikon/OpenCommand.h"
#include "Nikon/References.h"
#include "Nikon/SignsOfLife.h"
#include "Nikon/TransferRecord.h"
#include "Nikon/debug.h"
#include "TarvoRemote/NikonRemote.h"

namespace nikon {

namespace {

constexpr uint32_t kWholePercent = 100;

CameraData* cameraOf(const tagRefObj* object) {
    constexpr int kLevels = 3;  // the object's own, its parent's, its grandparent's
    for (int level = 0; level < kLevels && object != nullptr; ++level, object = object->parent) {
        if (object->cameraData != nullptr) return object->cameraData;
    }
    return nullptr;
}

uint32_t percentOf(uint32_t done, uint32_t total) {
    if (total == 0) return 0;
    return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{done} * kWholePercent / total, kWholePercent));
}

/** Counts the events that are being handled on this thread, one inside the other. */
class EventDepth {
public:
    EventDepth() { ++depth_; }
    ~EventDepth() { --depth_; }
    EventDepth(const EventDepth&) = delete;
    EventDepth& operator=(const EventDepth&) = delete;

    bool isTooDeep() const { return depth_ > kDeepestEvent; }

private:
    static inline thread_local int depth_ = 0;
};

/** Modules announce children that have been opened on sight already; one record of each is enough. */
bool isOpen(const tagRefObj* parent, int32_t id) {
    return GetRefChildPtr_ID(parent, id) != nullptr;
}

bool openChild(tagRefObj* parent, int32_t id) {
    return isOpen(parent, id) || AddChild(parent, id);
}

bool openBranch(tagRefObj* parent, int32_t id) {
    if (isOpen(parent, id)) return true;
    if (!AddChild(parent, id)) return false;
    tagRefObj* child = GetRefChildPtr_ID(parent, id);
    return child != nullptr && EnumChildrten(child);
}

bool renewCapabilities(tagRefObj* object) {
    std::free(object->capInfo);
    object->capInfo = nullptr;
    object->capCount = 0;
    return EnumCapabilities(object, &object->capCount, &object->capInfo);
}

void logChange(uint32_t capability) {
    debug("The value of Capability(CapID=0x%X) was changed.\n", capability);
}

/** What the four kinds of object do differently. */
struct EventHabits {
    bool (*addChild)(tagRefObj* parent, int32_t id);  // null: has no children
    void (*previewAdded)(uint32_t parameter);         // null: not known here
    void (*unknown)(uint32_t event);
};

constexpr EventHabits kModuleHabits = {
    .addChild = openBranch,
    .previewAdded = nullptr,
    .unknown = [](uint32_t) { debug("Detected unknown Event to the Module object.\n"); },
};

constexpr EventHabits kSourceHabits = {
    .addChild = openBranch,
    .previewAdded =
        [](uint32_t parameter) { debug("Received AddPreviewImage - [0x%08X] was preprared.\n", parameter); },
    .unknown = [](uint32_t event) { debug("Detected unknown Event to the Source object [%0X].\n", event); },
};

constexpr EventHabits kItemHabits = {
    .addChild = openChild,
    .previewAdded = nullptr,
    .unknown = [](uint32_t) { debug("Detected unknown Event to the Item object.\n"); },
};

constexpr EventHabits kDataHabits = {
    .addChild = nullptr,
    .previewAdded = nullptr,
    .unknown = [](uint32_t) { debug("Detected unknown Event to the Data object.\n"); },
};

bool isData(const EventHabits& habits) {
    return habits.addChild == nullptr;
}

bool handleCapChange(const EventHabits& habits, tagRefObj* object, uint32_t parameter) {
    if (!renewCapabilities(object)) return false;
    if (isData(habits)) logChange(parameter);
    return true;
}

void logEvent(const EventHabits& habits, uint32_t event, uint32_t parameter) {
    switch (event) {
        case kMaidEventOrphanedChildren:
            if (isData(habits)) debug("Event_OrphanedChildren to Data object is not supported.\n");
            break;
        case kMaidEventCapChangeValueOnly:
            logChange(parameter);
            break;
        case kMaidEventAddPreviewImage:
            if (habits.previewAdded != nullptr) {
                habits.previewAdded(parameter);
                break;
            }
            [[fallthrough]];
        default:
            habits.unknown(event);
    }
}

bool handle(const EventHabits& habits, tagRefObj* object, uint32_t event, uint32_t parameter) {
    const auto id = static_cast<int32_t>(parameter);
    switch (event) {
        case kMaidEventAddChild:
            return isData(habits) || habits.addChild(object, id);
        case kMaidEventRemoveChild:
            return isData(habits) || RemoveChild(object, id);
        case kMaidEventCapChange:
            return handleCapChange(habits, object, parameter);
        case kMaidEventWarmingUp:
        case kMaidEventWarmedUp:
            return true;
        default:
            logEvent(habits, event, parameter);
            return true;
    }
}

/** Meters and batteries change their values all day, whether or not a picture is on its way. */
bool isSignOfLife(uint32_t event) {
    return event != kMaidEventCapChangeValueOnly;
}

int32_t handleEvent(const EventHabits& habits, MaidRef reference, uint32_t event, MaidParam parameter) {
    const EventDepth depth;
    tagRefObj* object = findByReference(reference);
    if (object == nullptr || depth.isTooDeep()) return 0;
    if (isSignOfLife(event)) noteSignOfLife();
    return handle(habits, object, event, static_cast<uint32_t>(parameter)) ? 1 : 0;
}

}  // namespace

void CompletionProc(NkMAIDObject*, uint32_t command, uint32_t parameter, uint32_t, MaidParam,
                    MaidRef reference, int32_t result) {
    // A capability's number where commands stand: the line comes from modules only that have a command of
    // that number. A shot's completion names the command that started it, and logs have never shown one.
    if (command == kMaidCapabilityCapture) {
        debug("Completed capture, result=%X\n", static_cast<uint32_t>(result));
    }
    const std::shared_ptr<Completion> completion = takeCompletion(reference);
    if (completion == nullptr) return;
    completion->result = result;
    ++completion->count;
    if (command == kMaidCommandCapStart && parameter == kMaidCapabilityAcquire) {
        endTransfer(std::exchange(completion->transfer, nullptr));
    }
}

void ProgressProc(uint32_t, uint32_t, MaidRef reference, uint32_t done, uint32_t total) {
    const tagRefObj* object = findByReference(reference);
    if (object == nullptr) return;
    noteSignOfLife();
    ReportProgress(object, done, total);
}

void ReportProgress(const tagRefObj* object, uint32_t done, uint32_t total) {
    uint32_t percent = percentOf(done, total);
    if (const CameraData* camera = cameraOf(object)) {
        if (camera->imagesTransferred != 0) percent += kWholePercent;
        if (camera->ulSingleDualImage != 0) percent /= 2;
    }
    NikonRemote_progressCallback(static_cast<int32_t>(percent));
}

int32_t DataProc(MaidRef reference, void* info, void* data) {
    const TransferPtr transfer = findTransfer(reference);
    if (transfer == nullptr) return kMaidResultNoDataProc;
    noteSignOfLife();
    if (info == nullptr) return kMaidResultUnexpectedError;
    // Only a file's delivery has the longer head.
    NkMAIDFileInfo head{};
    std::memcpy(&head.base, info, sizeof head.base);
    if ((head.base.type & kMaidDataObjectFile) != 0) std::memcpy(&head, info, sizeof head);
    return transfer->take(head, data);
}

int32_t ModEventProc(MaidRef reference, uint32_t event, MaidParam parameter) {
    return handleEvent(kModuleHabits, reference, event, parameter);
}

int32_t SrcEventProc(MaidRef reference, uint32_t event, MaidParam parameter) {
    return handleEvent(kSourceHabits, reference, event, parameter);
}

int32_t ItmEventProc(MaidRef reference, uint32_t event, MaidParam parameter) {
    return handleEvent(kItemHabits, reference, event, parameter);
}

int32_t DatEventProc(MaidRef reference, uint32_t event, MaidParam parameter) {
    return handleEvent(kDataHabits, reference, event, parameter);
}

}  // namespace nikon
