#include "tests/Nikon/ScriptedModule.h"

#include <algorithm>
#include <cstring>

namespace nikon::test {

namespace {

ScriptedModule* living = nullptr;

size_t levelOf(const std::string& object) {
    if (object.empty()) return 0;
    return 1 + static_cast<size_t>(std::count(object.begin(), object.end(), '/'));
}

}  // namespace

NkMAIDCapInfo describe(uint32_t id, uint32_t type, uint32_t operations) {
    NkMAIDCapInfo info{};
    info.id = id;
    info.type = type;
    info.operations = operations;
    std::strcpy(info.description, "scripted");
    return info;
}

ScriptedModule::ScriptedModule() {
    living = this;
    children[""] = {1};
}

ScriptedModule::~ScriptedModule() {
    living = nullptr;
}

int32_t ScriptedModule::entry(NkMAIDObject* object, uint32_t command, uint32_t param, uint32_t dataType,
                              MaidParam data, MaidCompletionProc completion, MaidRef ref) {
    ScriptedModule& module = *living;
    if (object == nullptr) return module.open("", 0, *reinterpret_cast<NkMAIDObject*>(data));
    const auto known = module.paths_.find(object);
    if (known == module.paths_.end()) return kMaidResultZombieObject;
    const Command made = {known->second, command, param, dataType, data};
    if (command == kMaidCommandAsync) return module.poll();
    module.commands_.push_back(made);
    const int32_t result = module.handle(object, made);
    if (completion == nullptr) return result;
    if (module.completesAtOnce) {
        completion(object, command, param, dataType, data, ref, result);
    } else {
        module.completions_.push_back({object, made, completion, ref, result});
    }
    return result;
}

int32_t ScriptedModule::handle(NkMAIDObject* object, const Command& command) {
    const auto scripted = answers_.find({command.command, command.param});
    if (scripted != answers_.end()) {
        if (const auto result = scripted->second(command)) return *result;
    }
    if (command.command == kMaidCommandOpen) {
        return open(command.object, command.param, command.as<NkMAIDObject>());
    }
    if (command.command == kMaidCommandClose) {
        objects_.erase(command.object);
        paths_.erase(object);
        return kMaidResultNoError;
    }
    return usual(command);
}

int32_t ScriptedModule::open(const std::string& parent, uint32_t id, NkMAIDObject& object) {
    const bool isRoot = id == 0;
    const std::string separator = parent.empty() ? "" : "/";
    const std::string path = isRoot ? "" : parent + separator + std::to_string(id);
    objects_[path] = {};
    paths_[&object] = path;
    object.type = static_cast<uint32_t>(levelOf(path)) + kMaidObjectModule;
    object.id = id;
    object.moduleRef = this;
    return kMaidResultNoError;
}

int32_t ScriptedModule::usual(const Command& command) {
    switch (command.command) {
        case kMaidCommandGetCapCount:
            command.as<uint32_t>() = static_cast<uint32_t>(capabilities(command.object).size());
            return kMaidResultNoError;
        case kMaidCommandGetCapInfo: {
            const auto list = capabilities(command.object);
            std::copy(list.begin(), list.end(), &command.as<NkMAIDCapInfo>());
            return kMaidResultNoError;
        }
        case kMaidCommandCapSet:
            return set(command);
        case kMaidCommandCapGet:
        case kMaidCommandCapGetArray:
            return get(command);
        default:
            return kMaidResultNoError;
    }
}

int32_t ScriptedModule::get(const Command& command) {
    if (command.dataType == kMaidDataEnumPtr && command.param == kMaidCapabilityChildren) {
        const std::vector<uint32_t>& ids = children[command.object];
        auto& list = command.as<NkMAIDEnum>();
        list.type = kMaidArrayUnsigned;
        list.elements = static_cast<uint32_t>(ids.size());
        list.physicalBytes = sizeof(uint32_t);
        if (command.command == kMaidCommandCapGetArray && !ids.empty()) {
            std::memcpy(list.data, ids.data(), ids.size() * sizeof(uint32_t));
        }
        return kMaidResultNoError;
    }
    if (command.dataType != kMaidDataUnsignedPtr) return kMaidResultNotSupported;
    const auto value = numbers.find({command.object, command.param});
    if (value == numbers.end()) return kMaidResultNotSupported;
    command.as<uint32_t>() = value->second;
    return kMaidResultNoError;
}

int32_t ScriptedModule::set(const Command& command) {
    if (command.dataType == kMaidDataCallbackPtr) {
        objects_[command.object].procs[command.param] = command.as<NkMAIDCallback>();
    } else if (command.dataType == kMaidDataNull) {
        objects_[command.object].procs.erase(command.param);
    } else if (command.dataType == kMaidDataUnsigned) {
        numbers[{command.object, command.param}] = static_cast<uint32_t>(command.data);
    }
    return kMaidResultNoError;
}

int32_t ScriptedModule::poll() {
    const auto due = std::exchange(completions_, {});
    for (const Completion& open : due) {
        const Command& c = open.command;
        open.proc(open.object, c.command, c.param, c.dataType, c.data, open.ref, open.result);
    }
    if (!polls.empty()) {
        const auto action = std::move(polls.front());
        polls.pop_front();
        action();
    }
    return pollResult;
}

std::vector<NkMAIDCapInfo> ScriptedModule::capabilities(const std::string& object) const {
    std::vector<NkMAIDCapInfo> list = {
        describe(kMaidCapabilityProgressProc, kMaidCapCallback, kMaidOperationSet),
        describe(kMaidCapabilityEventProc, kMaidCapCallback, kMaidOperationSet),
        describe(kMaidCapabilityChildren, kMaidCapEnum, kMaidOperationGet | kMaidOperationGetArray),
    };
    if (levelOf(object) == 1) {
        list.insert(list.end(), extraSourceCaps.begin(), extraSourceCaps.end());
        list.push_back(describe(kMaidCapabilityCapture, kMaidCapProcess, kMaidOperationStart));
    }
    if (levelOf(object) == 3) {
        list.push_back(describe(kMaidCapabilityDataProc, kMaidCapCallback, kMaidOperationSet));
        list.push_back(describe(kMaidCapabilityAcquire, kMaidCapProcess, kMaidOperationStart));
    }
    return list;
}

void ScriptedModule::raise(const std::string& object, uint32_t event, MaidParam data) {
    const auto open = objects_.find(object);
    if (open == objects_.end()) return;
    const auto proc = open->second.procs.find(kMaidCapabilityEventProc);
    if (proc == open->second.procs.end()) return;
    const NkMAIDCallback callback = proc->second;
    reinterpret_cast<MaidEventProc>(callback.proc)(callback.ref, event, data);
}

int32_t ScriptedModule::deliver(const std::string& object, uint32_t fileType,
                                const std::vector<uint8_t>& content, uint32_t block) {
    const NkMAIDCallback callback = objects_.at(object).procs.at(kMaidCapabilityDataProc);
    const auto total = static_cast<uint32_t>(content.size());
    int32_t result = kMaidResultNoError;
    for (uint32_t start = 0; start < total && result == kMaidResultNoError;) {
        NkMAIDFileInfo info{};
        info.base.type = kMaidDataObjectFile | kMaidDataObjectImage;
        info.fileDataType = fileType;
        info.totalLength = total;
        info.start = start;
        info.length = std::min(block, total - start);
        info.removeObject = 1;
        void* data = const_cast<uint8_t*>(content.data()) + start;
        result = reinterpret_cast<MaidDataProc>(callback.proc)(callback.ref, &info, data);
        start += info.length;
    }
    return result;
}

size_t ScriptedModule::count(uint32_t command, uint32_t param) const {
    return static_cast<size_t>(std::count_if(commands_.begin(), commands_.end(), [&](const Command& made) {
        return made.command == command && made.param == param;
    }));
}

}  // namespace nikon::test
