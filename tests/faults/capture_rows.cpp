// Rows of the calls that prepare a picture, take it, and keep the camera awake.
#include "tests/faults/row.h"

namespace e2e::faults {

namespace {

constexpr const char* kShutterDown = "EdsSendCommand 0x4 0x10003";
constexpr const char* kShutterHalfway = "EdsSendCommand 0x4 0x10001";
constexpr const char* kShutterOff = "EdsSendCommand 0x4 0x0";
constexpr const char* kTakePicture = "EdsSendCommand 0x0 0x0";
constexpr const char* kReadQuality = "EdsGetPropertyData 0x100";
constexpr const char* kReadMode = "EdsGetPropertyData 0x501";
constexpr const char* kReadPreview = "EdsGetPropertyData 0x504";
constexpr const char* kEndPreview = "EdsSetPropertyData 0x504=00000000";
constexpr const char* kSetPreview = "EdsSetPropertyData 0x504=01000000";

std::function<Bytes(const Stage&)> preparing(bool halfPress) {
    return [halfPress](const Stage& stage) -> Bytes {
        return Message().int32(stage.session).text(stage.picturePath()).byte(halfPress ? 1 : 0);
    };
}

Bytes capturing(const Stage& stage) {
    return Message().int32(stage.session).text(stage.picturePath()).int64(0);
}

/** One byte more than a path may have. */
std::string longPath(const Stage& stage) {
    std::string path = stage.picturePath();
    path.resize(1014, 'x');
    return path;
}

Bytes preparingTooLong(const Stage& stage) {
    return Message().int32(stage.session).text(longPath(stage)).byte(1);
}

Bytes capturingTooLong(const Stage& stage) {
    return Message().int32(stage.session).text(longPath(stage)).int64(0);
}

void withDofPreviewInLiveView(Stage& stage) {
    withSession(stage);
    stage.startLiveView();
    EXPECT_TRUE(stage.canon().setSetting(stage.session, kEvfDofPreview, 1));
}

void withAnnouncedCapacity(Stage& stage) {
    withSession(stage);
    EXPECT_EQ(stage.canon().preCapture(stage.session, stage.picturePath()), 0);
}

/** The camera refused; what it knows of the host's room is not trusted any more. */
void withFailedCapture(Stage& stage) {
    withAnnouncedCapacity(stage);
    stage.lab().fault("EdsSendCommand", 0x81);
    EXPECT_EQ(stage.canon().capture(stage.session, stage.picturePath()), -1);
}

Json madeUpShots() {
    Json shots = Json::array();
    shots.push_back(Json::array({{{"name", "IMG_0001.JPG"}, {"bytes", kPictureBytes}}}));
    return {{"shots", shots}};
}

std::vector<Row> preCaptureRows() {
    return {
        {
            .name = "DoPreCaptureImage",
            .method = 25,
            .cameras = modernBody(),
            .prepare = withSession,
            .arguments = preparing(true),
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, usual},
                      {kReadQuality, usual, usual},
                      {kReadMode, usual, usual},
                      {kShutterHalfway, usual, usual}},
        },
        {
            .name = "DoPreCaptureImage_once_more",
            .method = 25,
            .cameras = modernBody(),
            .prepare = withAnnouncedCapacity,
            .arguments = preparing(false),
            .usual = value(0),
            .calls = {{kReadQuality, usual, usual}, {kReadMode, usual, usual}},
        },
        {
            .name = "DoPreCaptureImage_after_a_failed_capture",
            .method = 25,
            .cameras = modernBody(),
            .prepare = withFailedCapture,
            .arguments = preparing(false),
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, usual},
                      {kReadQuality, usual, usual},
                      {kReadMode, usual, usual}},
        },
        {
            .name = "DoPreCaptureImage_with_the_preview_on",
            .method = 25,
            .cameras = modernBody(),
            .prepare = withDofPreviewInLiveView,
            .arguments = preparing(true),
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, usual},
                      {kReadQuality, usual, usual},
                      {kReadMode, usual, usual, Labels{kShutterHalfway}},
                      {kReadPreview, usual, usual, Labels{kShutterHalfway}},
                      {kEndPreview, usual, usual},
                      {kShutterHalfway, usual, usual}},
        },
        {
            // The path is looked at when the camera is ready, but before its button is touched.
            .name = "DoPreCaptureImage_to_a_path_that_is_too_long",
            .method = 25,
            .cameras = modernBody(),
            .prepare = withDofPreviewInLiveView,
            .arguments = preparingTooLong,
            .usual = value(-1),
            .calls = {{"EdsSetCapacity", usual, usual},
                      {kReadQuality, usual, usual},
                      {kReadMode, usual, usual, Labels{}},
                      {kReadPreview, usual, usual, Labels{}},
                      {kEndPreview, usual, usual}},
        },
        {
            .name = "DoPreCaptureImage_without_shutter_button",
            .method = 25,
            .cameras = takePictureBody(),
            .prepare = withSession,
            .arguments = preparing(true),
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, usual},
                      {kReadQuality, usual, usual},
                      {kReadMode, usual, usual}},
        },
        {
            .name = "DoPreCaptureImage_of_a_legacy_camera",
            .method = 25,
            .cameras = legacyBody(),
            .prepare = withSession,
            .arguments = preparing(true),
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, usual},
                      {kReadQuality, usual, usual},
                      {kReadMode, usual, usual}},
        },
    };
}

std::vector<Row> buttonRows() {
    return {
        {
            .name = "DoCaptureImage",
            .method = 24,
            .cameras = modernBody(madeUpShots()),
            .prepare = withSession,
            .arguments = capturing,
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, value(-1)},
                      {kShutterDown, value(-1), value(-1), Labels{kReadMode}},
                      {kShutterOff, usual, usual},
                      {kReadMode, usual, usual}},
        },
        {
            .name = "DoCaptureImage_once_more",
            .method = 24,
            .cameras = modernBody(madeUpShots()),
            .prepare = withAnnouncedCapacity,
            .arguments = capturing,
            .usual = value(0),
            .calls = {{kShutterDown, value(-1), value(-1), Labels{kReadMode}},
                      {kShutterOff, usual, usual},
                      {kReadMode, usual, usual}},
        },
        {
            .name = "DoCaptureImage_after_a_failed_capture",
            .method = 24,
            .cameras = modernBody(madeUpShots()),
            .prepare = withFailedCapture,
            .arguments = capturing,
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, value(-1)},
                      {kShutterDown, value(-1), value(-1), Labels{kReadMode}},
                      {kShutterOff, usual, usual},
                      {kReadMode, usual, usual}},
        },
        {
            .name = "DoCaptureImage_with_the_preview_on",
            .method = 24,
            .cameras = modernBody(madeUpShots()),
            .prepare = withDofPreviewInLiveView,
            .arguments = capturing,
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, value(-1)},
                      {kShutterDown, value(-1), value(-1), Labels{kReadMode, kSetPreview}},
                      {kShutterOff, usual, usual},
                      {kReadMode, usual, usual, Labels{}},
                      {kSetPreview, usual, usual}},
        },
    };
}

std::vector<Row> takePictureRows() {
    return {
        {
            .name = "DoCaptureImage_to_a_path_that_is_too_long",
            .method = 24,
            .cameras = takePictureBody(madeUpShots()),
            .prepare = withSession,
            .arguments = capturingTooLong,
            .usual = value(-1),
            .calls = {{"EdsSetCapacity", usual, usual}},
        },
        {
            .name = "DoCaptureImage_without_shutter_button",
            .method = 24,
            .cameras = takePictureBody(madeUpShots()),
            .prepare = withSession,
            .arguments = capturing,
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, value(-1)},
                      {kTakePicture, value(-1), value(-1)},
                      {kReadMode, usual, usual}},
        },
        {
            .name = "DoCaptureImage_without_shutter_button_with_the_preview_on",
            .method = 24,
            .cameras = takePictureBody(madeUpShots()),
            .prepare = withDofPreviewInLiveView,
            .arguments = capturing,
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, value(-1)},
                      {kTakePicture, value(-1), value(-1)},
                      {kReadMode, usual, usual, Labels{}},
                      {kSetPreview, usual, usual}},
        },
        {
            .name = "DoCaptureImage_of_a_legacy_camera",
            .method = 24,
            .cameras = legacyBody(madeUpShots()),
            .prepare = withSession,
            .arguments = capturing,
            .usual = value(0),
            .calls = {{"EdsSetCapacity", usual, value(-1)},
                      {kTakePicture, value(-1), value(-1)},
                      {kReadMode, usual, usual}},
        },
        {
            .name = "ExtendShutdownTimer",
            .method = 26,
            .cameras = modernBody(),
            .prepare = withSession,
            .arguments = sessionArgument,
            .usual = nothing,
            .calls = {{"EdsSendCommand 0x1 0x0", usual, usual}},
        },
    };
}

}  // namespace

std::vector<Row> captureRows() {
    std::vector<Row> rows = preCaptureRows();
    for (const std::vector<Row>& more : {buttonRows(), takePictureRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
}

}  // namespace e2e::faults
