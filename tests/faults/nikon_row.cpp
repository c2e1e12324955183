#include "tests/faults/nikon_row.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>

namespace e2e::faults {

namespace {

constexpr std::array<const char*, 4> kLevels = {"module", "source", "item", "image"};

const char* commandName(int64_t command) {
    switch (command) {
        case 1:
            return "open";
        case 2:
            return "close";
        case 3:
            return "count capabilities";
        case 4:
            return "list capabilities";
        case 5:
            return "start";
        case 6:
            return "set";
        case 7:
            return "get";
        case 9:
            return "get array";
        case 13:
            return "enumerate children";
        default:
            return "other";
    }
}

}  // namespace

NikonStage::NikonStage(const Json& body) {
    HelperOptions options;
    options.scenario = nikonScenario({body});
    helper_ = std::make_unique<HelperProcess>(options);
    lab_ = std::make_unique<LabClient>(helper_->labSocket());
    nikon_ = std::make_unique<NikonCalls>(helper_->port());
    events_ = std::make_unique<CallbackStream>(*helper_);
}

void NikonStage::openModule() {
    module = nikon().initializeSdk(simulatedSetPath() + "/nikon", kModuleType);
    EXPECT_NE(module, 0);
}

void NikonStage::openSource() {
    openModule();
    EXPECT_NE(nikon().cameraType(module, 0), 65535);
}

void NikonStage::selectCamera() {
    openModule();
    camera = nikon().selectCamera(module, 0);
    EXPECT_NE(camera, 0);
}

void NikonStage::startLiveView() {
    selectCamera();
    EXPECT_TRUE(nikon().setLiveView(camera, true));
}

void NikonStage::press() {
    selectCamera();
    EXPECT_EQ(nikon().preCapture(camera, path()), 0);
    lab().press(id);
}

void PrintTo(const NikonRow& row, std::ostream* out) {
    *out << row.name;
}

NikonCheck exactly(const Bytes& expected) {
    return [expected](const Bytes& result) {
        return result == expected ? std::string()
                                  : "answered " + hex(result) + " instead of " + hex(expected);
    };
}

NikonCheck nikonInt(int32_t value) {
    return exactly(Message().int32(value));
}

NikonCheck nikonLong(int64_t value) {
    return exactly(Message().int64(value));
}

NikonCheck nikonByte(int value) {
    return exactly(Message().byte(value));
}

std::string anyHandle(const Bytes& result) {
    return result.size() == 8 && result != Bytes(8, 0) ? ""
                                                       : "answered " + hex(result) + " instead of a handle";
}

std::string noResult(const Bytes& result) {
    return exactly({})(result);
}

std::string nikonLabel(const Json& entry) {
    const Json& args = entry["args"];
    const std::string object = args.value("object", "");
    const auto slashes = static_cast<size_t>(std::count(object.begin(), object.end(), '/'));
    const size_t level = object.empty() ? 0 : std::min<size_t>(slashes + 1, kLevels.size() - 1);
    const int64_t command = e2e::number(args["command"]);
    // A procedure is taken back by setting nothing.
    const bool isTakenBack = command == kSetCommand && e2e::number(args["dataType"]) == 0;
    std::string label = std::string(kLevels[level]) + " " + (isTakenBack ? "clear" : commandName(command));
    if (command == kStartCommand || command == kSetCommand || command == kGetCommand ||
        command == kGetArrayCommand) {
        std::array<char, 24> capability{};
        std::snprintf(capability.data(), capability.size(), " 0x%llx",
                      static_cast<unsigned long long>(e2e::number(args["param"])));
        label += capability.data();
    }
    return label;
}

}  // namespace e2e::faults
