#include "Nikon/Enumeration.h"

#include <algorithm>
#include <cstring>

namespace nikon {

namespace {

// Far more than any list of settings or pictures; a module that announces more is not asked for it.
constexpr uint64_t kMostBytes = 1 << 20;

uint64_t announcedSize(const NkMAIDEnum& record) {
    return uint64_t{record.elements} * record.physicalBytes;
}

}  // namespace

bool Enumeration::read(tagRefObj* object, uint32_t capability) {
    object_ = object;
    capability_ = capability;
    const NkMAIDCapInfo* info = GetCapInfo(object, capability);
    return info != nullptr && info->type == kMaidCapEnum &&
           CheckCapabilityOperation(object, capability, kMaidOperationGet) &&
           Command_CapGet(object, capability, kMaidDataEnumPtr, reinterpret_cast<MaidParam>(&record_));
}

bool Enumeration::fetchElements() {
    const uint64_t size = announcedSize(record_);
    if (size > kMostBytes) return false;
    elements_ = AllocateElements(record_.elements, record_.physicalBytes);
    if (elements_ == nullptr) return false;
    record_.data = nullptr;
    if (!Command_CapGetArray(object_, capability_, kMaidDataEnumPtr, reinterpret_cast<MaidParam>(&record_),
                             &elements_)) {
        return false;
    }
    // The list may have become another one between the two reads.
    size_ = static_cast<size_t>(std::min(size, announcedSize(record_)));
    return true;
}

bool Enumeration::set(uint32_t valueIndex) {
    record_.value = valueIndex;
    return Command_CapSet(object_, capability_, kMaidDataEnumPtr, reinterpret_cast<MaidParam>(&record_));
}

uint32_t Enumeration::valueAt(size_t index) const {
    uint32_t value = 0;
    std::memcpy(&value, elements_.get() + index * sizeof value, sizeof value);
    return value;
}

}  // namespace nikon
