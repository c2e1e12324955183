#include "tests/e2e/support/nikon_fixture.h"

#include <array>
#include <cstdio>

namespace e2e {

Json nikonCamera(const std::string& id, const Json& more) {
    Json camera = {{"id", id}, {"family", "nikon"}, {"moduleType", kModuleType}};
    camera.update(more);
    return camera;
}

Json usualNikon(const Json& more) {
    return nikonCamera("nikon-1", more);
}

Json capability(int id, int type, int operations, const Json& more) {
    Json entry = {{"id", id}, {"type", type}, {"operations", operations}};
    entry.update(more);
    return entry;
}

Json unsignedCapability(int id, int64_t value, int operations) {
    return capability(id, kUnsignedCap, operations, {{"value", value}});
}

Json numbersCapability(int id, const std::vector<int64_t>& elements, int current, int operations) {
    return capability(id, kEnumCap, operations,
                      {{"arrayType", 2}, {"elements", elements}, {"current", current}});
}

Json textsCapability(int id, const std::vector<std::string>& elements, int current) {
    return capability(id, kEnumCap, kSettableList,
                      {{"arrayType", 7}, {"elements", elements}, {"current", current}});
}

Json withCapabilities(const std::vector<Json>& capabilities, const Json& more) {
    Json camera = usualNikon(more);
    camera["capabilities"] = capabilities;
    return camera;
}

Json nikonScenario(const std::vector<Json>& devices, const Json& module) {
    Json scenario = {{"devices", devices}};
    if (!module.is_null()) scenario["module"] = module;
    return scenario;
}

Json nikonShots(std::initializer_list<std::vector<Json>> shots) {
    Json list = Json::array();
    for (const std::vector<Json>& shot : shots) {
        list.push_back(shot);
    }
    return list;
}

Json nikonItem(int dataType, int64_t bytes, const Json& more) {
    Json item = {{"dataType", dataType}, {"bytes", bytes}};
    item.update(more);
    return item;
}

Json nikonFile(int dataType, const std::string& path, const Json& more) {
    Json item = {{"dataType", dataType}, {"file", path}};
    item.update(more);
    return item;
}

void NikonTest::start(const Json& scenario) {
    HelperOptions options;
    options.scenario = scenario;
    start(options);
}

void NikonTest::start(const HelperOptions& options) {
    events_.reset();
    nikon_.reset();
    lab_.reset();
    helper_.reset();
    helper_ = std::make_unique<HelperProcess>(options);
    nikon_ = std::make_unique<NikonCalls>(helper_->port());
}

int64_t NikonTest::startModule(int moduleType) {
    const int64_t handle = nikon().initializeSdk(moduleDirectory(), moduleType);
    EXPECT_NE(handle, 0) << helper().out().text();
    return handle;
}

int64_t NikonTest::startCamera(const Json& camera) {
    start(nikonScenario({camera}));
    if (HasFailure()) return 0;
    module_ = startModule();
    const int64_t handle = nikon().selectCamera(module_, 0);
    EXPECT_NE(handle, 0) << helper().out().text();
    return handle;
}

std::string NikonTest::moduleDirectory() {
    return simulatedSetPath() + "/nikon";
}

LabClient& NikonTest::lab() {
    if (!lab_) lab_ = std::make_unique<LabClient>(helper_->labSocket());
    return *lab_;
}

CallbackStream& NikonTest::events() {
    if (!events_) events_ = std::make_unique<CallbackStream>(*helper_);
    return *events_;
}

std::vector<MaidCommand> NikonTest::commands() {
    std::vector<MaidCommand> commands;
    for (const Json& entry : lab().calls("MAIDEntryPoint")) {
        const Json& args = entry["args"];
        const int64_t command = number(args["command"]);
        if (command == kAsyncCommand) continue;
        commands.push_back({args.value("object", ""), command, number(args["param"]),
                            number(args["dataType"]), args.contains("value") ? args["value"] : Json(),
                            number(entry["result"])});
    }
    return commands;
}

std::vector<std::string> NikonTest::commandTexts() {
    std::vector<std::string> texts;
    for (const MaidCommand& command : commands()) {
        std::array<char, 96> text{};
        std::snprintf(text.data(), text.size(), "%s %lld 0x%llx", command.object.c_str(),
                      static_cast<long long>(command.command), static_cast<long long>(command.param));
        texts.emplace_back(text.data());
    }
    return texts;
}

void NikonTest::expectServing() {
    NikonCalls other(helper().port());
    EXPECT_FALSE(other.isLiveView(0));
}

}  // namespace e2e
