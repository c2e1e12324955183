#include "tests/MAID/caller.h"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace test {

namespace {

Opened& heardBy(MaidRef ref) {
    return *static_cast<Opened*>(ref);
}

void onEvent(MaidRef ref, uint32_t event, MaidParam data) {
    heardBy(ref).events.push_back({event, data});
}

void onProgress(uint32_t, uint32_t, MaidRef ref, uint32_t done, uint32_t total) {
    heardBy(ref).progress.push_back({done, total});
}

int32_t onData(MaidRef ref, void* info, void* data) {
    Opened& object = heardBy(ref);
    NkMAIDFileInfo file{};
    std::memcpy(&file, info, sizeof file);
    object.blocks.push_back(file);
    object.data.append(static_cast<const char*>(data), file.length);
    return object.answerToData;
}

void onCompletion(NkMAIDObject*, uint32_t, uint32_t, uint32_t, MaidParam, MaidRef ref, int32_t result) {
    auto& completion = *static_cast<Completion*>(ref);
    ++completion.count;
    completion.result = result;
}

template <typename Function>
NkMAIDCallback callbackOf(Function function, Opened* object) {
    return {reinterpret_cast<void (*)()>(function), object};
}

}  // namespace

MaidEntryPoint entryPointOf(const std::string& module) {
    const std::string path = programFolder() + "/../../lib/tarvo/simulated/nikon/" + module +
                             " Module.bundle/Contents/Linux/" + module + " Module";
    void* bundle = dlopen(path.c_str(), RTLD_NOW);
    if (bundle == nullptr) {
        ADD_FAILURE() << dlerror();
        return nullptr;
    }
    return reinterpret_cast<MaidEntryPoint>(dlsym(bundle, "MAIDEntryPoint"));
}

void MaidTest::TearDown() {
    if (call == nullptr) return;
    must({{"cmd", "clearFaults"}});
    if (module != nullptr) close(module);
    EXPECT_EQ(library()["objects"]["module"], 0);
    EXPECT_EQ(library()["unfinishedCommands"], 0);
}

void MaidTest::start(const std::vector<Json>& bodies, const Json& scenario) {
    Json devices = Json::array();
    for (Json body : bodies) {
        body["family"] = "nikon";
        if (!body.contains("moduleType")) body["moduleType"] = 8;
        body["id"] = "nikon-" + std::to_string(devices.size() + 1);
        devices.push_back(std::move(body));
    }
    call = entryPointOf("Type0001");
    ASSERT_NE(call, nullptr);
    lay(devices, scenario);
    opened_.push_back(std::make_unique<Opened>());
    module = opened_.back().get();
    const auto record = reinterpret_cast<MaidParam>(&module->record);
    ASSERT_EQ(call(nullptr, kMaidCommandOpen, 0, kMaidDataObjectPtr, record, nullptr, nullptr), 0);
    install(module);
}

Opened* MaidTest::open(Opened* parent, uint32_t id) {
    opened_.push_back(std::make_unique<Opened>());
    Opened* object = opened_.back().get();
    const auto record = reinterpret_cast<MaidParam>(&object->record);
    EXPECT_EQ(call(&parent->record, kMaidCommandOpen, id, kMaidDataObjectPtr, record, nullptr, nullptr), 0);
    install(object);
    return object;
}

void MaidTest::close(Opened* object) {
    if (object == module) module = nullptr;
    call(&object->record, kMaidCommandClose, 0, 0, 0, nullptr, nullptr);
}

int32_t MaidTest::issue(Opened* object, uint32_t command, uint32_t param, uint32_t dataType, MaidParam data,
                        Completion& completion) {
    return call(&object->record, command, param, dataType, data, onCompletion, &completion);
}

int32_t MaidTest::run(Opened* object, uint32_t command, uint32_t param, uint32_t dataType, MaidParam data) {
    last = {};
    const int32_t result = issue(object, command, param, dataType, data, last);
    EXPECT_TRUE(pollUntil(object, [&] { return last.count > 0; }));
    EXPECT_EQ(last.count, 1);
    return result;
}

void MaidTest::poll(Opened* object, int times) {
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(call(&object->record, kMaidCommandAsync, 0, 0, 0, nullptr, nullptr), 0);
    }
}

bool MaidTest::pollUntil(Opened* object, const std::function<bool()>& condition) {
    return eventually([&] {
        if (condition()) return true;
        poll(object);
        return condition();
    });
}

void MaidTest::install(Opened* object) {
    const auto set = [&](uint32_t capability, NkMAIDCallback callback) {
        return call(&object->record, kMaidCommandCapSet, capability, kMaidDataCallbackPtr,
                    reinterpret_cast<MaidParam>(&callback), nullptr, nullptr);
    };
    EXPECT_EQ(set(kMaidCapabilityProgressProc, callbackOf(onProgress, object)), 0);
    EXPECT_EQ(set(kMaidCapabilityEventProc, callbackOf(onEvent, object)), 0);
    if (object->record.type == kMaidObjectData) {
        EXPECT_EQ(set(kMaidCapabilityDataProc, callbackOf(onData, object)), 0);
    }
}

int32_t MaidTest::setUnsigned(Opened* object, uint32_t capability, uint32_t value) {
    return run(object, kMaidCommandCapSet, capability, kMaidDataUnsigned, value);
}

uint32_t MaidTest::getUnsigned(Opened* object, uint32_t capability) {
    uint32_t value = 0;
    EXPECT_EQ(run(object, kMaidCommandCapGet, capability, kMaidDataUnsignedPtr,
                  reinterpret_cast<MaidParam>(&value)),
              0);
    return value;
}

std::vector<uint32_t> MaidTest::children(Opened* object) {
    NkMAIDEnum list{};
    const auto record = reinterpret_cast<MaidParam>(&list);
    EXPECT_EQ(run(object, kMaidCommandCapGet, kMaidCapabilityChildren, kMaidDataEnumPtr, record), 0);
    EXPECT_EQ(list.physicalBytes, 4);
    std::vector<uint32_t> ids(list.elements);
    list.data = ids.data();
    EXPECT_EQ(run(object, kMaidCommandCapGetArray, kMaidCapabilityChildren, kMaidDataEnumPtr, record), 0);
    return ids;
}

std::string MaidTest::frame(Opened* source) {
    NkMAIDArray array{};
    const auto record = reinterpret_cast<MaidParam>(&array);
    EXPECT_EQ(run(source, kMaidCommandCapGet, 0x8247, kMaidDataArrayPtr, record), 0);
    std::string bytes(static_cast<size_t>(array.elements) * array.physicalBytes, '\0');
    array.data = bytes.data();
    EXPECT_EQ(run(source, kMaidCommandCapGetArray, 0x8247, kMaidDataArrayPtr, record), 0);
    return bytes;
}

}  // namespace test
