#include "tests/fuzz/RandomModule.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

RandomModule* theModule = nullptr;

constexpr size_t kMostListeners = 64;
constexpr size_t kMostOpen = 64;
constexpr size_t kMostWritten = 4096;
constexpr uint32_t kLongestBlock = 70'000;
// The module's own calls into itself, by way of the callbacks.
constexpr int kDeepest = 200;

struct Known {
    uint32_t id;
    uint32_t type;
};
constexpr auto kCapabilities =
    std::to_array<Known>({{2, kMaidCapCallback},      {3, kMaidCapCallback},      {4, kMaidCapCallback},
                          {5, kMaidCapCallback},      {7, kMaidCapEnum},          {17, kMaidCapProcess},
                          {20, kMaidCapProcess},      {49, kMaidCapInteger},      {0x8111, kMaidCapEnum},
                          {0x8116, kMaidCapEnum},     {0x8120, kMaidCapEnum},     {0x81AF, kMaidCapBoolean},
                          {0x81B3, kMaidCapUnsigned}, {0x81B5, kMaidCapUnsigned}, {0x81D7, kMaidCapUnsigned},
                          {0x822E, kMaidCapEnum},     {0x823C, kMaidCapUnsigned}, {0x823D, kMaidCapUnsigned},
                          {0x823E, kMaidCapUnsigned}, {0x8247, kMaidCapArray},    {0x8248, kMaidCapRange},
                          {0x8249, kMaidCapUnsigned}, {0x824A, kMaidCapPoint}});
constexpr uint32_t kFrame = 0x8247;
constexpr uint32_t kCommonFrameSize = 900;
constexpr uint32_t kCommonId = 1;
// Three of four bytes leave the module as it should be, or a run would not come far.
constexpr uint8_t kOdd = 0xC0;
constexpr std::array<int32_t, 8> kResults{1, 1, 2, -124, -119, -116, 257, -1000};

}  // namespace

RandomModule::RandomModule(Input& input) : input_(input) {
    theModule = this;
}

RandomModule::~RandomModule() {
    theModule = nullptr;
}

int32_t RandomModule::entryPoint(NkMAIDObject* object, uint32_t command, uint32_t parameter,
                                 uint32_t dataType, MaidParam data, MaidCompletionProc completion,
                                 MaidRef reference) {
    return theModule->handle({object, command, parameter, completion, reference}, dataType, data);
}

int32_t RandomModule::result() {
    const uint8_t choice = input_.byte();
    return choice < kOdd ? int32_t{kMaidResultNoError} : kResults[choice % kResults.size()];
}

/** Mostly one that elements may have: lists of megabytes would be most of what the runs do. */
uint16_t RandomModule::size() {
    constexpr uint16_t kAnything = 0xF800;
    constexpr uint16_t kUsual = 17;
    const uint16_t number = input_.half();
    return number < kAnything ? static_cast<uint16_t>(number % kUsual) : number;
}

int32_t RandomModule::handle(const Open& call, uint32_t dataType, MaidParam data) {
    if (input_.isEmpty() || depth_ > kDeepest) return kMaidResultHardwareError;
    ++depth_;
    const uint8_t habit = input_.byte();
    if (habit >= kOdd && habit % 2 == 0) doSomethingElse();
    carryOut(call, dataType, data);
    if (call.completion != nullptr && open_.size() < kMostOpen) {
        open_.push_back(call);
        if (habit >= kOdd && habit % 4 == 1) completeOne();
    }
    const int32_t answer = result();
    --depth_;
    return answer;
}

bool RandomModule::isOdd() {
    return input_.byte() >= kOdd;
}

void RandomModule::carryOut(const Open& call, uint32_t dataType, MaidParam data) {
    switch (call.command) {
        case kMaidCommandAsync:
            work();
            break;
        case kMaidCommandOpen: {
            auto* opened = reinterpret_cast<NkMAIDObject*>(data);
            opened->type = isOdd() ? input_.byte() % 6 : call.object->type + 1;
            opened->id = call.parameter;
            break;
        }
        case kMaidCommandGetCapCount:
            *reinterpret_cast<uint32_t*>(data) =
                isOdd() ? input_.count() : static_cast<uint32_t>(kCapabilities.size());
            break;
        case kMaidCommandGetCapInfo:
            describe(call.parameter, reinterpret_cast<NkMAIDCapInfo*>(data));
            break;
        case kMaidCommandCapSet:
            if (dataType == kMaidDataCallbackPtr && listeners_.size() < kMostListeners) {
                listeners_.push_back({call.parameter, *reinterpret_cast<NkMAIDCallback*>(data)});
            }
            break;
        case kMaidCommandCapGet:
        case kMaidCommandCapGetDefault:
            get(call.parameter, dataType, data);
            break;
        case kMaidCommandCapGetArray:
            getArray(call.parameter, dataType, data);
            break;
        default:
            break;
    }
}

/** A poll: the acquisition under way delivers, and what is open is completed. */
void RandomModule::work() {
    const bool isAcquiring = std::ranges::any_of(open_, [](const Open& one) {
        return one.command == kMaidCommandCapStart && one.parameter == kMaidCapabilityAcquire;
    });
    const auto taker = std::find_if(listeners_.rbegin(), listeners_.rend(), [](const Listener& one) {
        return one.capability == kMaidCapabilityDataProc;
    });
    if (isAcquiring && taker != listeners_.rend()) deliver(NkMAIDCallback(taker->callback));
    if (!isOdd()) completeOne();
}

void RandomModule::get(uint32_t capability, uint32_t dataType, MaidParam data) {
    const bool odd = isOdd();
    switch (dataType) {
        case kMaidDataBooleanPtr:
            *reinterpret_cast<uint8_t*>(data) = input_.byte();
            break;
        case kMaidDataIntegerPtr:
        case kMaidDataUnsignedPtr:
            *reinterpret_cast<uint32_t*>(data) = input_.count();
            break;
        case kMaidDataRangePtr:
            input_.fill(reinterpret_cast<void*>(data), sizeof(NkMAIDRange));
            break;
        case kMaidDataArrayPtr: {
            auto* array = reinterpret_cast<NkMAIDArray*>(data);
            array->type = input_.byte() % 10;
            array->elements = odd ? input_.count() * (input_.byte() % 8) : kCommonFrameSize;
            array->physicalBytes = odd ? size() : uint16_t{1};
            break;
        }
        case kMaidDataEnumPtr: {
            auto* list = reinterpret_cast<NkMAIDEnum*>(data);
            const bool isChildren = capability == kMaidCapabilityChildren && !odd;
            const bool isNumbers = isChildren || input_.byte() % 2 == 0;
            list->type = isNumbers ? kMaidArrayUnsigned : kMaidArrayPackedString;
            list->elements = isChildren ? 1 : input_.count();
            list->value = input_.byte();
            list->physicalBytes = isNumbers ? 4 : 1;
            if (!odd) break;
            list->type = input_.byte() % 10;
            list->physicalBytes = size();
            break;
        }
        default:
            break;
    }
}

void RandomModule::getArray(uint32_t capability, uint32_t dataType, MaidParam data) {
    const auto write = [&](auto* record) {
        const uint64_t room = uint64_t{record->elements} * record->physicalBytes;
        if (capability == kMaidCapabilityChildren && room >= sizeof kCommonId) {
            std::memcpy(record->data, &kCommonId, sizeof kCommonId);
        } else {
            // A frame's header is enough; its picture may be all zeros.
            const uint64_t most = capability == kFrame ? 40 : kMostWritten;
            input_.fill(record->data, static_cast<size_t>(std::min(room, most)));
        }
        if (!isOdd()) return;
        const uint8_t change = input_.byte();
        if (change % 4 == 0) record->elements = input_.count();
        if (change % 4 == 1) record->physicalBytes = size();
        if (change % 4 == 2 && room >= 4) input_.fill(record->data, 4);
        if (change % 4 == 3) record->data = nullptr;
    };
    if (dataType == kMaidDataArrayPtr) write(reinterpret_cast<NkMAIDArray*>(data));
    if (dataType == kMaidDataEnumPtr) write(reinterpret_cast<NkMAIDEnum*>(data));
}

void RandomModule::describe(uint32_t count, NkMAIDCapInfo* infos) {
    const bool odd = isOdd();
    const size_t start = odd ? input_.byte() : 0;
    for (uint32_t i = 0; i < std::min<uint32_t>(count, kCapabilities.size()); ++i) {
        const Known& known = kCapabilities[(start + i) % kCapabilities.size()];
        infos[i].id = known.id;
        infos[i].type = odd ? input_.byte() % 15 : known.type;
        infos[i].operations = odd ? input_.byte() : 0xFF;
        std::memset(infos[i].description, 'x', sizeof infos[i].description);
    }
}

void RandomModule::completeOne() {
    if (open_.empty()) return;
    const uint8_t way = input_.byte();
    const bool odd = way >= kOdd;
    const Open done = odd && way % 2 == 0 ? open_.front() : open_.back();
    // Now and then it will be completed once more, whenever that is.
    if (!odd || way % 4 < 2) {
        std::erase_if(open_, [&](const Open& one) { return one.reference == done.reference; });
    }
    const int32_t last = odd ? result() : int32_t{kMaidResultNoError};
    const int times = odd && way % 8 == 5 ? 2 : 1;
    for (int i = 0; i < times; ++i) {
        done.completion(done.object, done.command, done.parameter, 0, 0, done.reference, last);
    }
}

void RandomModule::doSomethingElse() {
    if (listeners_.empty()) return;
    const Listener& to = listeners_[input_.byte() % listeners_.size()];
    const NkMAIDCallback callback = to.callback;  // more of them may come meanwhile
    switch (to.capability) {
        case kMaidCapabilityProgressProc:
            reinterpret_cast<MaidProgressProc>(callback.proc)(0, 0, callback.ref, input_.word(),
                                                              input_.word());
            break;
        case kMaidCapabilityEventProc: {
            const uint8_t event = input_.byte() % 16;
            reinterpret_cast<MaidEventProc>(callback.proc)(callback.ref, event == 15 ? 0x107U : event % 8U,
                                                           input_.byte() % 8);
            break;
        }
        case kMaidCapabilityDataProc:
            deliver(callback);
            break;
        default:
            break;
    }
}

void RandomModule::deliver(const NkMAIDCallback& to) {
    static std::array<uint8_t, kLongestBlock> block{};
    NkMAIDFileInfo info{};
    const bool odd = isOdd();
    info.base.type = odd ? input_.word() : uint32_t{kMaidDataObjectFile | kMaidDataObjectImage};
    info.fileDataType = input_.byte();
    info.totalLength = odd ? input_.count() : 1000;
    info.start = input_.byte();
    info.length = odd ? input_.count() : info.totalLength;
    info.diskFile = odd && input_.byte() % 4 == 0 ? 1 : 0;
    info.removeObject = input_.byte() % 2;
    // As many bytes as it says, or none.
    void* data = info.length <= block.size() ? block.data() : nullptr;
    reinterpret_cast<MaidDataProc>(to.proc)(to.ref, &info, data);
}
