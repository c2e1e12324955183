// Cameras in the list, sessions on them, and what opening and closing asks of a camera, in which order.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;

class CanonSessions : public CanonTest {
protected:
    /** The library started, and the reference of the first camera. */
    int32_t firstCamera(const Json& scenario) {
        start(scenario);
        canon().initializeSdk();
        const std::vector<int32_t> list = canon().cameraList();
        EXPECT_FALSE(list.empty());
        return list.empty() ? 0 : list[0];
    }

    static int64_t argument(const Json& call, const char* name) {
        return number(call["args"].value(name, Json()));
    }
};

TEST_F(CanonSessions, of_one_camera_need_its_reference_and_give_its_name) {
    const int32_t reference = firstCamera(scenarioOf({usualCamera()}));
    EXPECT_GT(reference, 0) << "an address in low memory";
    EXPECT_EQ(canon().cameraName(reference), "Canon EOS 5D Mark II");
}

TEST_F(CanonSessions, with_two_cameras_see_only_the_second_one_listed) {
    // The list is filled without its start index: each camera lands on the first place.
    start(scenarioOf({usualCamera(), canonCamera("canon-2", "Canon EOS 7D")}));
    canon().initializeSdk();
    const std::vector<int32_t> list = canon().cameraList();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(canon().cameraName(list[0]), "Canon EOS 7D");
    EXPECT_EQ(list[1], 0);
}

TEST_F(CanonSessions, with_three_cameras_see_only_the_third_one_listed) {
    start(scenarioOf(
        {usualCamera(), canonCamera("canon-2", "Canon EOS 7D"), canonCamera("canon-3", "Canon EOS 6D")}));
    canon().initializeSdk();
    const std::vector<int32_t> list = canon().cameraList();
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(canon().cameraName(list[0]), "Canon EOS 6D");
    EXPECT_EQ(list[1], 0);
    EXPECT_EQ(list[2], 0);
}

TEST_F(CanonSessions, find_cameras_that_come_and_miss_those_that_go) {
    start(scenarioOf({}));
    canon().initializeSdk();
    EXPECT_TRUE(canon().cameraList().empty());
    lab().attach(canonCamera("late", "Canon EOS 60D"));
    ASSERT_EQ(canon().cameraList().size(), 1u);
    EXPECT_EQ(canon().cameraName(canon().cameraList().at(0)), "Canon EOS 60D");
    lab().detach("late");
    EXPECT_TRUE(canon().cameraList().empty());
}

TEST_F(CanonSessions, get_an_empty_list_when_the_library_fails) {
    firstCamera(scenarioOf({usualCamera()}));
    lab().fault("EdsGetCameraList", 0x80);
    EXPECT_TRUE(canon().cameraList().empty());
    EXPECT_EQ(canon().cameraList().size(), 1u);
}

TEST_F(CanonSessions, give_the_library_its_list_back_and_keep_the_cameras) {
    firstCamera(scenarioOf({usualCamera()}));
    lab().clearTrace();
    canon().cameraList();
    const std::vector<Json> released = lab().calls("EdsRelease");
    ASSERT_EQ(released.size(), 1u);
    EXPECT_EQ(released[0]["args"]["object"], "cameraList");
}

TEST_F(CanonSessions, get_no_name_of_a_camera_that_cannot_be_read) {
    const int32_t reference = firstCamera(scenarioOf({usualCamera()}));
    lab().fault("EdsGetDeviceInfo", 0x80);
    EXPECT_EQ(canon().cameraName(reference), "");
    EXPECT_EQ(canon().cameraName(0), "");
    EXPECT_EQ(canon().cameraName(reference), "Canon EOS 5D Mark II");
}

TEST_F(CanonSessions, open_in_the_prescribed_order) {
    const int32_t reference = firstCamera(scenarioOf({usualCamera()}));
    lab().clearTrace();
    const int32_t handle = canon().openSession(reference);
    EXPECT_NE(handle, 0);
    const Json trace = lab().trace();
    EXPECT_EQ(lab().callNames(),
              (Names{"EdsGetDeviceInfo", "EdsSetObjectEventHandler", "EdsSetPropertyEventHandler",
                     "EdsSetCameraStateEventHandler", "EdsOpenSession", "EdsSetPropertyData",
                     "EdsGetPropertyData", "EdsSetPropertyData", "EdsSetCapacity"}));
    ASSERT_EQ(trace.size(), 9u);
    const std::array<int64_t, 3> masks = {0x200, 0x100, 0x300};
    for (size_t i = 0; i < masks.size(); ++i) {
        EXPECT_EQ(argument(trace[1 + i], "event"), masks[i]);
        EXPECT_TRUE(argument(trace[1 + i], "handler"));
        EXPECT_TRUE(argument(trace[1 + i], "context"));
    }
    EXPECT_EQ(argument(trace[5], "property"), kSaveTo);
    EXPECT_EQ(trace[5]["args"]["data"], "02000000");
    EXPECT_EQ(argument(trace[6], "property"), kSaveTo);
    EXPECT_EQ(argument(trace[7], "property"), kDriveMode);
    EXPECT_EQ(trace[7]["args"]["data"], "00000000");
    EXPECT_EQ(argument(trace[8], "clusters"), 0x7FFFFFFF);
    EXPECT_EQ(argument(trace[8], "bytesPerSector"), 4096);
    EXPECT_EQ(argument(trace[8], "reset"), 1);
}

TEST_F(CanonSessions, tell_what_opening_did) {
    const int32_t reference = firstCamera(scenarioOf({usualCamera()}));
    const size_t from = helper().out().size();
    canon().openSession(reference);
    EXPECT_EQ(helper().out().since(from),
              "CanonEds: Camera type legacy=0\n"
              "CanonEds: evfFullImageDimensions for Canon EOS 5D Mark II = 5616 x 3744\n"
              "CanonEds: EdsOpenSession 0x0\n"
              "CanonEds: set kEdsPropID_SaveTo to 2 = 0x0\n"
              "CanonEds: get kEdsPropID_SaveTo to 2 = 0x0\n"
              "CanonEds: set kEdsPropID_DriveMode to 0 = 0x0\n"
              "CanonEds: EdsSetCapacity 0x0\n");
}

TEST_F(CanonSessions, of_a_legacy_camera_lock_its_buttons_while_it_is_set_up) {
    const int32_t reference = firstCamera(scenarioOf({legacyCamera()}));
    lab().clearTrace();
    EXPECT_NE(canon().openSession(reference), 0);
    EXPECT_EQ(lab().callNames(),
              (Names{"EdsGetDeviceInfo", "EdsSetObjectEventHandler", "EdsSetPropertyEventHandler",
                     "EdsSetCameraStateEventHandler", "EdsOpenSession", "EdsSendStatusCommand",
                     "EdsSetPropertyData", "EdsGetPropertyData", "EdsSetPropertyData", "EdsSetCapacity",
                     "EdsSendStatusCommand"}));
    const std::vector<Json> locks = lab().calls("EdsSendStatusCommand");
    ASSERT_EQ(locks.size(), 2u);
    EXPECT_EQ(argument(locks[0], "command"), 0);
    EXPECT_EQ(argument(locks[1], "command"), 1);
    helper().waitForOut("CanonEds: Camera type legacy=1\n");
}

TEST_F(CanonSessions, go_on_when_setting_up_fails) {
    const int32_t reference = firstCamera(scenarioOf({usualCamera()}));
    lab().fault("EdsSetPropertyData", 0x81, {{"property", kSaveTo}});
    lab().fault("EdsGetPropertyData", 0x85, {{"property", kSaveTo}});
    lab().fault("EdsSetPropertyData", 0x50, {{"property", kDriveMode}});
    lab().fault("EdsSetCapacity", 0x60);
    const int32_t handle = canon().openSession(reference);
    EXPECT_NE(handle, 0);
    helper().waitForOut("CanonEds: set kEdsPropID_SaveTo to 2 = 0x81\n");
    helper().waitForOut(" = 0x85\n");
    helper().waitForOut("CanonEds: set kEdsPropID_DriveMode to 0 = 0x50\n");
    helper().waitForOut("CanonEds: EdsSetCapacity 0x60\n");
    EXPECT_NE(canon().getSetting(handle, kAv), 0);
}

TEST_F(CanonSessions, tell_where_a_camera_goes_on_saving_that_does_not_take_the_host) {
    const int32_t reference =
        firstCamera(scenarioOf({usualCamera({{"properties", property(kSaveTo, 9, 1)}})}));
    lab().fault("EdsSetPropertyData", 0x81, {{"property", kSaveTo}});
    EXPECT_NE(canon().openSession(reference), 0);
    helper().waitForOut(
        "CanonEds: set kEdsPropID_SaveTo to 2 = 0x81\nCanonEds: get kEdsPropID_SaveTo to 1 = 0x0\n");
}

TEST_F(CanonSessions, that_fail_to_open_leave_their_handlers_and_events_do_no_harm) {
    const int32_t reference = firstCamera(scenarioOf({usualCamera()}));
    events();
    lab().clearTrace();
    lab().fault("EdsOpenSession", 0x81);
    EXPECT_EQ(canon().openSession(reference), 0);
    helper().waitForOut("CanonEds: EdsOpenSession 0x81\n");
    EXPECT_EQ(lab().callNames(),
              (Names{"EdsGetDeviceInfo", "EdsSetObjectEventHandler", "EdsSetPropertyEventHandler",
                     "EdsSetCameraStateEventHandler", "EdsOpenSession"}))
        << "nothing is taken back";
    // The library still calls them, with a record that is gone.
    for (int i = 0; i < 20; ++i) {
        lab().must(
            {{"cmd", "event"}, {"id", "canon-1"}, {"kind", "state"}, {"event", 0x304}, {"parameter", i}});
        lab().must({{"cmd", "event"},
                    {"id", "canon-1"},
                    {"kind", "state"},
                    {"event", kShutdownEvent},
                    {"parameter", 0}});
        lab().must({{"cmd", "event"},
                    {"id", "canon-1"},
                    {"kind", "property"},
                    {"event", 0x101},
                    {"property", kIso},
                    {"parameter", 0}});
        lab().must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "object"}, {"event", 0x204}});
    }
    const int32_t handle = canon().openSession(reference);
    ASSERT_NE(handle, 0);
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 2);
    lab().must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "state"}, {"event", 0x303}, {"parameter", 77}});
    EXPECT_EQ(events().waitFor(kStateEvent, 0x303).handle(), handle);
}

TEST_F(CanonSessions, opened_twice_hear_of_no_more_events_and_leave_no_picture_behind) {
    const int32_t handle = startQuietSession();
    const int32_t reference = canon().cameraList().at(0);
    events();
    EXPECT_EQ(canon().openSession(reference), 0) << "the camera has a session already";
    lab().clearTrace();
    // What comes now is for the record of the second opening, which is gone.
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    EXPECT_EQ(canon().capture(handle, picturePath("a")), 0);
    lab().waitForCalls("EdsRelease");
    EXPECT_EQ(lab().calls("EdsRelease").at(0)["args"]["object"], "directoryItem");
    events().socket().expectSilence();
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 2);
}

struct OpenResult {
    int64_t status;
    bool legacy;
    bool opens;
};

class CanonOpenResult : public CanonSessions, public ::testing::WithParamInterface<OpenResult> {};

TEST_P(CanonOpenResult, decides_whether_there_is_a_session) {
    const OpenResult& row = GetParam();
    const int32_t reference = firstCamera(scenarioOf({row.legacy ? legacyCamera() : usualCamera()}));
    lab().fault("EdsOpenSession", row.status);
    const int32_t handle = canon().openSession(reference);
    EXPECT_EQ(handle != 0, row.opens);
    EXPECT_NE(handle, 130);
}

INSTANTIATE_TEST_SUITE_P(Canon, CanonOpenResult,
                         ::testing::Values(OpenResult{2, true, true}, OpenResult{2, false, false},
                                           OpenResult{1, true, false}, OpenResult{0x81, true, false},
                                           OpenResult{0x201E, false, false}, OpenResult{0xC0, false, false}),
                         [](const auto& row) {
                             return (row.param.legacy ? "legacy_" : "usual_") +
                                    std::to_string(row.param.status);
                         });

TEST_F(CanonSessions, close_in_the_prescribed_order) {
    const int32_t handle = startSession();
    lab().clearTrace();
    EXPECT_EQ(canon().closeSession(handle), 0);
    EXPECT_EQ(lab().callNames(), (Names{"EdsSetObjectEventHandler", "EdsSetPropertyEventHandler",
                                        "EdsSetCameraStateEventHandler", "EdsCloseSession", "EdsRelease"}));
    const Json trace = lab().trace();
    const std::array<int64_t, 3> masks = {0x200, 0x100, 0x300};
    for (size_t i = 0; i < masks.size(); ++i) {
        EXPECT_EQ(argument(trace[i], "event"), masks[i]);
        EXPECT_TRUE(argument(trace[i], "handler")) << "put in again, but without a context";
        EXPECT_FALSE(argument(trace[i], "context"));
    }
    EXPECT_EQ(trace[4]["args"]["object"], "camera");
}

TEST_F(CanonSessions, of_a_legacy_camera_are_neither_closed_nor_released) {
    const int32_t handle = startSession(legacyCamera());
    lab().clearTrace();
    EXPECT_EQ(canon().closeSession(handle), 0);
    EXPECT_EQ(lab().callNames(), (Names{"EdsSetObjectEventHandler", "EdsSetPropertyEventHandler",
                                        "EdsSetCameraStateEventHandler"}));
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 0);
}

TEST_F(CanonSessions, answer_with_the_status_of_closing) {
    const int32_t handle = startSession();
    lab().fault("EdsSetCameraStateEventHandler", 0x61);
    lab().fault("EdsCloseSession", 0x81);
    EXPECT_EQ(canon().closeSession(handle), 0x81);
    EXPECT_EQ(canon().closeSession(handle), 130);
}

TEST_F(CanonSessions, of_a_legacy_camera_answer_with_the_status_of_taking_the_last_handler_back) {
    const int32_t handle = startSession(legacyCamera());
    lab().fault("EdsSetObjectEventHandler", 0x62);
    lab().fault("EdsSetCameraStateEventHandler", 0x61);
    EXPECT_EQ(canon().closeSession(handle), 0x61);
}

TEST_F(CanonSessions, that_are_closed_hear_of_no_more_events) {
    const int32_t handle = startQuietSession();
    events();
    EXPECT_EQ(canon().closeSession(handle), 0);
    lab().must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "state"}, {"event", 0x303}, {"parameter", 1}});
    lab().must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "object"}, {"event", 0x204}});
    events().socket().expectSilence();
}

TEST_F(CanonSessions, tell_the_firmware_or_that_there_is_none) {
    const int32_t handle = startSession(usualCamera({{"firmware", "3.0.3"}}));
    EXPECT_EQ(canon().firmwareVersion(handle), "3.0.3");
    const std::vector<Json> reads = lab().calls("EdsGetPropertyData");
    EXPECT_EQ(argument(reads.back(), "property"), kFirmware);
    EXPECT_EQ(argument(reads.back(), "size"), 32);
    lab().fault("EdsGetPropertyData", 0x81, {{"property", kFirmware}});
    EXPECT_EQ(canon().firmwareVersion(handle), "N/A");
}

TEST_F(CanonSessions, of_a_legacy_camera_lock_it_for_reading_the_firmware) {
    const int32_t handle = startSession(legacyCamera({{"firmware", "1.0"}}));
    lab().clearTrace();
    EXPECT_EQ(canon().firmwareVersion(handle), "1.0");
    EXPECT_EQ(lab().callNames(),
              (Names{"EdsSendStatusCommand", "EdsGetPropertyData", "EdsSendStatusCommand"}));
}

TEST_F(CanonSessions, of_a_legacy_camera_do_not_need_the_lock) {
    const int32_t reference = firstCamera(scenarioOf({legacyCamera({{"firmware", "1.2.3"}})}));
    lab().clearTrace();
    lab().fault("EdsSendStatusCommand", 0x81);
    const int32_t handle = canon().openSession(reference);
    EXPECT_NE(handle, 0);
    EXPECT_EQ(lab().calls("EdsSetPropertyData").size(), 2u);
    EXPECT_EQ(lab().calls("EdsSetCapacity").size(), 1u);
    lab().fault("EdsSendStatusCommand", 0x81);
    EXPECT_EQ(canon().firmwareVersion(handle), "1.2.3");
}

TEST_F(CanonSessions, of_a_legacy_camera_tell_of_locks_that_fail) {
    const int32_t handle = startSession(legacyCamera());
    lab().fault("EdsSendStatusCommand", 0x81);
    lab().clearTrace();
    EXPECT_NE(canon().firmwareVersion(handle), "");
    helper().waitForOut("CanonEds: NO LOCK 0x81\n");
    EXPECT_EQ(lab().calls("EdsSendStatusCommand").size(), 1u) << "what is not locked needs no unlocking";
    // An unlock that fails leaves the lock noted, and the next one tries again.
    lab().fault("EdsSendStatusCommand", 0x85, {{"skip", 1}});
    lab().clearTrace();
    canon().firmwareVersion(handle);
    helper().waitForOut("CanonEds: NO UNLOCK 0x85\n");
    canon().firmwareVersion(handle);
    const std::vector<Json> locks = lab().calls("EdsSendStatusCommand");
    ASSERT_EQ(locks.size(), 4u);
    EXPECT_EQ(argument(locks[3], "command"), 1);
}

// ---- the table of models ------------------------------------------------------------------------------

struct Model {
    const char* name;
    int width;
    int height;
    bool byButton;
};

constexpr std::array<Model, 44> kModels = {{
    {"Canon EOS-1D Mark III", 3888, 2592, false},
    {"Canon EOS-1Ds Mark III", 5616, 3744, false},
    {"Canon EOS-1D Mark IV", 4896, 3264, true},
    {"Canon EOS-1D X", 5184, 3456, true},
    {"Canon EOS 5D Mark II", 5616, 3744, true},
    {"Canon EOS 5D Mark III", 5760, 3840, true},
    {"Canon EOS 6D", 5472, 3648, true},
    {"Canon EOS 7D", 5184, 3456, true},
    {"Canon EOS 40D", 3888, 2592, false},
    {"Canon EOS 50D", 4752, 3168, true},
    {"Canon EOS 60D", 5184, 3456, true},
    {"Canon EOS 60Da", 5184, 3456, true},
    {"Canon EOS 450D", 4272, 2848, false},
    {"Canon EOS DIGITAL REBEL XSi", 4272, 2848, false},
    {"Canon EOS KISS  X2", 4272, 2848, false},
    {"Canon EOS 500D", 4752, 3168, true},
    {"Canon EOS DIGITAL REBEL T1i", 4752, 3168, true},
    {"Canon EOS REBEL T1i", 4752, 3168, true},
    {"Canon EOS KISS X3", 4272, 2848, true},
    {"Canon EOS 1000D", 3888, 2592, false},
    {"Canon EOS DIGITAL REBEL XS", 3888, 2592, false},
    {"Canon EOS KISS F", 3888, 2592, false},
    {"Canon EOS 550D", 5184, 3456, true},
    {"Canon EOS DIGITAL REBEL T2i", 5184, 3456, true},
    {"Canon EOS REBEL T2i", 5184, 3456, true},
    {"Canon EOS KISS X4", 5184, 3456, true},
    {"Canon EOS 600D", 5184, 3456, true},
    {"Canon EOS DIGITAL REBEL T3i", 5184, 3456, true},
    {"Canon EOS REBEL T3i", 5184, 3456, true},
    {"Canon EOS KISS X5", 5184, 3456, true},
    {"Canon EOS 650D", 5184, 3456, true},
    {"Canon EOS DIGITAL REBEL T4i", 5184, 3456, true},
    {"Canon EOS REBEL T4i", 5184, 3456, true},
    {"Canon EOS KISS X6i", 5184, 3456, true},
    {"Canon EOS 1100D", 4272, 2848, true},
    {"Canon EOS DIGITAL REBEL T3", 4272, 2848, true},
    {"Canon EOS REBEL T3", 4272, 2848, true},
    {"Canon EOS KISS X50", 4272, 2848, true},
    // Not in the table: one blank where the table has two, another case, a longer and a shorter name, none.
    {"Canon EOS KISS X2", 4000, 3000, false},
    {"canon eos 5d mark ii", 4000, 3000, false},
    {"Canon EOS 5D Mark IIx", 4000, 3000, false},
    {"Canon EOS 5D Mark", 4000, 3000, false},
    {"Some Camera %s%n", 4000, 3000, false},
    {"", 4000, 3000, false},
}};

TEST_F(CanonSessions, know_every_model_s_size_and_shutter) {
    start(scenarioOf({}));
    canon().initializeSdk();
    for (const Model& model : kModels) {
        SCOPED_TRACE(model.name);
        const std::string id = "body-" + std::to_string(&model - kModels.data());
        lab().attach(canonCamera(id, model.name));
        const std::vector<int32_t> list = canon().cameraList();
        ASSERT_EQ(list.size(), 1u);
        const size_t from = helper().out().size();
        const int32_t handle = canon().openSession(list[0]);
        EXPECT_NE(helper().out().since(from).find(
                      "CanonEds: evfFullImageDimensions for " + std::string(model.name) + " = " +
                      std::to_string(model.width) + " x " + std::to_string(model.height) + "\n"),
                  std::string::npos)
            << helper().out().since(from);
        lab().clearTrace();
        EXPECT_EQ(canon().capture(handle, picturePath("x")), 0);
        const std::vector<Json> commands = lab().calls("EdsSendCommand");
        ASSERT_EQ(commands.size(), model.byButton ? 2u : 1u);
        EXPECT_EQ(argument(commands[0], "command"), model.byButton ? 4 : 0);
        EXPECT_EQ(canon().closeSession(handle), 0);
        lab().detach(id);
        ASSERT_TRUE(canon().cameraList().empty());
    }
}

}  // namespace
}  // namespace e2e
