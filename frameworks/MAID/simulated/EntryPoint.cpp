#include "frameworks/MAID/simulated/EntryPoint.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <new>

#include "frameworks/MAID/simulated/CallArgs.h"
#include "frameworks/MAID/simulated/Processes.h"
#include "frameworks/MAID/simulated/Values.h"
#include "lab/Call.h"
#include "lab/World.h"
#include "lab/nikon/Sources.h"

namespace maid {

namespace {

using lab::nikon::Capability;
using lab::nikon::Table;

// ---- Opening and closing -------------------------------------------------------------------------------

NkMAIDObject* recordOf(const Command& command) {
    return command.dataType == kMaidDataObjectPtr ? reinterpret_cast<NkMAIDObject*>(command.data) : nullptr;
}

int32_t openModule(uint32_t moduleType, const Command& command) {
    // Nothing else can be asked of no object.
    if (command.number != kMaidCommandOpen) {
        Registry::instance().countMisuse();
        return kMaidResultZombieObject;
    }
    NkMAIDObject* record = recordOf(command);
    if (record == nullptr) return kMaidResultUnexpectedDataType;
    const auto described = lab::World::instance().module();
    const lab::nikon::ModuleSetup setup = described ? *described : lab::nikon::ModuleSetup{};
    auto object = std::make_shared<Object>();
    object->record = record;
    object->module = std::make_shared<Module>(moduleType, setup.completeAfter);
    object->table = setup.capabilities;
    return Registry::instance().add(object) ? kMaidResultNoError : kMaidResultUnexpectedError;
}

int32_t openSource(uint32_t id, Object& out) {
    for (const lab::nikon::BodyRef& body : lab::nikon::attachedBodies(out.module->type())) {
        const std::optional<lab::nikon::Link> link = body->link();
        if (body->sourceId() != id || !link) continue;
        out.kind = Kind::source;
        out.body = body;
        out.link = *link;
        return kMaidResultNoError;
    }
    return kMaidResultValueOutOfBounds;
}

int32_t openItem(const Object& source, uint32_t id, Object& out) {
    out.content = source.body->item(source.link, id);
    if (!out.content) return kMaidResultValueOutOfBounds;
    out.kind = Kind::item;
    out.table = lab::nikon::itemTable();
    return kMaidResultNoError;
}

int32_t openData(const Object& item, uint32_t id, Object& out) {
    const std::vector<uint32_t> ids = childIds(item);
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) return kMaidResultValueOutOfBounds;
    out.content = item.content;
    out.kind = Kind::data;
    out.table = lab::nikon::imageTable(item.content->content.dual);
    return kMaidResultNoError;
}

int32_t fillChild(const Object& parent, uint32_t id, Object& out) {
    switch (parent.kind) {
        case Kind::module:
            return openSource(id, out);
        case Kind::source:
            return openItem(parent, id, out);
        case Kind::item:
            return openData(parent, id, out);
        case Kind::data:
            return kMaidResultNotSupported;
    }
    return kMaidResultNotSupported;
}

int32_t openChild(const ObjectRef& parent, const Command& command) {
    NkMAIDObject* record = recordOf(command);
    if (record == nullptr) return kMaidResultUnexpectedDataType;
    if (!isThere(*parent)) return kMaidResultZombieObject;
    auto child = std::make_shared<Object>();
    child->record = record;
    child->id = command.param;
    child->module = parent->module;
    child->parent = parent;
    child->body = parent->body;
    child->link = parent->link;
    child->path = (parent->path.empty() ? "" : parent->path + "/") + std::to_string(command.param);
    const int32_t result = fillChild(*parent, command.param, *child);
    if (result != kMaidResultNoError) return result;
    if (!Registry::instance().add(child)) return kMaidResultUnexpectedError;
    if (child->kind == Kind::source) child->body->opened(child->link);
    return kMaidResultNoError;
}

bool isUnder(const Object& object, const Object& top) {
    for (const Object* at = &object; at != nullptr; at = at->parent.get()) {
        if (at == &top) return true;
    }
    return false;
}

/** Children go with their parent: nobody could reach what they stand for any more. */
void take(const ObjectRef& object) {
    for (const ObjectRef& child : Registry::instance().childrenOf(*object)) {
        take(child);
    }
    object->isOpen = false;
    object->procedures.clear();
    if (object->kind == Kind::source) object->body->closed(object->link);
    Registry::instance().remove(*object);
}

int32_t closeObject(const ObjectRef& object) {
    const bool hasChildren = !Registry::instance().childrenOf(*object).empty();
    take(object);
    object->module->abort([&](const Object& other) { return isUnder(other, *object); });
    return hasChildren ? kMaidResultOrphanedChildren : kMaidResultNoError;
}

// ---- The list of capabilities --------------------------------------------------------------------------

int32_t countCapabilities(Object& object, const Command& command) {
    if (command.dataType != kMaidDataUnsignedPtr || command.data == 0) return kMaidResultUnexpectedDataType;
    Table table;
    uint64_t version = 0;
    const int32_t result = capabilitiesOf(object, table, version);
    if (result != kMaidResultNoError) return result;
    *reinterpret_cast<uint32_t*>(command.data) = static_cast<uint32_t>(table.size());
    object.countedVersion = version;
    return kMaidResultNoError;
}

void describe(const Capability& capability, NkMAIDCapInfo& out) {
    out.id = capability.id;
    out.type = capability.type;
    out.visibility = capability.visibility;
    out.operations = capability.operations;
    const size_t length = std::min(capability.description.size(), sizeof out.description);
    std::memset(out.description, 0, sizeof out.description);
    std::memcpy(out.description, capability.description.data(), length);
}

int32_t describeCapabilities(Object& object, const Command& command) {
    Table table;
    uint64_t version = 0;
    const int32_t result = capabilitiesOf(object, table, version);
    if (result != kMaidResultNoError) return result;
    if (command.dataType != kMaidDataCapInfoPtr || command.data == 0) return kMaidResultUnexpectedDataType;
    // The caller counted another list: it has to count again.
    const bool hasChanged = object.countedVersion && *object.countedVersion != version;
    if (hasChanged || command.param != table.size()) return kMaidResultBufferSize;
    auto* out = reinterpret_cast<NkMAIDCapInfo*>(command.data);
    for (const Capability& capability : table) {
        describe(capability, *out++);
    }
    return kMaidResultNoError;
}

// ---- Commands ------------------------------------------------------------------------------------------

/** How many async commands the completion waits for. */
uint32_t delayOf(const Object& object, const Command& command) {
    const bool namesCapability =
        command.number >= kMaidCommandCapStart && command.number <= kMaidCommandCapGetArray;
    Capability capability;
    if (namesCapability && capabilityOf(object, command.param, capability) == kMaidResultNoError &&
        capability.completeAfter) {
        return *capability.completeAfter;
    }
    return object.body ? object.body->completeAfter() : object.module->completeAfter();
}

/** A process that nobody described: it takes a moment and does nothing. */
class Nothing final : public Process {
public:
    std::optional<int32_t> work(bool isDue) override {
        return isDue ? std::optional<int32_t>(kMaidResultNoError) : std::nullopt;
    }
};

std::unique_ptr<Process> makeProcess(const ObjectRef& object, uint32_t capability, int32_t& refusal) {
    if (object->kind == Kind::source && capability == kMaidCapabilityCapture) {
        return beginCapture(object, refusal);
    }
    if (object->kind == Kind::data && capability == kMaidCapabilityAcquire) {
        return beginAcquire(object, refusal);
    }
    return std::make_unique<Nothing>();
}

int32_t startProcess(const ObjectRef& object, const Command& command, std::unique_ptr<Process>& out) {
    Capability capability;
    int32_t result = capabilityOf(*object, command.param, capability);
    if (result != kMaidResultNoError) return result;
    const bool canStart =
        capability.type == kMaidCapProcess && (capability.operations & kMaidOperationStart) != 0;
    if (!canStart) return kMaidResultNotSupported;
    out = makeProcess(object, command.param, result);
    return result;
}

int32_t abortObject(const ObjectRef& object) {
    object->module->abort([&](const Object& other) { return isUnder(other, *object); });
    return kMaidResultNoError;
}

int32_t enumerateChildren(const ObjectRef& object) {
    if (!isThere(*object)) return kMaidResultZombieObject;
    if (!object->procedures.contains(kMaidCapabilityEventProc)) return kMaidResultNoEventProc;
    object->module->announce(object, childIds(*object));
    return kMaidResultNoError;
}

int32_t letWork(const ObjectRef& object) {
    object->module->work();
    return kMaidResultNoError;
}

/** Commands that have their result at once. */
int32_t perform(const ObjectRef& object, const Command& command) {
    switch (command.number) {
        case kMaidCommandAsync:
            return letWork(object);
        case kMaidCommandOpen:
            return openChild(object, command);
        case kMaidCommandClose:
            return closeObject(object);
        case kMaidCommandGetCapCount:
            return countCapabilities(*object, command);
        case kMaidCommandGetCapInfo:
            return describeCapabilities(*object, command);
        case kMaidCommandCapSet:
            return setCapability(*object, command);
        case kMaidCommandCapGet:
            return getCapability(*object, command);
        case kMaidCommandCapGetDefault:
            return getDefault(*object, command);
        case kMaidCommandCapGetArray:
            return getArray(*object, command);
        case kMaidCommandAbort:
            return abortObject(object);
        case kMaidCommandEnumChildren:
            return enumerateChildren(object);
        default:
            return kMaidResultNotSupported;
    }
}

/** The same with nothing thrown further: the caller may be written in anything. */
template <typename Work>
int32_t guarded(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return kMaidResultOutOfMemory;
    } catch (const std::exception&) {
        return kMaidResultUnexpectedError;
    }
}

/** Now, when the object has been closed and so cannot be polled any more; else when it is due. */
void answer(const ObjectRef& object, const Command& command, uint32_t delay, int32_t result) {
    if (!object->isOpen || command.number == kMaidCommandAsync) {
        complete(command, result);
        return;
    }
    object->module->finishLater(command, object, delay, result);
}

int32_t carryOut(const ObjectRef& object, const Command& command, lab::Call& call) {
    const std::lock_guard guard(object->module->mutex());
    const uint32_t delay = command.number == kMaidCommandAsync ? 0 : delayOf(*object, command);
    if (command.number == kMaidCommandCapStart) {
        std::unique_ptr<Process> process;
        const int32_t result = guarded([&] { return startProcess(object, command, process); });
        if (process) return object->module->begin(command, object, delay, std::move(process));
        answer(object, command, delay, result);
        return result;
    }
    const int32_t result = guarded([&] { return perform(object, command); });
    noteOutcome(call, command, result);
    answer(object, command, delay, result);
    return result;
}

int32_t refuse(const ObjectRef& object, const Command& command, int32_t result) {
    const std::lock_guard guard(object->module->mutex());
    answer(object, command, delayOf(*object, command), result);
    return result;
}

int32_t dispatch(uint32_t moduleType, const Command& command, lab::Call& call) {
    const ObjectRef object = Registry::instance().find(command.object, moduleType);
    noteCommand(call, object.get(), command);
    if (call.refused()) {
        const auto result = call.answer<int32_t>();
        if (object) return refuse(object, command, result);
        complete(command, result);
        return result;
    }
    if (object) return call.done(carryOut(object, command, call));
    int32_t result = kMaidResultZombieObject;
    if (command.object == nullptr) {
        result = openModule(moduleType, command);
    } else {
        Registry::instance().countMisuse();
    }
    complete(command, result);
    return call.done(result);
}

}  // namespace

int32_t entryPoint(uint32_t moduleType, NkMAIDObject* object, uint32_t command, uint32_t param,
                   uint32_t dataType, MaidParam data, MaidCompletionProc completion, MaidRef ref) {
    lab::Call call("MAIDEntryPoint");
    return guarded([&] {
        return dispatch(moduleType, {object, command, param, dataType, data, completion, ref}, call);
    });
}

}  // namespace maid
