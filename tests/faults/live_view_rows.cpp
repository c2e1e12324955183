// Rows of the live view, its zoom, and the focus.
#include "tests/faults/row.h"

namespace e2e::faults {

namespace {

constexpr const char* kReadAeMode = "EdsGetPropertyData 0x400";
constexpr const char* kReadMode = "EdsGetPropertyData 0x501";
constexpr const char* kReadOutput = "EdsGetPropertyData 0x500";
constexpr const char* kReadZoom = "EdsGetPropertyData 0x507";
constexpr const char* kReadPosition = "EdsGetPropertyData 0x508";
constexpr const char* kEndPreview = "EdsSetPropertyData 0x504=00000000";
constexpr const char* kSetPreview = "EdsSetPropertyData 0x504=01000000";
constexpr const char* kModeOn = "EdsSetPropertyData 0x501=01000000";
constexpr const char* kFocusOff = "EdsSendCommand 0x102 0x0";
constexpr const char* kOutputOn = "EdsSetPropertyData 0x500=02000000";
constexpr const char* kOutputOff = "EdsSetPropertyData 0x500=00000000";
constexpr const char* kZoomFit = "EdsSetPropertyData 0x507=01000000";
constexpr const char* kZoomFive = "EdsSetPropertyData 0x507=05000000";

// The later frames are shorter, so that each leaves some of the first one behind it.
constexpr int32_t kFirstFrame = 40000;
constexpr int32_t kSecondFrame = 30000;

std::vector<Json> framesBody() {
    Json frames = Json::array({{{"bytes", kFirstFrame}}, {{"bytes", kSecondFrame}}});
    return modernBody({{"liveview", frames}});
}

void withLiveView(Stage& stage) {
    withSession(stage);
    stage.startLiveView();
}

void withFrame(Stage& stage) {
    withLiveView(stage);
    stage.fetchFrame();
}

void withLiveViewMode(Stage& stage) {
    withLiveView(stage);
    EXPECT_EQ(stage.canon().stopLiveView(stage.session), 0);
}

void withPreview(Stage& stage) {
    withSession(stage);
    EXPECT_TRUE(stage.canon().setSetting(stage.session, kEvfDofPreview, 1));
}

void withZoomedFrame(Stage& stage) {
    withLiveView(stage);
    stage.canon().setLiveViewZoom(stage.session, true);
    stage.fetchFrame();
}

/** The camera zooms, and a frame has come of it that does not tell. */
void withFrameOfUnknownZoom(Stage& stage) {
    withFrame(stage);
    stage.canon().setLiveViewZoom(stage.session, true);
    stage.lab().fault("EdsGetPropertyData", 0x81, {{"property", kEvfZoom}});
    stage.fetchFrame();
}

Bytes zoomIn(const Stage& stage) {
    return Message().int32(stage.session).byte(1);
}

Bytes zoomToCorner(const Stage& stage) {
    return Message().int32(stage.session).fraction(0.0).fraction(0.0);
}

Bytes stepsNearer(const Stage& stage) {
    return Message().int32(stage.session).int32(2);
}

std::vector<Row> startRows() {
    return {
        {
            .name = "DoStartLiveView",
            .method = 9,
            .cameras = modernBody(),
            .prepare = withSession,
            .arguments = sessionArgument,
            .usual = value(0),
            .calls = {{kReadAeMode, usual, failureOf(kModeOn)},
                      {kEndPreview, usual, failureOf(kModeOn)},
                      // The mode is switched on when it cannot be read.
                      {kReadMode, usual, failureOf(kModeOn)},
                      {kModeOn, failureOf(kModeOn), failureOf(kModeOn), Labels{kFocusOff}},
                      {kFocusOff, usual, failureOf(kOutputOn)},
                      {kOutputOn, failureOf(kOutputOn), failureOf(kOutputOn), Labels{}},
                      {kZoomFit, usual, usual}},
        },
        {
            .name = "DoStartLiveView_in_its_mode",
            .method = 9,
            .cameras = modernBody(),
            .prepare = withLiveViewMode,
            .arguments = sessionArgument,
            .usual = value(0),
            .calls = {{kReadAeMode, usual, failureOf(kModeOn)},
                      {kEndPreview, usual, failureOf(kModeOn)},
                      {kReadMode, usual, failureOf(kModeOn), Labels{kModeOn, kFocusOff, kOutputOn, kZoomFit}},
                      {kOutputOn, failureOf(kOutputOn), failureOf(kOutputOn), Labels{}},
                      {kZoomFit, usual, usual}},
        },
        {
            .name = "DoStartLiveView_with_a_preview_to_restore",
            .method = 9,
            .cameras = modernBody(),
            .prepare = withPreview,
            .arguments = sessionArgument,
            .usual = value(0),
            .calls = {{kReadAeMode, usual, failureOf(kModeOn)},
                      {kEndPreview, usual, failureOf(kModeOn)},
                      {kReadMode, usual, failureOf(kModeOn)},
                      {kModeOn, failureOf(kModeOn), failureOf(kModeOn), Labels{kFocusOff, kSetPreview}},
                      {kFocusOff, usual, failureOf(kOutputOn)},
                      {kOutputOn, failureOf(kOutputOn), failureOf(kOutputOn), Labels{kSetPreview}},
                      {kZoomFit, usual, usual},
                      {kSetPreview, usual, usual}},
        },
        {
            .name = "DoStartLiveView_in_a_basic_mode",
            .method = 9,
            .cameras = modernBody({{"properties", property(kAeMode, 9, 9)}}),
            .prepare = withSession,
            .arguments = sessionArgument,
            .usual = value(134),
            // A camera that does not tell its mode is taken for one that can.
            .calls = {{kReadAeMode, value(0), failureOf(kModeOn),
                       Labels{kEndPreview, kReadMode, kModeOn, kFocusOff, kOutputOn, kZoomFit}}},
        },
        {
            .name = "DoStopLiveView",
            .method = 10,
            .cameras = modernBody(),
            .prepare = withLiveView,
            .arguments = sessionArgument,
            .usual = value(0),
            .calls = {{kReadOutput, failureOf(kReadOutput), failureOf(kReadOutput), Labels{}},
                      {kOutputOff, failureOf(kOutputOff), failureOf(kOutputOff)}},
        },
    };
}

/** A frame, where an earlier one stands in for the one that does not come, or none. */
Row frameRow(std::string name, void (*prepare)(Stage&), const Check& substitute) {
    const Check frame = newFrame(kFirstFrame);
    return {
        .name = std::move(name),
        .method = 13,
        .cameras = framesBody(),
        .prepare = prepare,
        .arguments = sessionArgument,
        .usual = frame,
        .calls = {{kReadMode, noFrame, noFrame, Labels{}},
                  {kReadOutput, noFrame, noFrame, Labels{}},
                  {"EdsCreateMemoryStream", substitute, substitute, Labels{}},
                  {"EdsCreateEvfImageRef", substitute, substitute, Labels{"EdsRelease stream"}},
                  {"EdsDownloadEvfImage", substitute, substitute,
                   Labels{"EdsRelease stream", "EdsRelease evfImage"}},
                  // From here on the frame is the helper's, whatever becomes of the camera.
                  {kReadZoom, usual, usual},
                  {kReadPosition, usual, usual},
                  {"EdsGetLength", substitute, usual},
                  {"EdsGetPointer", substitute, usual},
                  {"EdsRelease stream", usual, usual},
                  {"EdsRelease evfImage", usual, usual}},
    };
}

std::vector<Row> frameRows() {
    return {
        frameRow("DoGetLiveViewImageData", withLiveView, noFrame),
        frameRow("DoGetLiveViewImageData_after_another", withFrame, previousFrame),
        {
            .name = "DoGetLiveViewImageData_without_live_view",
            .method = 13,
            .cameras = modernBody(),
            .prepare = withSession,
            .arguments = sessionArgument,
            .usual = noFrame,
            .calls = {{kReadMode, noFrame, noFrame}},
        },
        {
            .name = "DoGetLiveViewImageData_without_output",
            .method = 13,
            .cameras = modernBody(),
            .prepare = withLiveViewMode,
            .arguments = sessionArgument,
            .usual = noFrame,
            .calls = {{kReadMode, noFrame, noFrame, Labels{}}, {kReadOutput, noFrame, noFrame}},
        },
    };
}

/** What the helper knows from the last frame, without asking the camera. */
Row rememberedRow(std::string name, int method, const Check& answer, void (*prepare)(Stage&) = withFrame) {
    return {
        .name = std::move(name),
        .method = method,
        .cameras = framesBody(),
        .prepare = prepare,
        .arguments = sessionArgument,
        .usual = answer,
        .calls = {},
    };
}

std::vector<Row> zoomRows() {
    const Check tenth = [](const Outcome& outcome) {
        return outcome.result == Message().int64(100000).bytes() ? "" : "answered " + hex(outcome.result);
    };
    const std::string position = "EdsSetPropertyData 0x508=0000000000000000";
    return {
        rememberedRow("IsLiveViewZoom", 19, boolean(false)),
        rememberedRow("IsLiveViewZoom_of_a_zoomed_frame", 19, boolean(true), withZoomedFrame),
        rememberedRow("IsLiveViewZoom_of_a_frame_that_does_not_tell", 19, boolean(false),
                      withFrameOfUnknownZoom),
        rememberedRow("GetLiveViewZoomPositionX", 14, tenth),
        rememberedRow("GetLiveViewZoomPositionY", 15, tenth),
        {
            .name = "SetLiveViewZoom",
            .method = 20,
            .cameras = modernBody(),
            .prepare = withLiveView,
            .arguments = zoomIn,
            .usual = nothing,
            .calls = {{kReadMode, usual, usual, Labels{}},
                      {kReadOutput, usual, usual, Labels{}},
                      {kZoomFive, usual, usual}},
        },
        {
            .name = "SetLiveViewZoom_without_live_view",
            .method = 20,
            .cameras = modernBody(),
            .prepare = withSession,
            .arguments = zoomIn,
            .usual = nothing,
            .calls = {{kReadMode, usual, usual}},
        },
        {
            .name = "SetLiveViewZoomPosition",
            .method = 21,
            .cameras = modernBody(),
            .prepare = withLiveView,
            .arguments = zoomToCorner,
            .usual = nothing,
            .calls = {{kReadMode, usual, usual, Labels{}},
                      {kReadOutput, usual, usual, Labels{}},
                      {position, usual, usual}},
        },
        {
            .name = "SetLiveViewZoomPosition_without_output",
            .method = 21,
            .cameras = modernBody(),
            .prepare = withLiveViewMode,
            .arguments = zoomToCorner,
            .usual = nothing,
            .calls = {{kReadMode, usual, usual, Labels{}}, {kReadOutput, usual, usual}},
        },
        {
            .name = "DriveFocus",
            .method = 11,
            .cameras = modernBody(),
            .prepare = withLiveView,
            .arguments = stepsNearer,
            .usual = nothing,
            .calls = {{"EdsSendCommand 0x103 0x2", usual, usual}},
        },
    };
}

}  // namespace

std::vector<Row> liveViewRows() {
    std::vector<Row> rows = startRows();
    for (const std::vector<Row>& more : {frameRows(), zoomRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
}

}  // namespace e2e::faults
