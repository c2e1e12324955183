// Releases by command, by button and by hand, and what they offer.
#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

class Capture : public EdsTest {
protected:
    static EdsError press(EdsCameraRef camera, EdsInt32 position) {
        return EdsSendCommand(camera, kEdsCameraCommand_PressShutterButton, position);
    }
    static constexpr EdsObjectEvent kOffered = kEdsObjectEvent_DirItemRequestTransfer;
    static constexpr EdsObjectEvent kStored = kEdsObjectEvent_DirItemCreated;
};

TEST_F(Capture, offers_the_files_of_a_shot_in_their_order) {
    const Json shot = {{{"name", "IMG_0007.CR2"}, {"bytes", 9000}},
                       {{"name", "IMG_0007.JPG"}, {"bytes", 700}}};
    EdsCameraRef reference = session({{"shots", Json::array({shot})}});
    const auto items = shoot(reference, 2);
    ASSERT_EQ(items.size(), 2u);
    const EdsDirectoryItemInfo raw = info(items[0]);
    const EdsDirectoryItemInfo jpeg = info(items[1]);
    EXPECT_STREQ(raw.szFileName, "IMG_0007.CR2");
    EXPECT_EQ(raw.size, 9000u);
    EXPECT_EQ(raw.isFolder, 0);
    EXPECT_EQ(raw.format, 0xB103u);
    EXPECT_STREQ(jpeg.szFileName, "IMG_0007.JPG");
    EXPECT_EQ(jpeg.size, 700u);
    EXPECT_EQ(jpeg.format, 0x3801u);
    EXPECT_EQ(raw.groupID, jpeg.groupID);
    EXPECT_NE(raw.dateTime, 0u);
    const auto next = shoot(reference, 2);
    EXPECT_NE(info(next.at(0)).groupID, raw.groupID);
    for (EdsBaseRef object : {items[0], items[1], next.at(0), next.at(1), reference}) {
        release(object);
    }
}

TEST_F(Capture, goes_where_the_pictures_shall_be_saved) {
    EdsCameraRef reference = session();
    struct Row {
        EdsInt32 saveTo;
        std::vector<EdsObjectEvent> events;
    };
    const Row rows[] = {{kEdsSaveTo_Camera, {kStored}},
                        {kEdsSaveTo_Host, {kOffered}},
                        {kEdsSaveTo_Both, {kStored, kOffered}}};
    for (const Row& row : rows) {
        set(reference, kEdsPropID_SaveTo, row.saveTo);
        shoot(reference, row.events.size());
        pump();
        std::vector<EdsObjectEvent> events;
        for (const ObjectEvent& event : heard.objects) {
            events.push_back(event.event);
            release(event.object);
        }
        EXPECT_EQ(events, row.events) << row.saveTo;
    }
    EXPECT_EQ(references("directoryItem"), 0);
    release(reference);
}

TEST_F(Capture, needs_room_on_the_host) {
    start();
    EdsCameraRef reference = camera();
    install(reference);
    EXPECT_EQ(EdsOpenSession(reference), EDS_ERR_OK);
    EXPECT_EQ(set(reference, kEdsPropID_SaveTo, kEdsSaveTo_Host), EDS_ERR_OK);
    EXPECT_EQ(take(reference), EDS_ERR_DEVICE_MEMORY_FULL);
    EXPECT_EQ(EdsSetCapacity(reference, {0x7FFFFFFF, 4096, 1}), EDS_ERR_OK);
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    pump();
    ASSERT_EQ(heard.objects.size(), 1u);
    release(heard.objects[0].object);
    release(reference);
}

TEST_F(Capture, by_the_button_goes_down_once) {
    EdsCameraRef reference = session();
    EXPECT_EQ(press(reference, kEdsCameraCommand_ShutterButton_Halfway_NonAF), EDS_ERR_OK);
    EXPECT_EQ(deviceState("canon-1")["button"], "halfway");
    EXPECT_EQ(press(reference, kEdsCameraCommand_ShutterButton_Completely_NonAF), EDS_ERR_OK);
    EXPECT_EQ(press(reference, kEdsCameraCommand_ShutterButton_Completely_NonAF), EDS_ERR_DEVICE_BUSY);
    EXPECT_EQ(press(reference, kEdsCameraCommand_ShutterButton_OFF), EDS_ERR_OK);
    EXPECT_EQ(press(reference, kEdsCameraCommand_ShutterButton_Completely), EDS_ERR_OK);
    EXPECT_EQ(press(reference, kEdsCameraCommand_ShutterButton_Halfway), EDS_ERR_OK);
    pump();
    const auto items = heard.items(kOffered);
    EXPECT_EQ(items.size(), 2u);
    for (EdsBaseRef item : items) {
        release(item);
    }
    release(reference);
}

TEST_F(Capture, by_the_button_is_unknown_to_older_models) {
    EdsCameraRef reference = session({{"model", "Canon EOS 40D"}});
    EXPECT_EQ(press(reference, kEdsCameraCommand_ShutterButton_Completely_NonAF), EDS_ERR_NOT_SUPPORTED);
    release(shoot(reference).at(0));
    release(reference);
}

TEST_F(Capture, by_hand_offers_the_picture_as_well) {
    EdsCameraRef reference = session();
    must({{"cmd", "press"}, {"id", "canon-1"}});
    EXPECT_TRUE(pumpUntil([&] { return heard.items(kOffered).size() == 1; }));
    release(heard.items(kOffered).at(0));
    release(reference);
}

TEST_F(Capture, with_a_slow_shutter_offers_late) {
    EdsCameraRef reference = session({{"shutterLagMs", 60}});
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    EXPECT_EQ(take(reference), EDS_ERR_DEVICE_BUSY);
    EXPECT_TRUE(heard.objects.empty());
    EXPECT_TRUE(pumpUntil([&] { return heard.items(kOffered).size() == 1; }));
    release(heard.items(kOffered).at(0));
    release(reference);
}

TEST_F(Capture, of_which_nobody_wants_to_know_leaves_no_reference) {
    EdsCameraRef reference = session();
    EXPECT_EQ(EdsSetObjectEventHandler(reference, kEdsObjectEvent_All, nullptr, nullptr), EDS_ERR_OK);
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    pump();
    EXPECT_EQ(references("directoryItem"), 0);
    EXPECT_EQ(deviceState("canon-1")["pictures"].size(), 1u);
    release(reference);
}

TEST_F(Capture, ends_when_the_camera_switches_itself_off) {
    EdsCameraRef reference = session({{"autoPowerOffSeconds", 0.3}});
    EXPECT_TRUE(pumpUntil([&] { return heard.states.size() == 2; }));
    EXPECT_EQ(heard.states[0].event, static_cast<EdsStateEvent>(kEdsStateEvent_WillSoonShutDown));
    EXPECT_EQ(heard.states[1].event, static_cast<EdsStateEvent>(kEdsStateEvent_Shutdown));
    const EdsError gone = EDS_ERR_COMM_DISCONNECTED;
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_ExtendShutDownTimer, 0), gone);
    EXPECT_EQ(take(reference), gone);
    release(reference);
}

}  // namespace
}  // namespace test
