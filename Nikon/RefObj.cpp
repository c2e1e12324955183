#include "Nikon/RefObj.h"

#include <algorithm>
#include <span>

#include "Nikon/OpenCommand.h"
#include "Nikon/References.h"

namespace nikon {

namespace {

std::span<const NkMAIDCapInfo> capabilitiesOf(const tagRefObj* object) {
    if (object == nullptr || object->capInfo == nullptr) return {};
    return {object->capInfo, object->capCount};
}

std::span<tagRefObj* const> childrenOf(const tagRefObj* object) {
    if (object == nullptr || object->children == nullptr) return {};
    return {object->children, object->childCount};
}

int32_t askForCount(const tagRefObj* object, uint32_t* count) {
    OpenCommand open;
    ElementStorage answer = AllocateBytes(sizeof(uint64_t));  // modules have had wider ideas of a count
    if (answer == nullptr || open.reference() == nullptr) return kMaidResultOutOfMemory;
    const auto* seenByModule = reinterpret_cast<uint32_t*>(answer.get());
    open.completion().record = std::move(answer);
    const int32_t result = issueAndWait(object, kMaidCommandGetCapCount, 0, kMaidDataUnsignedPtr,
                                        reinterpret_cast<MaidParam>(seenByModule), open);
    *count = *seenByModule;
    return result;
}

/** The storage is gone afterwards when the module may still write to it. */
int32_t askForList(const tagRefObj* object, uint32_t count, ElementStorage* list) {
    OpenCommand open;
    if (open.reference() == nullptr) return kMaidResultOutOfMemory;
    const auto data = reinterpret_cast<MaidParam>(list->get());
    open.completion().elements.reset(list->release());
    const int32_t result =
        issueAndWait(object, kMaidCommandGetCapInfo, count, kMaidDataCapInfoPtr, data, open);
    if (open.isCompleted()) list->reset(open.completion().elements.release());
    return result;
}

ElementStorage newList(uint32_t count) {
    if (count > kMostCapabilities) return nullptr;
    // One more: an empty list is a list, too.
    return AllocateBytes((size_t{count} + 1) * sizeof(NkMAIDCapInfo));
}

void storeList(tagRefObj* object, uint32_t* count, NkMAIDCapInfo** list, uint32_t newCount,
               ElementStorage newElements) {
    std::free(*list);
    *count = newElements == nullptr ? 0 : newCount;
    *list = reinterpret_cast<NkMAIDCapInfo*>(newElements.release());
    ++object->capListNumber;
}

}  // namespace

void InitRefObj(tagRefObj* object) {
    endReference(object);
    const MaidEntryPoint entryPoint = object->entryPoint;
    *object = tagRefObj{};
    object->entryPoint = entryPoint;
    object->id = kNoChildId;
}

const NkMAIDCapInfo* GetCapInfo(const tagRefObj* object, uint32_t capability) {
    const auto all = capabilitiesOf(object);
    const auto found =
        std::ranges::find_if(all, [&](const NkMAIDCapInfo& info) { return info.id == capability; });
    return found == all.end() ? nullptr : &*found;
}

bool CheckCapabilityOperation(const tagRefObj* object, uint32_t capability, uint32_t operations) {
    const NkMAIDCapInfo* info = GetCapInfo(object, capability);
    return info != nullptr && (info->operations & operations) != 0;
}

tagRefObj* GetRefChildPtr_ID(const tagRefObj* object, int32_t id) {
    const auto all = childrenOf(object);
    const auto found = std::ranges::find_if(all, [&](const tagRefObj* child) { return child->id == id; });
    return found == all.end() ? nullptr : *found;
}

tagRefObj* GetRefChildPtr_Index(const tagRefObj* object, uint32_t index) {
    const auto all = childrenOf(object);
    return index < all.size() ? all[index] : nullptr;
}

bool EnumCapabilities(tagRefObj* object, uint32_t* count, NkMAIDCapInfo** list) {
    for (;;) {
        const uint32_t listNumber = object->capListNumber;
        uint32_t newCount = 0;
        int32_t result = askForCount(object, &newCount);
        if (result == kMaidResultBufferSize) continue;
        if (result != kMaidResultNoError) return result == kMaidResultPending;

        ElementStorage elements = newList(newCount);
        const bool hadMemory = elements != nullptr;
        if (hadMemory) result = askForList(object, newCount, &elements);
        if (result == kMaidResultBufferSize) continue;
        // A list that an event has brought meanwhile is no older than ours.
        const bool isNewest = object->capListNumber == listNumber || *list == nullptr;
        if (!isAccepted(result)) elements.reset();
        if (isNewest) storeList(object, count, list, newCount, std::move(elements));
        return isAccepted(result);
    }
}

bool EnumChildrten(tagRefObj* object) {
    OpenCommand open;
    return issueAndWait(object, kMaidCommandEnumChildren, 0, kMaidDataNull, 0, open) == kMaidResultNoError;
}

}  // namespace nikon
