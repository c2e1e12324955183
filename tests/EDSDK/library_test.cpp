// Starting and ending the library, camera lists, and counting references.
#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

constexpr const char* kKinds[] = {"cameraList", "camera", "directoryItem", "stream", "evfImage"};

class Library : public EdsTest {};

TEST_F(Library, starts_once_and_ends_once) {
    start();
    EXPECT_EQ(library()["initialised"], true);
    EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_OK);
    EXPECT_EQ(library()["initialised"], false);
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_INTERNAL_ERROR);
    EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
}

TEST_F(Library, lists_attached_canon_bodies_in_their_order) {
    start({{{"id", "b"}}, {{"id", "a"}}, {{"id", "gone"}, {"attached", false}}});
    must({{"cmd", "attach"}, {"device", {{"id", "n"}, {"family", "nikon"}}}});
    must({{"cmd", "attach"}, {"device", {{"id", "new"}, {"family", "canon"}}}});
    EdsCameraListRef list = nullptr;
    ASSERT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
    EdsUInt32 count = 0;
    ASSERT_EQ(EdsGetChildCount(list, &count), EDS_ERR_OK);
    ASSERT_EQ(count, 3u);
    const char* const ports[] = {"usb:lab,b", "usb:lab,a", "usb:lab,new"};
    for (EdsInt32 i = 0; i < 3; ++i) {
        EdsCameraRef reference = nullptr;
        ASSERT_EQ(EdsGetChildAtIndex(list, i, &reference), EDS_ERR_OK);
        EdsDeviceInfo info{};
        EXPECT_EQ(EdsGetDeviceInfo(reference, &info), EDS_ERR_OK);
        EXPECT_STREQ(info.szPortName, ports[i]);
        EXPECT_EQ(EdsGetChildCount(reference, &count), EDS_ERR_OK);
        EXPECT_EQ(count, 0u);
        release(reference);
    }
    EdsBaseRef none = nullptr;
    EXPECT_EQ(EdsGetChildAtIndex(list, 3, &none), EDS_ERR_INVALID_INDEX);
    EXPECT_EQ(EdsGetChildAtIndex(list, -1, &none), EDS_ERR_INVALID_INDEX);
    EXPECT_EQ(none, nullptr);
    release(list);
}

TEST_F(Library, shows_an_empty_list_without_cameras) {
    start({});
    EdsCameraListRef list = nullptr;
    ASSERT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
    EdsUInt32 count = 7;
    EXPECT_EQ(EdsGetChildCount(list, &count), EDS_ERR_OK);
    EXPECT_EQ(count, 0u);
    release(list);
}

TEST_F(Library, keeps_a_list_as_it_was) {
    start();
    EdsCameraListRef list = nullptr;
    ASSERT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
    must({{"cmd", "detach"}, {"id", "canon-1"}});
    EdsCameraRef reference = nullptr;
    EXPECT_EQ(EdsGetChildAtIndex(list, 0, &reference), EDS_ERR_OK);
    EXPECT_EQ(EdsOpenSession(reference), EDS_ERR_COMM_DISCONNECTED);
    release(reference);
    release(list);
}

TEST_F(Library, gives_a_camera_the_same_reference_while_it_lives) {
    start();
    EdsCameraRef first = camera();
    EdsCameraRef second = camera();
    EXPECT_EQ(first, second);
    EXPECT_EQ(references("camera"), 2);
    EXPECT_EQ(library()["objects"]["camera"], 1);
    EXPECT_EQ(deviceState("canon-1")["references"]["camera"], 2);
    EXPECT_EQ(EdsRelease(first), 1u);
    EXPECT_EQ(EdsRetain(first), 2u);
    EXPECT_EQ(EdsRelease(first), 1u);
    EXPECT_EQ(EdsRelease(first), 0u);
    EXPECT_EQ(references("camera"), 0);
    EdsCameraRef later = camera();
    EXPECT_NE(later, first) << "a reference that is gone means nothing ever again";
    release(later);
}

TEST_F(Library, counts_what_is_released_twice) {
    start();
    allowMisuse();
    const Json before = library()["misuse"];
    EdsCameraRef reference = camera();
    EXPECT_EQ(EdsRelease(reference), 0u);
    EXPECT_EQ(EdsRelease(reference), 0xFFFFFFFF);
    EXPECT_EQ(EdsRelease(nullptr), 0xFFFFFFFF);
    EXPECT_EQ(EdsRetain(reference), 0xFFFFFFFF);
    const Json after = library()["misuse"];
    EXPECT_EQ(after["releases"], before["releases"].get<int>() + 1);
    EXPECT_EQ(after["references"], before["references"].get<int>() + 1);
    EdsTerminateSDK();
    EXPECT_EQ(library()["misuse"], after) << "mistakes stay known";
}

TEST_F(Library, makes_every_reference_void_when_it_ends) {
    EdsCameraRef reference = session();
    allowMisuse();
    EXPECT_EQ(deviceState("canon-1")["sessions"], 1);
    const auto items = shoot(reference);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_OK);
    EXPECT_EQ(deviceState("canon-1")["sessions"], 0);
    for (const char* kind : kKinds) {
        EXPECT_EQ(references(kind), 0) << kind;
    }
    EXPECT_EQ(EdsRelease(reference), 0xFFFFFFFF);
    ASSERT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
    EXPECT_EQ(EdsOpenSession(reference), EDS_ERR_INVALID_HANDLE);
    EXPECT_EQ(EdsDownloadCancel(items[0]), EDS_ERR_INVALID_HANDLE);
}

TEST_F(Library, counts_objects_of_every_kind) {
    EdsCameraRef reference = session();
    EdsCameraListRef list = nullptr;
    EdsStreamRef stream = nullptr;
    EdsEvfImageRef image = nullptr;
    EXPECT_EQ(EdsGetCameraList(&list), EDS_ERR_OK);
    EXPECT_EQ(EdsCreateMemoryStream(10, &stream), EDS_ERR_OK);
    EXPECT_EQ(EdsCreateEvfImageRef(stream, &image), EDS_ERR_OK);
    const auto items = shoot(reference);
    ASSERT_EQ(items.size(), 1u);
    for (const char* kind : kKinds) {
        EXPECT_EQ(references(kind), 1) << kind;
    }
    EXPECT_EQ(deviceState("canon-1")["references"], (Json{{"camera", 1}, {"directoryItem", 1}}));
    clearTrace();
    struct Row {
        EdsBaseRef reference;
        const char* kind;
        Json device;
    };
    const Row rows[] = {{list, "cameraList", nullptr},
                        {image, "evfImage", nullptr},
                        {stream, "stream", nullptr},
                        {items[0], "directoryItem", "canon-1"},
                        {reference, "camera", "canon-1"}};
    for (const Row& row : rows) {
        EXPECT_EQ(EdsRelease(row.reference), 0u) << row.kind;
        EXPECT_EQ(references(row.kind), 0);
        const Json call = callsOf("EdsRelease").back();
        EXPECT_EQ(call["args"]["object"], row.kind);
        EXPECT_EQ(call["device"], row.device);
        EXPECT_EQ(call["result"], 0);
    }
}

TEST_F(Library, does_not_carry_out_a_release_that_fails) {
    start();
    EdsCameraRef reference = camera();
    must({{"cmd", "fault"}, {"call", "EdsRelease"}, {"result", 5}});
    EXPECT_EQ(EdsRelease(reference), 5u);
    EXPECT_EQ(references("camera"), 1);
    EXPECT_EQ(EdsRelease(reference), 0u);
}

TEST_F(Library, answers_faults_before_it_is_started) {
    lay(Json::array());
    must({{"cmd", "fault"}, {"call", "EdsInitializeSDK"}, {"result", "0x84"}});
    EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_DEVICE_MEMORY_FULL);
    EXPECT_EQ(library()["initialised"], false);
    EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
}

}  // namespace
}  // namespace test
