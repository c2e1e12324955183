#include "tests/Nikon/tree/FakeModule.h"

#include <algorithm>
#include <cstring>

namespace {

FakeModule* theModule = nullptr;

const char* nameOf(uint32_t command) {
    static const std::map<uint32_t, const char*> names{{kMaidCommandAsync, "async"},
                                                       {kMaidCommandOpen, "open"},
                                                       {kMaidCommandClose, "close"},
                                                       {kMaidCommandGetCapCount, "count"},
                                                       {kMaidCommandGetCapInfo, "describe"},
                                                       {kMaidCommandCapStart, "start"},
                                                       {kMaidCommandCapSet, "set"},
                                                       {kMaidCommandCapGet, "get"},
                                                       {kMaidCommandCapGetDefault, "default"},
                                                       {kMaidCommandCapGetArray, "elements"},
                                                       {kMaidCommandAbort, "abort"},
                                                       {kMaidCommandEnumChildren, "children"}};
    const auto found = names.find(command);
    return found == names.end() ? "?" : found->second;
}

std::string describeCall(const FakeCall& call) {
    static constexpr const char* kTypes[] = {"nothing", "module", "source", "item", "data"};
    std::string text = std::string(nameOf(call.command)) + " " + std::to_string(call.parameter) + " on ";
    if (call.object == nullptr) return text + "nothing";
    return text + kTypes[std::min(call.object->type, 4U)] + " " + std::to_string(call.object->id);
}

}  // namespace

FakeObject& FakeObject::add(uint32_t childType, uint32_t childId) {
    auto added = std::make_unique<FakeObject>();
    added->type = childType;
    added->id = childId;
    children.push_back(std::move(added));
    return *children.back();
}

FakeObject* FakeObject::child(uint32_t childId) {
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const auto& one) { return one->id == childId; });
    return found == children.end() ? nullptr : found->get();
}

FakeCapability& FakeObject::can(uint32_t capability, uint32_t capabilityType, uint32_t operations) {
    FakeCapability added;
    added.info.id = capability;
    added.info.type = capabilityType;
    added.info.operations = operations;
    capabilities.push_back(added);
    return capabilities.back();
}

FakeCapability* FakeObject::capability(uint32_t wanted) {
    const auto found = std::find_if(capabilities.begin(), capabilities.end(),
                                    [&](const FakeCapability& one) { return one.info.id == wanted; });
    return found == capabilities.end() ? nullptr : &*found;
}

void FakeObject::hasProcedure(uint32_t wanted) {
    can(wanted, kMaidCapCallback, kMaidOperationSet);
}

void FakeObject::hasChildrenList() {
    can(kMaidCapabilityChildren, kMaidCapEnum, kMaidOperationGet | kMaidOperationGetArray);
}

int32_t FakeObject::raise(uint32_t event, MaidParam parameter) {
    const FakeCapability* events = capability(kMaidCapabilityEventProc);
    if (events == nullptr || events->procedure.proc == nullptr) return 0;
    return reinterpret_cast<MaidEventProc>(events->procedure.proc)(events->procedure.ref, event, parameter);
}

void FakeObject::progress(uint32_t done, uint32_t total) {
    const FakeCapability* listener = capability(kMaidCapabilityProgressProc);
    if (listener == nullptr || listener->procedure.proc == nullptr) return;
    reinterpret_cast<MaidProgressProc>(listener->procedure.proc)(kMaidCommandCapStart, kMaidCapabilityAcquire,
                                                                 listener->procedure.ref, done, total);
}

FakeModule::FakeModule() {
    theModule = this;
    root.type = kMaidObjectModule;
}

FakeModule::~FakeModule() {
    theModule = nullptr;
}

int32_t FakeModule::entryPoint(NkMAIDObject* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                               MaidParam data, MaidCompletionProc completion, MaidRef reference) {
    FakeCall call{nullptr, command, parameter, dataType, data, completion, reference, object};
    call.object = object == nullptr ? &theModule->root : static_cast<FakeObject*>(object->moduleRef);
    return theModule->handle(call);
}

void FakeModule::openRoot(nikon::tagRefObj* record) {
    record->entryPoint = entryPoint;
    nikon::InitRefObj(record);
    record->object = static_cast<NkMAIDObject*>(std::calloc(1, sizeof(NkMAIDObject)));
    record->object->clientRef = record;
    record->object->type = kMaidObjectModule;
    record->object->moduleRef = &root;
    root.isOpen = true;
    nikon::EnumCapabilities(record, &record->capCount, &record->capInfo);
    calls.clear();
    polls = 0;
}

std::vector<std::string> FakeModule::trace() const {
    std::vector<std::string> lines;
    for (const FakeCall& call : calls) {
        lines.push_back(describeCall(call));
    }
    return lines;
}

void FakeModule::complete(const FakeCall& call, int32_t result) {
    if (call.completion == nullptr) return;
    call.completion(call.record, call.command, call.parameter, call.dataType, call.data, call.reference,
                    result);
}

int32_t FakeModule::complain(const FakeCall& call, const char* what, int32_t result) {
    complaints.push_back(std::string(what) + ": " + describeCall(call));
    return result;
}

int32_t FakeModule::handle(const FakeCall& call) {
    if (call.command != kMaidCommandAsync) calls.push_back(call);
    if (before) before(call);
    const auto own = answer ? answer(call) : std::nullopt;
    if (call.command == kMaidCommandAsync) return own ? *own : poll();
    const int32_t result = own ? *own : carryOut(call);
    settle(call, result == kMaidResultPending ? kMaidResultNoError : result);
    return result;
}

int32_t FakeModule::carryOut(const FakeCall& call) {
    if (call.command == kMaidCommandOpen) return open(call);
    if (!call.object->isOpen) return complain(call, "not open", kMaidResultZombieObject);
    switch (call.command) {
        case kMaidCommandClose:
            call.object->isOpen = false;
            return kMaidResultNoError;
        case kMaidCommandGetCapCount:
            *reinterpret_cast<uint32_t*>(call.data) = static_cast<uint32_t>(call.object->capabilities.size());
            return kMaidResultNoError;
        case kMaidCommandGetCapInfo:
            return describe(call);
        case kMaidCommandEnumChildren:
            return announceChildren(call);
        case kMaidCommandAbort:
            return kMaidResultNoError;
        default:
            break;
    }
    FakeCapability* capability = call.object->capability(call.parameter);
    if (capability == nullptr) return complain(call, "no such capability", kMaidResultNotSupported);
    switch (call.command) {
        case kMaidCommandCapStart:
            return kMaidResultPending;
        case kMaidCommandCapSet:
            return set(call, *capability);
        case kMaidCommandCapGet:
        case kMaidCommandCapGetDefault:
            return get(call, *capability);
        case kMaidCommandCapGetArray:
            return getArray(call, *capability);
        default:
            return complain(call, "unknown command", kMaidResultNotSupported);
    }
}

void FakeModule::settle(const FakeCall& call, int32_t result) {
    if (call.completion == nullptr) return;
    if (completionPolls == 0) return completeAsTold(call, result);
    pending_.push_back({call, result, completionPolls});
}

void FakeModule::completeAsTold(const FakeCall& call, int32_t result) {
    const auto own = completionResult ? completionResult(call) : std::nullopt;
    for (int i = 0; i < completions; ++i) {
        complete(call, own.value_or(result));
    }
}

int32_t FakeModule::poll() {
    ++polls;
    if (!atPolls.empty()) {
        const auto action = std::move(atPolls.front());
        atPolls.pop_front();
        if (action) action();
    }
    // Callbacks may issue commands, and poll: what is due leaves the list first.
    std::vector<Pending> due;
    for (auto one = pending_.begin(); one != pending_.end();) {
        if (--one->polls > 0) {
            ++one;
            continue;
        }
        due.push_back(*one);
        one = pending_.erase(one);
    }
    for (const Pending& one : due) {
        completeAsTold(one.call, one.result);
    }
    return kMaidResultNoError;
}

int32_t FakeModule::open(const FakeCall& call) {
    FakeObject* child = call.object->child(call.parameter);
    if (child == nullptr) return kMaidResultValueOutOfBounds;
    if (child->isOpen) return complain(call, "open already", kMaidResultUnexpectedError);
    auto* record = reinterpret_cast<NkMAIDObject*>(call.data);
    record->type = child->type;
    record->id = child->id;
    record->moduleRef = child;
    child->isOpen = true;
    return kMaidResultNoError;
}

int32_t FakeModule::describe(const FakeCall& call) {
    if (call.parameter != call.object->capabilities.size()) return kMaidResultBufferSize;
    auto* infos = reinterpret_cast<NkMAIDCapInfo*>(call.data);
    for (const FakeCapability& one : call.object->capabilities) {
        *infos++ = one.info;
    }
    return kMaidResultNoError;
}

int32_t FakeModule::get(const FakeCall& call, FakeCapability& capability) {
    if (capability.info.id == kMaidCapabilityChildren) {
        capability.elements.clear();
        for (const auto& child : call.object->children) {
            const auto* bytes = reinterpret_cast<const uint8_t*>(&child->id);
            capability.elements.insert(capability.elements.end(), bytes, bytes + sizeof child->id);
        }
    }
    const auto count = static_cast<uint32_t>(capability.elements.size() / capability.elementSize);
    switch (call.dataType) {
        case kMaidDataBooleanPtr:
            *reinterpret_cast<uint8_t*>(call.data) = capability.number != 0;
            break;
        case kMaidDataUnsignedPtr:
            *reinterpret_cast<uint32_t*>(call.data) = capability.number;
            break;
        case kMaidDataArrayPtr: {
            auto* array = reinterpret_cast<NkMAIDArray*>(call.data);
            array->type = capability.elementType;
            array->elements = count;
            array->physicalBytes = capability.elementSize;
            break;
        }
        case kMaidDataEnumPtr: {
            auto* list = reinterpret_cast<NkMAIDEnum*>(call.data);
            list->type = capability.elementType;
            list->elements = count;
            list->physicalBytes = capability.elementSize;
            list->value = capability.number;
            break;
        }
        default:
            return complain(call, "data type", kMaidResultUnexpectedDataType);
    }
    return kMaidResultNoError;
}

int32_t FakeModule::getArray(const FakeCall& call, const FakeCapability& capability) {
    void* to = nullptr;
    if (call.dataType == kMaidDataArrayPtr) to = reinterpret_cast<NkMAIDArray*>(call.data)->data;
    if (call.dataType == kMaidDataEnumPtr) to = reinterpret_cast<NkMAIDEnum*>(call.data)->data;
    if (to == nullptr) return complain(call, "no storage", kMaidResultUnexpectedDataType);
    std::copy(capability.elements.begin(), capability.elements.end(), static_cast<uint8_t*>(to));
    return kMaidResultNoError;
}

int32_t FakeModule::set(const FakeCall& call, FakeCapability& capability) {
    switch (call.dataType) {
        case kMaidDataNull:
            capability.procedure = {};
            break;
        case kMaidDataBoolean:
        case kMaidDataUnsigned:
            capability.number = static_cast<uint32_t>(call.data);
            break;
        case kMaidDataCallbackPtr:
            capability.procedure = *reinterpret_cast<NkMAIDCallback*>(call.data);
            break;
        default:
            return complain(call, "data type", kMaidResultUnexpectedDataType);
    }
    return kMaidResultNoError;
}

int32_t FakeModule::announceChildren(const FakeCall& call) {
    FakeObject* object = call.object;
    atPolls.push_front([object] {
        for (size_t i = 0; i < object->children.size(); ++i) {
            object->raise(kMaidEventAddChild, object->children[i]->id);
        }
    });
    return kMaidResultNoError;
}
