// Rows of the calls that start and end the library, list its cameras and name them.
#include "tests/faults/row.h"

namespace e2e::faults {

namespace {

/** A camera that nobody asked for yet. */
std::vector<Json> twoBodies() {
    return {usualCamera(), canonCamera("canon-2", "Canon EOS 40D")};
}

/** Ended, and done with it: the worker thread ends the library after the host has its answer. */
void withEndedLibrary(Stage& stage) {
    stage.listCameras();
    EXPECT_EQ(stage.canon().terminateSdk(), 0);
    stage.lab().waitForCalls("EdsTerminateSDK");
    EXPECT_TRUE(eventually([&] { return !isLibraryRunning(stage.lab()); }));
    stage.camerasHeld = 0;
}

std::string nameIfItCanBeRead(const Outcome& outcome) {
    const Check check = outcome.calls.front().result == 0 ? Check(usual) : text("");
    return check(outcome);
}

std::string referenceIfItIsGiven(const Outcome& outcome) {
    return references(1, outcome.calls.at(2).result == 0)(outcome);
}

}  // namespace

std::vector<Row> libraryRows() {
    return {
        {
            .name = "InitializeSDK",
            .method = 1,
            .cameras = modernBody(),
            .usual = value(0),
            // It never reports a failure.
            .calls = {{"EdsInitializeSDK", usual, usual}},
            .startsOver = true,
        },
        {
            .name = "TerminateSDK",
            .method = 23,
            .cameras = modernBody(),
            .prepare = withCamera,
            .usual = value(0),
            // The worker thread ends the library; the host does not wait for what comes of it.
            .calls = {{"EdsTerminateSDK", usual, usual}},
            .startsOver = true,
        },
        {
            .name = "TerminateSDK_once_more",
            .method = 23,
            .cameras = modernBody(),
            .prepare = withEndedLibrary,
            .usual = failureOf("EdsTerminateSDK"),
            .calls = {{"EdsTerminateSDK", failureOf("EdsTerminateSDK"), usual}},
            .startsOver = true,
        },
        {
            .name = "TerminateSDK_before_it_was_started",
            .method = 23,
            .cameras = modernBody(),
            .usual = value(0),
            .calls = {},
            .startsOver = true,
        },
        {
            .name = "GetCameraList_before_the_library_was_started",
            .method = 2,
            .cameras = modernBody(),
            .usual = ints({}),
            .calls = {},
            .startsOver = true,
        },
        {
            .name = "GetCameraList",
            .method = 2,
            .cameras = modernBody(),
            .prepare = withCamera,
            .usual = references(1),
            .calls = {{"EdsGetCameraList", ints({}), ints({}), Labels{}},
                      {"EdsGetChildCount", ints({}), referenceIfItIsGiven, Labels{"EdsRelease cameraList"}},
                      {"EdsGetChildAtIndex 0x0", references(1, false), referenceIfItIsGiven},
                      {"EdsRelease cameraList", references(1), references(1)}},
        },
        {
            .name = "GetCameraList_of_two_cameras",
            .method = 2,
            .cameras = twoBodies(),
            .prepare = withCamera,
            // The last one in the first place, and nothing in the others.
            .usual = references(2),
            .calls = {{"EdsGetCameraList", ints({}), references(1), Labels{}},
                      {"EdsGetChildCount", ints({}), references(2), Labels{"EdsRelease cameraList"}},
                      {"EdsGetChildAtIndex 0x0", references(2), references(2)},
                      {"EdsGetChildAtIndex 0x1", references(2, false), references(2)},
                      {"EdsRelease cameraList", references(2), references(2)}},
        },
        {
            .name = "GetCameraList_without_cameras",
            .method = 2,
            .cameras = {},
            .prepare = withCamera,
            .usual = ints({}),
            .calls = {{"EdsGetCameraList", usual, usual, Labels{}},
                      {"EdsGetChildCount", usual, usual},
                      {"EdsRelease cameraList", usual, usual}},
        },
        {
            .name = "GetCameraName",
            .method = 5,
            .cameras = modernBody(),
            .prepare = withCamera,
            .arguments = cameraArgument,
            .usual = text("Canon EOS 5D Mark II"),
            .calls = {{"EdsGetDeviceInfo", text(""), nameIfItCanBeRead}},
        },
        {
            .name = "GetCameraName_of_no_camera",
            .method = 5,
            .cameras = modernBody(),
            .prepare = withLibrary,
            .arguments = cameraArgument,
            .usual = text(""),
            .calls = {},
        },
        {
            .name = "Idle",
            .method = 18,
            .cameras = modernBody(),
            .prepare = withSession,
            .usual = nothing,
            .calls = {{"EdsGetEvent", usual, usual}},
        },
    };
}

}  // namespace e2e::faults
