#include "Nikon/MaidCommands.h"

#include <chrono>
#include <cstring>
#include <limits>
#include <thread>
#include <utility>

#include "Nikon/CameraData.h"
#include "Nikon/OpenCommand.h"
#include "Nikon/debug.h"

namespace nikon {

namespace {

constexpr std::chrono::microseconds kPollPause{10000};

/** The record behind `data`; 0 for values, and for what nobody here uses and is passed as it is. */
constexpr size_t recordSize(uint32_t dataType) {
    switch (dataType) {
        case kMaidDataBooleanPtr:
            return sizeof(uint8_t);
        case kMaidDataIntegerPtr:
            return sizeof(int32_t);
        case kMaidDataUnsignedPtr:
            return sizeof(uint32_t);
        case kMaidDataFloatPtr:
            return sizeof(double);
        case kMaidDataPointPtr:
            return sizeof(NkMAIDPoint);
        case kMaidDataSizePtr:
            return sizeof(NkMAIDSize);
        case kMaidDataCallbackPtr:
            return sizeof(NkMAIDCallback);
        case kMaidDataRangePtr:
            return sizeof(NkMAIDRange);
        case kMaidDataArrayPtr:
            return sizeof(NkMAIDArray);
        case kMaidDataEnumPtr:
            return sizeof(NkMAIDEnum);
        default:
            return 0;
    }
}
// Our copy is never smaller than this: modules have been built with wider ideas of a boolean.
constexpr size_t kSmallestCopy = 64;
static_assert(sizeof(NkMAIDRange) <= kSmallestCopy && sizeof(NkMAIDArray) <= kSmallestCopy);

/** The module has reported that the camera which the object belongs to is not there any more. */
bool hasLostItsCamera(const tagRefObj* object) {
    for (; object != nullptr; object = object->parent) {
        if (object->cameraData != nullptr) return object->cameraData->active == 0;
    }
    return false;
}

/** The module works on our copy of the record, which outlives the caller's frame if it has to. */
int32_t issueWithCopy(const tagRefObj* object, uint32_t command, uint32_t capability, uint32_t dataType,
                      MaidParam data, OpenCommand& open) {
    const size_t size = recordSize(dataType);
    auto* record = reinterpret_cast<void*>(data);
    if (size == 0 || record == nullptr) {
        return issueAndWait(object, command, capability, dataType, data, open);
    }
    ElementStorage copy = AllocateBytes(kSmallestCopy);
    if (copy == nullptr || open.reference() == nullptr) return kMaidResultOutOfMemory;
    std::memcpy(copy.get(), record, size);
    const uint8_t* seenByModule = copy.get();
    open.completion().record = std::move(copy);
    const int32_t result =
        issueAndWait(object, command, capability, dataType, reinterpret_cast<MaidParam>(seenByModule), open);
    std::memcpy(record, seenByModule, size);
    return result;
}

bool capabilityCommand(const tagRefObj* object, uint32_t command, uint32_t capability, uint32_t dataType,
                       MaidParam data) {
    OpenCommand open;
    return issueWithCopy(object, command, capability, dataType, data, open) == kMaidResultNoError;
}

/** Where an array's or an enumeration's record keeps the address of its elements. */
void* elementsField(uint32_t dataType, MaidParam data) {
    if (dataType == kMaidDataArrayPtr) return &reinterpret_cast<NkMAIDArray*>(data)->data;
    if (dataType == kMaidDataEnumPtr) return &reinterpret_cast<NkMAIDEnum*>(data)->data;
    return nullptr;
}

void setElements(void* field, const uint8_t* elements) {
    std::memcpy(field, &elements, sizeof elements);
}

}  // namespace

int32_t CallMAIDEntryPoint(const tagRefObj* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                           MaidParam data, MaidCompletionProc completion, MaidRef reference) {
    if (object == nullptr || object->entryPoint == nullptr) return kNoEntryPoint;
    return object->entryPoint(object->object, command, parameter, dataType, data, completion, reference);
}

bool Command_Open(const tagRefObj* parent, NkMAIDObject* child, int32_t id) {
    const int32_t result =
        CallMAIDEntryPoint(parent, kMaidCommandOpen, static_cast<uint32_t>(id), kMaidDataObjectPtr,
                           reinterpret_cast<MaidParam>(child), nullptr, nullptr);
    if (result == kMaidResultNoError) return true;
    debug("Command_Open 0x%X\n", static_cast<uint32_t>(result));
    return false;
}

bool Command_Close(const tagRefObj* object) {
    const int32_t result =
        CallMAIDEntryPoint(object, kMaidCommandClose, 0, kMaidDataNull, 0, nullptr, nullptr);
    if (result == kMaidResultNoError) return true;
    debug("Command_Close 0x%X\n", static_cast<uint32_t>(result));
    return false;
}

bool Command_Async(const tagRefObj* object) {
    return isAccepted(CallMAIDEntryPoint(object, kMaidCommandAsync, 0, kMaidDataNull, 0, nullptr, nullptr));
}

bool Command_Abort(const tagRefObj* object, MaidCompletionProc completion, MaidRef reference) {
    return CallMAIDEntryPoint(object, kMaidCommandAbort, 0, kMaidDataNull, 0, completion, reference) ==
           kMaidResultNoError;
}

bool Command_CapStart(const tagRefObj* object, uint32_t capability, MaidCompletionProc completion,
                      MaidRef reference) {
    return isAccepted(CallMAIDEntryPoint(object, kMaidCommandCapStart, capability, kMaidDataNull, 0,
                                         completion, reference));
}

bool Command_CapSet(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data) {
    return capabilityCommand(object, kMaidCommandCapSet, capability, dataType, data);
}

bool Command_CapGet(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data) {
    return capabilityCommand(object, kMaidCommandCapGet, capability, dataType, data);
}

bool Command_CapGetDefault(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data) {
    return capabilityCommand(object, kMaidCommandCapGetDefault, capability, dataType, data);
}

bool Command_CapGetArray(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data,
                         ElementStorage* storage) {
    void* field = elementsField(dataType, data);
    OpenCommand open;
    if (field == nullptr || *storage == nullptr || open.reference() == nullptr) return false;
    const uint8_t* elements = storage->get();
    setElements(field, elements);
    open.completion().elements = std::move(*storage);
    const int32_t result = issueWithCopy(object, kMaidCommandCapGetArray, capability, dataType, data, open);
    // Whatever the module put there, this is what we have to free.
    const bool isOurs = open.isCompleted() || open.isWithdrawn();
    if (isOurs) *storage = std::move(open.completion().elements);
    setElements(field, isOurs ? elements : nullptr);
    return isOurs && result == kMaidResultNoError;
}

bool IdleLoop(const tagRefObj* object, const uint32_t* counter, uint32_t end) {
    bool isWorking = true;
    int pollsWithoutCamera = 0;
    while (*counter < end && isWorking) {
        if (hasLostItsCamera(object) && ++pollsWithoutCamera > kPollsAfterRemoval) return false;
        isWorking = Command_Async(object);
        std::this_thread::sleep_for(kPollPause);
    }
    return isWorking;
}

bool IdleLoopAfterRefusal(const tagRefObj* object, const uint32_t* counter, uint32_t end) {
    bool isWorking = true;
    for (int poll = 0; poll < kPollsAfterRefusal && *counter < end && isWorking; ++poll) {
        isWorking = Command_Async(object);
        std::this_thread::sleep_for(kPollPause);
    }
    return isWorking && *counter >= end;
}

}  // namespace nikon
