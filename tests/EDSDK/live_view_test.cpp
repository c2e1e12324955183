// Live view: when there are frames, which ones, and what they say about themselves.
#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

/** A frame and its stream, as long as the test needs them. */
class Frame {
public:
    Frame() {
        EXPECT_EQ(EdsCreateMemoryStream(0, &stream), EDS_ERR_OK);
        EXPECT_EQ(EdsCreateEvfImageRef(stream, &image), EDS_ERR_OK);
    }
    ~Frame() {
        EXPECT_EQ(EdsRelease(stream), 0u);
        EXPECT_EQ(EdsRelease(image), 0u);
    }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    std::string content() const {
        EdsUInt64 length = 0;
        EdsVoid* pointer = nullptr;
        EXPECT_EQ(EdsGetLength(stream, &length), EDS_ERR_OK);
        EXPECT_EQ(EdsGetPointer(stream, &pointer), EDS_ERR_OK);
        return {static_cast<const char*>(pointer), length};
    }
    EdsPoint point(EdsPropertyID property = kEdsPropID_Evf_ZoomPosition) const {
        EdsPoint value{};
        EXPECT_EQ(EdsGetPropertyData(image, property, 0, sizeof value, &value), EDS_ERR_OK);
        return value;
    }

    EdsStreamRef stream = nullptr;
    EdsEvfImageRef image = nullptr;
};

class LiveView : public EdsTest {
protected:
    static void turnOn(EdsCameraRef camera) {
        EXPECT_EQ(set(camera, kEdsPropID_Evf_Mode, 1), EDS_ERR_OK);
        EXPECT_EQ(set(camera, kEdsPropID_Evf_OutputDevice, kEdsEvfOutputDevice_PC), EDS_ERR_OK);
    }
    static EdsError move(EdsCameraRef camera, EdsPoint point) {
        return EdsSetPropertyData(camera, kEdsPropID_Evf_ZoomPosition, 0, sizeof point, &point);
    }
};

TEST_F(LiveView, needs_its_mode_and_the_computer_as_output) {
    EdsCameraRef reference = session();
    const Frame frame;
    const EdsError notReady = EDS_ERR_OBJECT_NOTREADY;
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), notReady);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DriveLensEvf, 1), notReady);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DoEvfAf, 1), notReady);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DoEvfAf, 0), EDS_ERR_OK);
    set(reference, kEdsPropID_Evf_Mode, 1);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DoEvfAf, 1), EDS_ERR_OK);
    set(reference, kEdsPropID_Evf_OutputDevice, kEdsEvfOutputDevice_TFT);
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), notReady);
    set(reference, kEdsPropID_Evf_OutputDevice, 3);
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
    set(reference, kEdsPropID_Evf_Mode, 0);
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), notReady);
    release(reference);
}

TEST_F(LiveView, serves_its_frames_in_turn) {
    Json frames = Json::array({folder.write("a.jpg", "first"), folder.write("b.jpg", "second one")});
    frames.push_back(Json{{"bytes", 5000}});
    EdsCameraRef reference = session({{"liveview", frames}});
    turnOn(reference);
    const char* const expected[] = {"first", "second one", nullptr, "first", "second one"};
    for (const char* content : expected) {
        const Frame frame;
        EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
        if (content != nullptr) {
            EXPECT_EQ(frame.content(), content);
        } else {
            EXPECT_EQ(frame.content().size(), 5000u);
            EXPECT_EQ(frame.content().substr(0, 2), "\xFF\xD8");
            EXPECT_EQ(frame.content().substr(4998), "\xFF\xD9");
        }
    }
    EXPECT_EQ(deviceState("canon-1")["framesServed"], 5);
    release(reference);
}

TEST_F(LiveView, moves_when_the_scenario_names_no_frames) {
    EdsCameraRef reference = session();
    turnOn(reference);
    const Frame first;
    const Frame second;
    EXPECT_EQ(EdsDownloadEvfImage(reference, first.image), EDS_ERR_OK);
    EXPECT_EQ(EdsDownloadEvfImage(reference, second.image), EDS_ERR_OK);
    EXPECT_NE(first.content(), second.content());
    EXPECT_EQ(first.content().substr(0, 2), "\xFF\xD8");
    release(reference);
}

TEST_F(LiveView, puts_the_next_frame_in_the_place_of_the_last) {
    const Json frames = {folder.write("a.jpg", "long frame"), folder.write("b.jpg", "short")};
    EdsCameraRef reference = session({{"liveview", frames}});
    turnOn(reference);
    const Frame frame;
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
    EXPECT_EQ(frame.content(), "long frame");
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
    EXPECT_EQ(frame.content(), "short");
    release(reference);
}

TEST_F(LiveView, frames_tell_zoom_and_position_of_their_moment) {
    EdsCameraRef reference = session({{"model", "Canon EOS 5D Mark II"}});
    turnOn(reference);
    const Frame frame;
    EdsInt32 zoom = 0;
    const EdsError none = EDS_ERR_PROPERTIES_UNAVAILABLE;
    EXPECT_EQ(EdsGetPropertyData(frame.image, kEdsPropID_Evf_Zoom, 0, 4, &zoom), none) << "no frame yet";
    EXPECT_EQ(set(reference, kEdsPropID_Evf_Zoom, kEdsEvfZoom_x5), EDS_ERR_OK);
    EXPECT_EQ(move(reference, {5616, 3744}), EDS_ERR_OK);
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
    EXPECT_EQ(get(frame.image, kEdsPropID_Evf_Zoom), 5);
    EXPECT_EQ(frame.point().x, 5616);
    EXPECT_EQ(frame.point().y, 3744);
    EXPECT_EQ(frame.point(kEdsPropID_Evf_CoordinateSystem).x, 5616);
    EXPECT_EQ(frame.point(kEdsPropID_Evf_CoordinateSystem).y, 3744);
    must({{"cmd", "set"}, {"id", "canon-1"}, {"property", "0x508"}, {"value", {-5, 7}}});
    EXPECT_EQ(frame.point().x, 5616) << "the frame was taken before";
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
    EXPECT_EQ(frame.point().x, -5);
    EXPECT_EQ(frame.point().y, 7);
    EXPECT_EQ(set(frame.image, kEdsPropID_Evf_Zoom, 1), EDS_ERR_NOT_SUPPORTED);
    EdsPropertyDesc description{};
    EXPECT_EQ(EdsGetPropertyDesc(frame.image, kEdsPropID_Evf_Zoom, &description), EDS_ERR_NOT_SUPPORTED);
    release(reference);
}

TEST_F(LiveView, of_a_strict_camera_keeps_the_magnified_part_inside) {
    EdsCameraRef reference = session({{"model", "Canon EOS 5D Mark II"}, {"acceptAnyValue", false}});
    turnOn(reference);
    EXPECT_EQ(set(reference, kEdsPropID_Evf_Zoom, kEdsEvfZoom_x5), EDS_ERR_OK);
    EXPECT_EQ(move(reference, {5616, 3744}), EDS_ERR_OK);
    const Frame frame;
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
    EXPECT_EQ(frame.point().x, 5616 - 5616 / 5);
    EXPECT_EQ(frame.point().y, 3744 - 3744 / 5);
    release(reference);
}

TEST_F(LiveView, frames_live_without_their_stream) {
    EdsCameraRef reference = session();
    turnOn(reference);
    EdsStreamRef stream = nullptr;
    EdsEvfImageRef image = nullptr;
    EXPECT_EQ(EdsCreateMemoryStream(0, &stream), EDS_ERR_OK);
    EXPECT_EQ(EdsCreateEvfImageRef(stream, &image), EDS_ERR_OK);
    EXPECT_EQ(EdsRelease(stream), 0u);
    EXPECT_EQ(EdsDownloadEvfImage(reference, image), EDS_ERR_OK);
    EXPECT_EQ(EdsRelease(image), 0u);
    release(reference);
}

TEST_F(LiveView, goes_into_files_as_well) {
    EdsCameraRef reference =
        session({{"liveview", {folder.write("a.jpg", "long frame"), folder.write("b.jpg", "b")}}});
    turnOn(reference);
    EdsStreamRef stream = fileStream(folder.file("frame"));
    EdsEvfImageRef image = nullptr;
    EXPECT_EQ(EdsCreateEvfImageRef(stream, &image), EDS_ERR_OK);
    EXPECT_EQ(EdsDownloadEvfImage(reference, image), EDS_ERR_OK);
    EXPECT_EQ(readFile(folder.file("frame")), "long frame");
    EXPECT_EQ(EdsDownloadEvfImage(reference, image), EDS_ERR_OK);
    EXPECT_EQ(readFile(folder.file("frame")), "b");
    for (EdsBaseRef object : {stream, image, reference}) {
        release(object);
    }
}

TEST_F(LiveView, drives_the_lens) {
    EdsCameraRef reference = session();
    turnOn(reference);
    const auto drive = [&](EdsInt32 step) {
        EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DriveLensEvf, step), EDS_ERR_OK);
        return deviceState("canon-1")["lensPosition"].get<int>();
    };
    EXPECT_EQ(drive(kEdsEvfDriveLens_Far1), 1);
    EXPECT_EQ(drive(kEdsEvfDriveLens_Far2), 6);
    EXPECT_EQ(drive(kEdsEvfDriveLens_Far3), 31);
    EXPECT_EQ(drive(kEdsEvfDriveLens_Near3), 6);
    EXPECT_EQ(drive(kEdsEvfDriveLens_Near2), 1);
    EXPECT_EQ(drive(kEdsEvfDriveLens_Near1), 0);
    release(reference);
}

TEST_F(LiveView, is_unknown_to_legacy_cameras) {
    EdsCameraRef reference = session({{"legacy", true}});
    EdsSendStatusCommand(reference, kEdsCameraStatusCommand_UILock, 0);
    EXPECT_EQ(set(reference, kEdsPropID_Evf_Mode, 1), EDS_ERR_PROPERTIES_UNAVAILABLE);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DoEvfAf, 0), EDS_ERR_NOT_SUPPORTED);
    EXPECT_EQ(EdsSendCommand(reference, kEdsCameraCommand_DriveLensEvf, 1), EDS_ERR_NOT_SUPPORTED);
    release(reference);
}

TEST_F(LiveView, frames_are_of_their_camera_in_the_trace) {
    EdsCameraRef reference = session();
    turnOn(reference);
    const Frame frame;
    EXPECT_EQ(EdsDownloadEvfImage(reference, frame.image), EDS_ERR_OK);
    clearTrace();
    get(frame.image, kEdsPropID_Evf_Zoom);
    EXPECT_EQ(callsOf("EdsGetPropertyData").at(0)["device"], "canon-1");
    release(reference);
}

}  // namespace
}  // namespace test
