// Device information, sessions, the user-interface lock, commands, unplugging.
#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

class Sessions : public EdsTest {};

TEST_F(Sessions, are_not_needed_to_know_a_camera) {
    start({{{"model", "EOS DIGITAL REBEL"}, {"legacy", true}}, {{"model", std::string(255, 'x')}}});
    EdsCameraRef old = camera(0);
    EdsDeviceInfo info{};
    ASSERT_EQ(EdsGetDeviceInfo(old, &info), EDS_ERR_OK);
    EXPECT_STREQ(info.szDeviceDescription, "EOS DIGITAL REBEL");
    EXPECT_EQ(info.deviceSubType, 0u);
    EdsCameraRef other = camera(1);
    ASSERT_EQ(EdsGetDeviceInfo(other, &info), EDS_ERR_OK);
    EXPECT_EQ(std::string(info.szDeviceDescription), std::string(255, 'x'));
    EXPECT_EQ(info.deviceSubType, 1u);
    EXPECT_EQ(EdsGetDeviceInfo(other, nullptr), EDS_ERR_INVALID_POINTER);
    install(other);
    release(old);
    release(other);
}

TEST_F(Sessions, are_needed_for_everything_else) {
    start();
    EdsCameraRef reference = camera();
    EdsInt32 value = 0;
    EdsDataType type = 0;
    EdsUInt32 size = 0;
    EdsPropertyDesc description{};
    EXPECT_EQ(EdsGetPropertySize(reference, 0x406, 0, &type, &size), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsGetPropertyData(reference, 0x406, 0, 4, &value), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(set(reference, 0x406, 1), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x406, &description), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsSetCapacity(reference, {1, 1, 1}), EDS_ERR_SESSION_NOT_OPEN);
    for (const EdsCameraCommand command : {0U, 1U, 4U, 0x102U, 0x103U, 0x999U}) {
        EXPECT_EQ(EdsSendCommand(reference, command, 0), EDS_ERR_SESSION_NOT_OPEN) << command;
    }
    EXPECT_EQ(EdsSendStatusCommand(reference, 0, 0), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsCloseSession(reference), EDS_ERR_SESSION_NOT_OPEN);
    release(reference);
}

TEST_F(Sessions, are_needed_for_the_pictures_that_they_offered) {
    EdsCameraRef reference = session();
    const auto items = shoot(reference);
    EdsStreamRef stream = nullptr;
    EdsDirectoryItemInfo itemInfo{};
    EXPECT_EQ(EdsCreateMemoryStream(0, &stream), EDS_ERR_OK);
    EXPECT_EQ(EdsCloseSession(reference), EDS_ERR_OK);
    EXPECT_EQ(EdsGetDirectoryItemInfo(items.at(0), &itemInfo), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsDownload(items[0], 1, stream), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsDownloadComplete(items[0]), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsDownloadCancel(items[0]), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsOpenSession(reference), EDS_ERR_OK);
    EXPECT_EQ(EdsDownload(items[0], info(items[0]).size, stream), EDS_ERR_OK) << "the picture is still there";
    for (EdsBaseRef object : {stream, items[0], reference}) {
        release(object);
    }
}

TEST_F(Sessions, open_once_and_close_once) {
    start();
    EdsCameraRef reference = camera();
    EXPECT_EQ(EdsOpenSession(reference), EDS_ERR_OK);
    EXPECT_EQ(deviceState("canon-1")["sessions"], 1);
    EXPECT_EQ(EdsOpenSession(reference), EDS_ERR_SESSION_ALREADY_OPEN);
    EXPECT_EQ(EdsCloseSession(reference), EDS_ERR_OK);
    EXPECT_EQ(deviceState("canon-1")["sessions"], 0);
    EXPECT_EQ(EdsCloseSession(reference), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsOpenSession(reference), EDS_ERR_OK);
    release(reference);
}

TEST_F(Sessions, end_with_the_last_reference_on_their_camera) {
    EdsCameraRef reference = session();
    EXPECT_EQ(EdsRetain(reference), 2u);
    EXPECT_EQ(EdsRelease(reference), 1u);
    EXPECT_EQ(deviceState("canon-1")["sessions"], 1);
    EXPECT_EQ(EdsRelease(reference), 0u);
    EXPECT_EQ(deviceState("canon-1")["sessions"], 0);
}

TEST_F(Sessions, of_two_cameras_are_apart) {
    start({Json::object(), Json::object()});
    EdsCameraRef first = camera(0);
    EdsCameraRef second = camera(1);
    EXPECT_NE(first, second);
    EXPECT_EQ(EdsOpenSession(first), EDS_ERR_OK);
    EXPECT_EQ(set(second, 0x406, 1), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsOpenSession(second), EDS_ERR_OK);
    EXPECT_EQ(set(second, 0x406, 80), EDS_ERR_OK);
    EXPECT_EQ(get(first, 0x406), 96);
    release(first);
    release(second);
}

TEST_F(Sessions, of_legacy_cameras_change_settings_under_the_lock) {
    EdsCameraRef reference = session({{"legacy", true}});
    EXPECT_EQ(set(reference, 0x406, 80), EDS_ERR_DEVICE_BUSY);
    EXPECT_EQ(EdsSendStatusCommand(reference, kEdsCameraStatusCommand_UILock, 0), EDS_ERR_OK);
    EXPECT_EQ(deviceState("canon-1")["uiLocked"], true);
    EXPECT_EQ(set(reference, 0x406, 80), EDS_ERR_OK);
    EXPECT_EQ(EdsSendStatusCommand(reference, kEdsCameraStatusCommand_UIUnLock, 0), EDS_ERR_OK);
    EXPECT_EQ(deviceState("canon-1")["uiLocked"], false);
    EXPECT_EQ(EdsSendStatusCommand(reference, 7, 0), EDS_ERR_NOT_SUPPORTED);
    release(reference);
}

TEST_F(Sessions, refuse_commands_that_nobody_knows) {
    EdsCameraRef reference = session();
    EXPECT_EQ(EdsSendCommand(reference, 0x999, 0), EDS_ERR_NOT_SUPPORTED);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_PressShutterButton, 2), EDS_ERR_INVALID_PARAMETER);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DriveLensEvf, 4), EDS_ERR_INVALID_PARAMETER);
    EXPECT_EQ(EdsSetCapacity(reference, {-1, 4096, 1}), EDS_ERR_INVALID_PARAMETER);
    EXPECT_EQ(EdsSetCapacity(reference, {1, 0, 1}), EDS_ERR_INVALID_PARAMETER);
    EXPECT_EQ(EdsSetObjectEventHandler(reference, 0x100, nullptr, nullptr), EDS_ERR_INVALID_PARAMETER);
    release(reference);
}

TEST_F(Sessions, end_when_the_cable_is_pulled) {
    EdsCameraRef reference = session();
    const auto items = shoot(reference);
    heard = {};
    must({{"cmd", "detach"}, {"id", "canon-1"}});
    EXPECT_TRUE(pumpUntil([&] { return !heard.states.empty(); }));
    pump();
    ASSERT_EQ(heard.states.size(), 1u);
    EXPECT_EQ(heard.states[0].event, static_cast<EdsStateEvent>(kEdsStateEvent_Shutdown));

    EdsInt32 value = 0;
    EdsDataType type = 0;
    EdsUInt32 size = 0;
    EdsPropertyDesc description{};
    EdsDeviceInfo device{};
    EdsDirectoryItemInfo itemInfo{};
    EdsUInt32 count = 0;
    EdsStreamRef stream = nullptr;
    EdsEvfImageRef image = nullptr;
    EXPECT_EQ(EdsCreateMemoryStream(0, &stream), EDS_ERR_OK);
    EXPECT_EQ(EdsCreateEvfImageRef(stream, &image), EDS_ERR_OK);
    const EdsError gone = EDS_ERR_COMM_DISCONNECTED;
    EXPECT_EQ(EdsGetDeviceInfo(reference, &device), gone);
    EXPECT_EQ(EdsGetChildCount(reference, &count), gone);
    EXPECT_EQ(EdsGetPropertySize(reference, 0x406, 0, &type, &size), gone);
    EXPECT_EQ(EdsGetPropertyData(reference, 0x406, 0, 4, &value), gone);
    EXPECT_EQ(set(reference, 0x406, 1), gone);
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x406, &description), gone);
    EXPECT_EQ(take(reference), gone);
    EXPECT_EQ(EdsSendStatusCommand(reference, 0, 0), gone);
    EXPECT_EQ(EdsSetCapacity(reference, {1, 1, 1}), gone);
    EXPECT_EQ(EdsDownloadEvfImage(reference, image), gone);
    EXPECT_EQ(EdsGetDirectoryItemInfo(items.at(0), &itemInfo), gone);
    EXPECT_EQ(EdsDownload(items[0], 1, stream), gone);
    EXPECT_EQ(EdsDownloadComplete(items[0]), gone);
    EXPECT_EQ(EdsDownloadCancel(items[0]), gone);
    EXPECT_EQ(EdsSetObjectEventHandler(reference, kEdsObjectEvent_All, nullptr, nullptr), gone);
    EXPECT_EQ(EdsCloseSession(reference), gone);
    EXPECT_EQ(EdsOpenSession(reference), gone);
    for (EdsBaseRef object : {reference, items[0], image, stream}) {
        EXPECT_EQ(EdsRelease(object), 0u);
    }
}

TEST_F(Sessions, of_a_pulled_camera_still_lose_their_handlers) {
    EdsCameraRef reference = session();
    must({{"cmd", "detach"}, {"id", "canon-1"}});
    EdsSetCameraStateEventHandler(reference, kEdsStateEvent_All, nullptr, nullptr);
    pump();
    EXPECT_TRUE(heard.states.empty()) << "the context may be gone by now";
    release(reference);
}

TEST_F(Sessions, begin_anew_when_the_camera_comes_back) {
    EdsCameraRef old = session();
    must({{"cmd", "detach"}, {"id", "canon-1"}});
    must({{"cmd", "attach"}, {"id", "canon-1"}});
    EXPECT_EQ(set(old, 0x406, 1), EDS_ERR_COMM_DISCONNECTED);
    EdsCameraRef fresh = camera();
    EXPECT_NE(fresh, old);
    EXPECT_EQ(set(fresh, 0x406, 1), EDS_ERR_SESSION_NOT_OPEN);
    EXPECT_EQ(EdsOpenSession(fresh), EDS_ERR_OK);
    EXPECT_EQ(EdsRelease(old), 0u);
    EXPECT_EQ(set(fresh, 0x406, 1), EDS_ERR_OK) << "the old reference took nothing with it";
    release(fresh);
}

TEST_F(Sessions, say_what_was_asked_of_them_in_the_trace) {
    EdsCameraRef reference = session();
    clearTrace();
    EdsSendCommand(reference, 4, 0x10003);
    EdsSendStatusCommand(reference, 1, 0);
    EdsSetCapacity(reference, {0x7FFFFFFF, 4096, 1});
    EdsSetCameraStateEventHandler(reference, kEdsStateEvent_All, nullptr, &heard);
    const Json answer = must({{"cmd", "trace"}});
    const Json& trace = answer["trace"];
    ASSERT_EQ(trace.size(), 4u);
    EXPECT_EQ(trace[0]["args"], (Json{{"command", 4}, {"param", 0x10003}}));
    EXPECT_EQ(trace[1]["args"], (Json{{"command", 1}, {"param", 0}}));
    EXPECT_EQ(trace[2]["args"], (Json{{"clusters", 0x7FFFFFFF}, {"bytesPerSector", 4096}, {"reset", true}}));
    EXPECT_EQ(trace[3]["args"], (Json{{"event", 0x300}, {"handler", false}, {"context", true}}));
    for (const Json& entry : trace) {
        EXPECT_EQ(entry["device"], "canon-1");
        EXPECT_EQ(entry["result"], 0);
    }
    release(reference);
}

}  // namespace
}  // namespace test
