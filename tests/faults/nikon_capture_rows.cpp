// Rows of captures and of the check for pictures.
#include "tests/faults/nikon_row.h"

namespace e2e::faults {

namespace {

constexpr size_t kBytes = 3000;

Json body() {
    return usualNikon({{"shots", nikonShots({{nikonItem(kJpegType, kBytes, {{"blocks", 3}})}})}});
}

void withCamera(NikonStage& stage) {
    stage.selectCamera();
}

void withWaitingPicture(NikonStage& stage) {
    stage.press();
    // The module announces it while it is let work.
    EXPECT_EQ(stage.nikon().preCapture(stage.camera, stage.path()), 0);
}

Bytes captureArguments(const NikonStage& stage) {
    return Message().int64(stage.camera).text(stage.path()).int64(0);
}

Bytes preCaptureArguments(const NikonStage& stage) {
    return Message().int64(stage.camera).text(stage.path());
}

Bytes cameraArgument(const NikonStage& stage) {
    return Message().int64(stage.camera);
}

}  // namespace

std::vector<NikonRow> nikonCaptureRows() {
    return {
        // Everything but the shutter is tried again until the picture comes. An image that was opened without
        // its list of capabilities cannot be transferred, and stays in the camera.
        {.name = "CaptureImage",
         .method = 20,
         .body = body(),
         .prepare = withCamera,
         .arguments = captureArguments,
         .usual = nikonInt(0),
         .failing = {{"source start 0x11", nikonInt(-3)},
                     {"image count capabilities", nikonInt(-4)},
                     {"image list capabilities", nikonInt(-4)},
                     // The file is whole and the picture has left the camera, but that is not believed.
                     {"image clear 0x4", nikonInt(-4)}},
         .broken = {nikonInt(-31), nikonInt(-4)},
         .files = {{"frame.jpg", kBytes}}},
        {.name = "preCaptureImage",
         .method = 22,
         .body = body(),
         .prepare = withCamera,
         .arguments = preCaptureArguments,
         .usual = nikonInt(0),
         .broken = {nikonInt(-31)}},
        {.name = "checkForImages",
         .method = 23,
         .body = body(),
         .prepare = withWaitingPicture,
         .arguments = cameraArgument,
         .usual = nikonInt(1),
         .failing = {{"source get 0x7", nikonInt(0)},
                     {"source get array 0x7", nikonInt(0)},
                     {"image set 0x4", nikonInt(-60)},
                     {"image clear 0x4", nikonInt(-60)},
                     {"image start 0x14", nikonInt(-60)}},
         .broken = {nikonInt(-4), nikonInt(-5), nikonInt(-51)},
         .files = {{"frame.jpg", kBytes}}},
    };
}

}  // namespace e2e::faults
