// Rows of the calls that open and close a session, and read the camera's firmware.
#include "tests/faults/row.h"

namespace e2e::faults {

namespace {

constexpr const char* kLock = "EdsSendStatusCommand 0x0";
constexpr const char* kUnlock = "EdsSendStatusCommand 0x1";

const Labels kOpenedModern = {"EdsSetPropertyData 0xb=02000000", "EdsGetPropertyData 0xb",
                              "EdsSetPropertyData 0x401=00000000", "EdsSetCapacity"};

/** A camera whose kind is not known is dealt with as one of the legacy protocol. */
const Labels kOpenedUnrecognised = {"EdsSetObjectEventHandler",
                                    "EdsSetPropertyEventHandler",
                                    "EdsSetCameraStateEventHandler",
                                    "EdsOpenSession",
                                    kLock,
                                    "EdsSetPropertyData 0xb=02000000",
                                    "EdsGetPropertyData 0xb",
                                    "EdsSetPropertyData 0x401=00000000",
                                    "EdsSetCapacity",
                                    kUnlock};

void withLiveViewFrame(Stage& stage) {
    withSession(stage);
    stage.startLiveView();
    stage.fetchFrame();
}

void withVanishedCamera(Stage& stage) {
    withSession(stage);
    stage.unplug();
}

Row openModern() {
    return {
        .name = "DoOpenSession",
        .method = 7,
        .cameras = modernBody(),
        .prepare = withCamera,
        .arguments = cameraArgument,
        .usual = handle,
        .calls = {{"EdsGetDeviceInfo", handle, value(0), kOpenedUnrecognised, true},
                  {"EdsSetObjectEventHandler", handle, value(0)},
                  {"EdsSetPropertyEventHandler", handle, value(0)},
                  {"EdsSetCameraStateEventHandler", handle, value(0)},
                  {"EdsOpenSession", value(0), value(0), Labels{}},
                  {"EdsSetPropertyData 0xb=02000000", handle, handle},
                  {"EdsGetPropertyData 0xb", handle, handle},
                  {"EdsSetPropertyData 0x401=00000000", handle, handle},
                  {"EdsSetCapacity", handle, handle}},
    };
}

Row openLegacy() {
    return {
        .name = "DoOpenSession_of_a_legacy_camera",
        .method = 7,
        .cameras = legacyBody(),
        .prepare = withCamera,
        .arguments = cameraArgument,
        .usual = handle,
        .calls = {{"EdsGetDeviceInfo", handle, value(0)},
                  {"EdsSetObjectEventHandler", handle, value(0)},
                  {"EdsSetPropertyEventHandler", handle, value(0)},
                  {"EdsSetCameraStateEventHandler", handle, value(0)},
                  {"EdsOpenSession", value(0), value(0), Labels{}},
                  {kLock, handle, handle, kOpenedModern},
                  {"EdsSetPropertyData 0xb=02000000", handle, handle},
                  {"EdsGetPropertyData 0xb", handle, handle},
                  {"EdsSetPropertyData 0x401=00000000", handle, handle},
                  {"EdsSetCapacity", handle, handle},
                  {kUnlock, handle, handle}},
    };
}

const Json kInternalErrorAtOpen = {{"cmd", "fault"}, {"call", "EdsOpenSession"}, {"result", 2}, {"times", 0}};

/** Legacy cameras report an internal error and are used all the same. */
Row openLegacyInSpiteOfAnError() {
    Row row = openLegacy();
    row.name = "DoOpenSession_of_a_legacy_camera_that_reports_an_internal_error";
    row.standing = {kInternalErrorAtOpen};
    // To the camera no session is open, so it refuses the lock, and no unlock follows.
    row.calls.pop_back();
    for (Step& step : row.calls) {
        step.gone = handle;
        step.then.reset();
    }
    return row;
}

Row refusedModern() {
    Labels unrecognised = kOpenedUnrecognised;
    unrecognised.pop_back();
    return {
        .name = "DoOpenSession_of_a_camera_that_reports_an_internal_error",
        .method = 7,
        .cameras = modernBody(),
        .prepare = withCamera,
        .arguments = cameraArgument,
        .usual = value(0),
        .calls = {{"EdsGetDeviceInfo", handle, handle, unrecognised, true},
                  {"EdsSetObjectEventHandler", usual, usual},
                  {"EdsSetPropertyEventHandler", usual, usual},
                  {"EdsSetCameraStateEventHandler", usual, usual},
                  {"EdsOpenSession", usual, usual}},
        .standing = {kInternalErrorAtOpen},
    };
}

Row closeModern(std::string name, void (*prepare)(Stage&)) {
    const Check status = failureOf("EdsCloseSession");
    return {
        .name = std::move(name),
        .method = 8,
        .cameras = modernBody(),
        .prepare = prepare,
        .arguments = sessionArgument,
        .usual = value(0),
        .calls = {{"EdsSetObjectEventHandler without context", usual, status},
                  {"EdsSetPropertyEventHandler without context", usual, status},
                  {"EdsSetCameraStateEventHandler without context", usual, status},
                  {"EdsCloseSession", status, status},
                  {"EdsRelease camera", usual, usual}},
    };
}

Row closeVanished() {
    Row row = closeModern("CloseSession_of_a_vanished_camera", withVanishedCamera);
    row.usual = failureOf("EdsCloseSession");
    row.isUnplugged = true;
    return row;
}

Row closeLegacy() {
    const Check status = failureOf("EdsSetCameraStateEventHandler without context");
    return {
        .name = "CloseSession_of_a_legacy_camera",
        .method = 8,
        .cameras = legacyBody(),
        .prepare = withSession,
        .arguments = sessionArgument,
        .usual = value(0),
        .calls = {{"EdsSetObjectEventHandler without context", usual, status},
                  {"EdsSetPropertyEventHandler without context", usual, status},
                  {"EdsSetCameraStateEventHandler without context", status, status}},
    };
}

}  // namespace

std::vector<Row> sessionRows() {
    return {
        openModern(),
        openLegacy(),
        openLegacyInSpiteOfAnError(),
        refusedModern(),
        closeModern("CloseSession", withSession),
        closeModern("CloseSession_with_live_view_on", withLiveViewFrame),
        closeVanished(),
        closeLegacy(),
        {
            .name = "GetFirmwareVersion",
            .method = 12,
            .cameras = modernBody({{"firmware", "1.2.3"}}),
            .prepare = withSession,
            .arguments = sessionArgument,
            .usual = text("1.2.3"),
            .calls = {{"EdsGetPropertyData 0x7", text("N/A"), text("N/A")}},
        },
        {
            .name = "GetFirmwareVersion_of_a_legacy_camera",
            .method = 12,
            .cameras = legacyBody({{"firmware", "1.2.3"}}),
            .prepare = withSession,
            .arguments = sessionArgument,
            .usual = text("1.2.3"),
            .calls = {{kLock, usual, text("N/A"), Labels{"EdsGetPropertyData 0x7"}},
                      {"EdsGetPropertyData 0x7", text("N/A"), text("N/A")},
                      {kUnlock, usual, usual}},
        },
    };
}

}  // namespace e2e::faults
