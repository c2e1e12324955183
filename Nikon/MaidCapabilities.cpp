#include "Nikon/MaidCapabilities.h"

#include <cstring>

#include "Nikon/RefObj.h"

namespace nikon {

namespace {

template <class Value>
MaidParam addressOf(Value* value) {
    return reinterpret_cast<MaidParam>(value);
}

bool isOfType(const tagRefObj* object, uint32_t capability, uint32_t type) {
    const NkMAIDCapInfo* info = GetCapInfo(object, capability);
    return info != nullptr && info->type == type;
}

/** Of that type, and may be read. */
bool isReadable(const tagRefObj* object, uint32_t capability, uint32_t type) {
    return isOfType(object, capability, type) &&
           CheckCapabilityOperation(object, capability, kMaidOperationGet);
}

uint64_t sizeOf(const NkMAIDArray& array) {
    return uint64_t{array.elements} * array.physicalBytes;
}

}  // namespace

bool SetUnsignedCapability(tagRefObj* object, uint32_t capability, uint32_t value) {
    if (!isReadable(object, capability, kMaidCapUnsigned)) return false;
    uint32_t current = 0;
    if (!Command_CapGet(object, capability, kMaidDataUnsignedPtr, addressOf(&current))) return false;
    if (current == value) return false;
    return CheckCapabilityOperation(object, capability, kMaidOperationSet) &&
           Command_CapSet(object, capability, kMaidDataUnsigned, value);
}

bool SetBoolCapability(tagRefObj* object, uint32_t capability, uint8_t value) {
    if (!isReadable(object, capability, kMaidCapBoolean)) return false;
    uint8_t current = value;
    if (!Command_CapGet(object, capability, kMaidDataBooleanPtr, addressOf(&current))) return false;
    return CheckCapabilityOperation(object, capability, kMaidOperationSet) &&
           Command_CapSet(object, capability, kMaidDataBoolean, value);
}

ElementStorage AllocateElements(uint32_t count, uint16_t elementSize) {
    const uint64_t size = uint64_t{count} * elementSize;
    if (elementSize == 0 || size > kMostElementBytes) return nullptr;
    return AllocateBytes(static_cast<size_t>(size) + 1);
}

bool GetArrayCapability(tagRefObj* object, uint32_t capability, NkMAIDArray* array) {
    array->data = nullptr;
    const bool isRead = isReadable(object, capability, kMaidCapArray) &&
                        Command_CapGet(object, capability, kMaidDataArrayPtr, addressOf(array)) &&
                        CheckCapabilityOperation(object, capability, kMaidOperationGetArray);
    const uint64_t size = sizeOf(*array);
    array->data = nullptr;
    if (!isRead) return false;
    ElementStorage elements = AllocateElements(array->elements, array->physicalBytes);
    if (elements == nullptr) return false;
    const bool isFetched =
        Command_CapGetArray(object, capability, kMaidDataArrayPtr, addressOf(array), &elements);
    array->data = nullptr;
    // More than there was room for cannot have been written, whatever the record says by now.
    if (!isFetched || sizeOf(*array) > size) return false;
    array->data = elements.release();
    return true;
}

bool SelectItem(tagRefObj* object, uint32_t* id) {
    NkMAIDEnum children{};
    if (!isReadable(object, kMaidCapabilityChildren, kMaidCapEnum) ||
        !Command_CapGet(object, kMaidCapabilityChildren, kMaidDataEnumPtr, addressOf(&children))) {
        return false;
    }
    if (children.elements == 0 || children.physicalBytes != sizeof *id) return false;
    ElementStorage elements = AllocateElements(children.elements, children.physicalBytes);
    if (elements == nullptr || !Command_CapGetArray(object, kMaidCapabilityChildren, kMaidDataEnumPtr,
                                                    addressOf(&children), &elements)) {
        return false;
    }
    if (children.elements == 0) return false;
    std::memcpy(id, elements.get(), sizeof *id);
    return true;
}

}  // namespace nikon
