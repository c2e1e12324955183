// Rows of modules, cameras, settings and live view.
#include "tests/faults/nikon_row.h"

namespace e2e::faults {

namespace {

constexpr int32_t kNoCamera = 65535;
constexpr int32_t kType = 0x0204;

Json body() {
    return withCapabilities(
        {numbersCapability(kExposureMode, {0, 1, 2, 3}, 2),
         capability(kBattery, kIntegerCap, kGettable, {{"value", 66}}),
         capability(kClearedBeforeBracketing, kBooleanCap, kGettable | kSettable, {{"value", true}}),
         unsignedCapability(kBracketing, 1), unsignedCapability(kLiveViewState, 0),
         unsignedCapability(kClearedOnSelection, 1), unsignedCapability(kSetOnSelection, 0)},
        {{"cameraType", kType},
         // 640 x 480 of 4000 x 3000, of which 2000 at 1000, 750.
         {"liveview",
          {{{"header",
             "028001e00fa00bb80000000000000000"
             "07d0050003e802ee0000000000000000"},
            {"length", 1064},
            {"jpegAt", 64}}}}});
}

/** The camera keeps its picture, so that all levels of objects stay open. */
Json keepingBody() {
    Json camera = body();
    camera["shots"] = nikonShots({{nikonItem(kJpegType, 100, {{"remove", false}})}});
    return camera;
}

void nothingPrepared(NikonStage&) {}

void withModule(NikonStage& stage) {
    stage.openModule();
}

void withSource(NikonStage& stage) {
    stage.openSource();
}

void withCamera(NikonStage& stage) {
    stage.selectCamera();
}

void withLiveView(NikonStage& stage) {
    stage.startLiveView();
}

void withFrame(NikonStage& stage) {
    stage.startLiveView();
    EXPECT_EQ(stage.nikon().liveViewImage(stage.camera).size(), 1000u);
}

void withPicture(NikonStage& stage) {
    stage.selectCamera();
    const TempFolder elsewhere;
    EXPECT_EQ(stage.nikon().capture(stage.camera, elsewhere.file("a")), 0);
}

Bytes loadArguments(const NikonStage&) {
    return Message().text(simulatedSetPath() + "/nikon").int32(kModuleType);
}

Bytes moduleArgument(const NikonStage& stage) {
    return Message().int64(stage.module);
}

Bytes firstOfModule(const NikonStage& stage) {
    return Message().int64(stage.module).int32(0);
}

Bytes cameraArgument(const NikonStage& stage) {
    return Message().int64(stage.camera);
}

Bytes settingArguments(const NikonStage& stage) {
    return Message().int64(stage.camera).int32(kExposureMode);
}

Bytes newSettingArguments(const NikonStage& stage) {
    return Message().int64(stage.camera).int32(kExposureMode).int32(1);
}

Bytes onArguments(const NikonStage& stage) {
    return Message().int64(stage.camera).byte(1);
}

Bytes stepsArguments(const NikonStage& stage) {
    return Message().int64(stage.camera).int32(-2);
}

Bytes positionArguments(const NikonStage& stage) {
    return Message().int64(stage.camera).int32(100).int32(100);
}

Message textList(std::initializer_list<const char*> texts) {
    Message list;
    list.int32(static_cast<int64_t>(texts.size()));
    for (const char* text : texts) {
        list.text(text);
    }
    return list;
}

std::string wholeFrame(const Bytes& result) {
    return result.size() == 1004 ? "" : "answered " + std::to_string(result.size()) + " bytes";
}

std::map<std::string, NikonCheck> all(const std::vector<std::string>& labels, const NikonCheck& check) {
    std::map<std::string, NikonCheck> checks;
    for (const std::string& label : labels) {
        checks[label] = check;
    }
    return checks;
}

NikonRow remembered(std::string name, int method, int32_t value) {
    return {.name = std::move(name),
            .method = method,
            .body = body(),
            .prepare = withFrame,
            .arguments = cameraArgument,
            .usual = nikonInt(value)};
}

}  // namespace

std::vector<NikonRow> nikonModuleRows() {
    return {
        {.name = "InitializeSDK",
         .method = 1,
         .body = body(),
         .prepare = nothingPrepared,
         .arguments = loadArguments,
         .usual = anyHandle,
         .failing = all({"module open", "module count capabilities", "module list capabilities",
                         "module set 0x2", "module set 0x3", "module set 0x8101"},
                        nikonLong(0))},
        {.name = "TerminateSDK",
         .method = 2,
         .body = keepingBody(),
         .prepare = withPicture,
         .arguments = moduleArgument,
         .usual = nikonInt(0),
         .failing = all({"image clear 0x2", "image clear 0x3", "image close", "item clear 0x2",
                         "item clear 0x3", "item close", "source clear 0x2", "source clear 0x3",
                         "source close", "module clear 0x2", "module clear 0x3", "module close"},
                        nikonInt(1))},
        {.name = "getCameraCount",
         .method = 3,
         .body = body(),
         .prepare = withModule,
         .arguments = moduleArgument,
         .usual = nikonInt(1),
         .failing = {{"module get 0x7", nikonInt(0)}}},
        {.name = "getCameraTypeAtIndex",
         .method = 4,
         .body = body(),
         .prepare = withModule,
         .arguments = firstOfModule,
         .usual = nikonInt(kType),
         .failing = {{"module get 0x7", nikonInt(kNoCamera)},
                     {"module get array 0x7", nikonInt(kNoCamera)},
                     {"module open", nikonInt(0)},
                     {"source get 0x81d7", nikonInt(kNoCamera)}}},
        {.name = "selectCameraAtIndex",
         .method = 5,
         .body = body(),
         .prepare = withSource,
         .arguments = firstOfModule,
         .usual = anyHandle,
         .failing = {{"module get 0x7", nikonLong(0)}, {"module get array 0x7", nikonLong(0)}}},
        {.name = "releaseCamera",
         .method = 21,
         .body = body(),
         .prepare = withCamera,
         .arguments = cameraArgument,
         .usual = noResult},
    };
}

std::vector<NikonRow> nikonCameraRows() {
    return {
        {.name = "GetSettingOptions",
         .method = 6,
         .body = body(),
         .prepare = withCamera,
         .arguments = settingArguments,
         .usual = exactly(textList({"Program", "Aperture", "Speed", "Manual"})),
         .failing = all({"source get 0x8111", "source get array 0x8111"}, nikonInt(0))},
        {.name = "GetSetting",
         .method = 7,
         .body = body(),
         .prepare = withCamera,
         .arguments = settingArguments,
         .usual = nikonInt(2),
         .failing = all({"source get 0x8111", "source get array 0x8111"}, nikonInt(-1)),
         .broken = {nikonInt(0)}},
        {.name = "SetSetting",
         .method = 8,
         .body = body(),
         .prepare = withCamera,
         .arguments = newSettingArguments,
         .usual = noResult},
        {.name = "getBatteryLevel",
         .method = 9,
         .body = body(),
         .prepare = withCamera,
         .arguments = cameraArgument,
         .usual = nikonInt(66),
         .failing = {{"source get 0x31", nikonInt(-1)}},
         .broken = {nikonInt(0)}},
        {.name = "getBracketing",
         .method = 10,
         .body = body(),
         .prepare = withCamera,
         .arguments = cameraArgument,
         .usual = nikonByte(1),
         .failing = {{"source get 0x81b3", nikonByte(0)}}},
    };
}

std::vector<NikonRow> nikonLiveViewRows() {
    return {
        {.name = "SetLiveView",
         .method = 11,
         .body = body(),
         .prepare = withCamera,
         .arguments = onArguments,
         .usual = nikonByte(1),
         .failing = all({"source get 0x823e", "source set 0x823e"}, nikonByte(0))},
        {.name = "IsLiveView",
         .method = 12,
         .body = body(),
         .prepare = withLiveView,
         .arguments = cameraArgument,
         .usual = nikonByte(1),
         .failing = {{"source get 0x823e", nikonByte(0)}}},
        {.name = "getLiveViewImage",
         .method = 13,
         .body = body(),
         .prepare = withLiveView,
         .arguments = cameraArgument,
         .usual = wholeFrame,
         .failing = all({"source get 0x8247", "source get array 0x8247"}, nikonInt(0))},
        {.name = "driveFocus",
         .method = 14,
         .body = body(),
         .prepare = withLiveView,
         .arguments = stepsArguments,
         .usual = noResult},
        {.name = "SetLiveViewZoomPosition",
         .method = 15,
         .body = body(),
         .prepare = withFrame,
         .arguments = positionArguments,
         .usual = noResult},
        remembered("GetLiveViewZoomPositionX", 16, 160),
        remembered("GetLiveViewZoomPositionY", 17, 120),
        remembered("GetLiveViewZoomWidth", 18, 320),
        remembered("GetLiveViewZoomHeight", 19, 205),
    };
}

}  // namespace e2e::faults
