/* Tree.cpp: objects opened, closed, and told whom to report to.
 *
 * While a child is being closed the module is let work, and may report that the child, or what is above it,
 * has gone. The one who comes second waits for nobody: a removal of the same child leaves it to the first, a
 * removal of what is above closes the child once more and unlinks it, which the first finds out by the
 * missing entry point.
 */
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "Nikon/CallBack.h"
#include "Nikon/CameraData.h"
#include "Nikon/MaidCommands.h"
#include "Nikon/MaidModule.h"
#include "Nikon/References.h"
#include "Nikon/debug.h"
#include "TarvoRemote/NikonRemote.h"
#include "platform/CallScope.h"

namespace nikon {

namespace {

constexpr int kLevelsBelowRoot = 3;
constexpr size_t kSlotSize = sizeof(void*);  // of the array of children

void freeRecord(void* record) {
    auto* object = static_cast<tagRefObj*>(record);
    std::free(object->object);
    std::free(object->capInfo);
    std::free(object->children);
    delete object;
}

tagRefObj* newChild(tagRefObj* parent, int32_t id) {
    auto* child = new (std::nothrow) tagRefObj;
    if (child == nullptr) return nullptr;
    InitRefObj(child);
    child->object = static_cast<NkMAIDObject*>(std::calloc(1, sizeof(NkMAIDObject)));
    if (child->object == nullptr) {
        freeRecord(child);
        return nullptr;
    }
    child->id = id;
    child->parent = parent;
    child->entryPoint = parent->entryPoint;
    child->inheritedRef = parent->inheritedRef;
    child->object->clientRef = child;
    return child;
}

bool link(tagRefObj* parent, tagRefObj* child) {
    void* grown = std::realloc(parent->children, (size_t{parent->childCount} + 1) * kSlotSize);
    if (grown == nullptr) return false;
    parent->children = static_cast<tagRefObj**>(grown);
    parent->children[parent->childCount++] = child;
    return true;
}

void unlink(tagRefObj* parent, const tagRefObj* child) {
    tagRefObj** end = parent->children + parent->childCount;
    tagRefObj** place = std::find(parent->children, end, child);
    if (place == end) return;
    std::copy(place + 1, end, place);
    if (--parent->childCount == 0) {
        std::free(parent->children);
        parent->children = nullptr;
        return;
    }
    void* shrunk = std::realloc(parent->children, parent->childCount * kSlotSize);
    if (shrunk != nullptr) parent->children = static_cast<tagRefObj**>(shrunk);
}

/** Gives the record's memory back when nobody on the stack can hold it any more. */
void freeAtEndOfScope(tagRefObj* object) {
    static std::mutex lock;
    static void* kept = nullptr;  // chained by the references that are ours
    try {
        autorelease(object, [](void* record) {
            if (static_cast<tagRefObj*>(record)->isRetired) freeRecord(record);
        });
        object->isRetired = true;
    } catch (const std::bad_alloc&) {
        // No room for the note that it is to be freed, so it stays: callers may still look at it.
        const std::lock_guard guard(lock);
        object->object->clientRef = std::exchange(kept, object);
    }
}

/** Nothing in the tree and nothing in the module leads to the record any more. Callers further up may still
 *  hold it, so its memory waits for the end of their scope. */
void retire(tagRefObj* object) {
    endReference(object);
    while (object->childCount > 0) {
        tagRefObj* child = object->children[object->childCount - 1];
        unlink(object, child);
        retire(child);
    }
    object->entryPoint = nullptr;
    object->parent = nullptr;
    if (object->cameraData != nullptr) object->cameraData->source = nullptr;
    object->cameraData = nullptr;
    freeAtEndOfScope(object);
}

bool canTakeChild(const tagRefObj* parent) {
    uint32_t level = 0;
    for (const tagRefObj* above = parent; above != nullptr; above = above->parent) {
        if (above->isClosing || ++level > kDeepestLevel) return false;
    }
    return parent->entryPoint != nullptr;
}

bool isSettable(const tagRefObj* object, uint32_t capability) {
    return CheckCapabilityOperation(object, capability, kMaidOperationSet);
}

template <class Procedure>
bool setProcedure(tagRefObj* object, uint32_t capability, Procedure procedure) {
    NkMAIDCallback callback{.proc = reinterpret_cast<void (*)()>(procedure), .ref = referenceOf(object)};
    return callback.ref != nullptr &&
           Command_CapSet(object, capability, kMaidDataCallbackPtr, reinterpret_cast<MaidParam>(&callback));
}

bool clearProcedure(tagRefObj* object, uint32_t capability) {
    return !isSettable(object, capability) || Command_CapSet(object, capability, kMaidDataNull, 0);
}

bool setEventProcedure(tagRefObj* object) {
    switch (object->object->type) {
        case kMaidObjectItem:
            return setProcedure(object, kMaidCapabilityEventProc, ItmEventProc);
        case kMaidObjectData:
            return setProcedure(object, kMaidCapabilityEventProc, DatEventProc);
        case kMaidObjectSource:
            return setProcedure(object, kMaidCapabilityEventProc, SrcEventProc);
        case kMaidObjectModule:
            // Both in this order: modules have been seen to rely on it, and the second one stays.
            return setProcedure(object, kMaidCapabilityEventProc, ModEventProc) &&
                   setProcedure(object, kMaidCapabilityEventProc, SrcEventProc);
        default:
            return true;
    }
}

bool isClosed(const tagRefObj* object) {
    return object->entryPoint == nullptr;
}

/** Closes the object and unlinks it; true, too, when somebody else has done so meanwhile. */
bool closeObject(tagRefObj* object) {
    if (isClosed(object)) return true;
    const bool isReset = ResetProc(object);
    if (isClosed(object)) return true;
    if (!isReset || !Command_Close(object)) return isClosed(object);
    if (isClosed(object)) return true;
    if (object->parent != nullptr) unlink(object->parent, object);
    retire(object);
    return true;
}

/** Closes the levels below the object, from the bottom; what lies deeper goes without being closed. */
bool closeBelow(tagRefObj* object, int levels) {
    while (levels > 0 && object->childCount > 0) {
        tagRefObj* child = object->children[0];
        child->isClosing = true;
        if (closeBelow(child, levels - 1) && closeObject(child)) continue;
        child->isClosing = false;
        return false;
    }
    return true;
}

void reportRemoval(const tagRefObj* source) {
    debug("IN REMOVE CHILD %p\n", static_cast<const void*>(source));
    source->cameraData->active = 0;
    NikonRemote_statusCallback(kNikonCameraRemoved);
}

/** Frees what the root owns, but not the root. */
void freeFields(tagRefObj* root) {
    while (root->childCount > 0) {
        tagRefObj* child = root->children[root->childCount - 1];
        unlink(root, child);
        retire(child);
    }
    std::free(root->object);
    std::free(root->capInfo);
    std::free(root->children);
    root->object = nullptr;
    root->capInfo = nullptr;
    root->children = nullptr;
    root->capCount = 0;
}

}  // namespace

bool AddChild(tagRefObj* parent, int32_t id) {
    if (parent == nullptr || !canTakeChild(parent)) return false;
    tagRefObj* child = parent->childCount < kMostChildren ? newChild(parent, id) : nullptr;
    if (child == nullptr) {
        debug("There is not enough memory\n");
        return false;
    }
    if (!Command_Open(parent, child->object, id)) {
        debug("Failed in Opening an object.\n");
        freeRecord(child);
        return false;
    }
    // A module may have closed the parent while it opened the child.
    const bool isWanted = !isClosed(parent);
    if (!isWanted || !link(parent, child)) {
        if (isWanted) debug("There is not enough memory\n");
        Command_Close(child);
        freeRecord(child);
        return false;
    }
    EnumCapabilities(child, &child->capCount, &child->capInfo);
    debug("IN ADD CHILD %p\n", static_cast<void*>(child));
    SetProc(child);
    return true;
}

bool RemoveChild(tagRefObj* parent, int32_t id) {
    tagRefObj* child = GetRefChildPtr_ID(parent, id);
    if (child == nullptr) return false;
    if (child->cameraData != nullptr) {
        reportRemoval(child);
        return true;
    }
    if (child->isClosing) return true;
    child->isClosing = true;
    if (closeBelow(child, static_cast<int>(kDeepestLevel)) && closeObject(child)) return true;
    child->isClosing = false;
    return false;
}

bool SetProc(tagRefObj* object) {
    if (isSettable(object, kMaidCapabilityProgressProc) &&
        !setProcedure(object, kMaidCapabilityProgressProc, ProgressProc)) {
        return false;
    }
    return !isSettable(object, kMaidCapabilityEventProc) || setEventProcedure(object);
}

bool ResetProc(tagRefObj* object) {
    if (!clearProcedure(object, kMaidCapabilityProgressProc)) return false;
    if (!clearProcedure(object, kMaidCapabilityEventProc)) return false;
    if (object->object->type != kMaidObjectModule) return true;
    return clearProcedure(object, kMaidCapabilityUIRequestProc);
}

bool Close_Module(tagRefObj* root) {
    if (root->object == nullptr) return true;
    root->isClosing = true;
    const bool isDone = closeBelow(root, kLevelsBelowRoot) && ResetProc(root) && Command_Close(root);
    root->isClosing = false;
    if (!isDone) return false;
    endReference(root);
    freeFields(root);
    return true;
}

void FreeTree(tagRefObj* root) {
    freeFields(root);
    InitRefObj(root);
}

}  // namespace nikon
