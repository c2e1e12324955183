// The list of cameras, selection in its order and with its failures, release, and handles.
#include <cstdlib>
#include <thread>

#include "QTKitCapture/src/QTKitCaptureCamera.h"
#include "platform/Handles.h"
#include "tests/QTKitCapture/CaptureTest.h"

namespace {

class Devices : public CaptureTest {
protected:
    static FakeDevice named(const std::string& name, std::vector<QTMediaType> media = {QTMediaType::Video}) {
        FakeDevice device;
        device.name = name;
        device.media = std::move(media);
        return device;
    }
    static jint count() { return QTKIT(GetCameraCount)(env(), nullptr); }
    /** "(null)" for null. */
    static std::string name(jint index) {
        jstring text = QTKIT(GetCameraName)(env(), nullptr, index);
        const std::string copy = text == nullptr ? "(null)" : text;
        std::free(text);
        return copy;
    }
    static FakeUsbDevice& webcam(uint32_t location = 0x1A110000) {
        FakeUsbDevice device;
        device.location = location;
        device.controls[{1, 4}] = {1, 10000, 156};
        device.controls[{1, 8}] = {0, 1, 1};
        return FakeUsb::bus().add(device);
    }
    static bool hasUvc(jlong handle) { return QTKIT(hasUvcSettings)(env(), nullptr, handle) == 1; }
};

TEST_F(Devices, needs_no_start_and_no_end) {
    EXPECT_EQ(QTKIT(Initialize)(env(), nullptr), 0);
    QTKIT(Terminate)(env(), nullptr);
    EXPECT_TRUE(capture().calls().empty());
}

TEST_F(Devices, that_are_not_there_count_nothing) {
    devices({});
    EXPECT_EQ(outOf([] { EXPECT_EQ(count(), 0); }), "");
    EXPECT_EQ(name(0), "(null)");
    EXPECT_EQ(select(0), 0);
    capture().hasNoList = true;
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(name(0), "(null)");
    EXPECT_EQ(select(0), 0);
}

TEST_F(Devices, count_when_they_have_video_alone_or_with_sound) {
    devices({named("Microphone", {QTMediaType::Sound}), std::nullopt, named("Camera"),
             named("Camcorder", {QTMediaType::Muxed}),
             named("Both", {QTMediaType::Video, QTMediaType::Muxed}), named("Nothing", {})});
    const std::string log = outOf([] { EXPECT_EQ(count(), 3); });
    EXPECT_EQ(log,
              "QTKitCapture: Display Name = Microphone, video=0\n"
              "QTKitCapture: Display Name = Camera, video=1\n"
              "QTKitCapture: Display Name = Camcorder, video=1\n"
              "QTKitCapture: Display Name = Both, video=1\n"
              "QTKitCapture: Display Name = Nothing, video=0\n");
    EXPECT_EQ(outOf([] {
                  EXPECT_EQ(name(0), "Camera");
                  EXPECT_EQ(name(1), "Camcorder");
                  EXPECT_EQ(name(2), "Both");
                  EXPECT_EQ(name(3), "(null)");
                  EXPECT_EQ(name(-1), "(null)");
              }),
              "")
        << "names are asked for without a word";
}

TEST_F(Devices, have_no_name_that_is_not_ascii) {
    devices({named("Kamera f\u00fcr alle"), named("")});
    EXPECT_EQ(name(0), "(null)");
    EXPECT_EQ(name(1), "");
    const std::string log = outOf([] { EXPECT_EQ(count(), 2); });
    EXPECT_EQ(log, "QTKitCapture: Display Name = (null), video=1\nQTKitCapture: Display Name = , video=1\n");
}

TEST_F(Devices, are_selected_in_the_prescribed_order) {
    devices({named("Camcorder", {QTMediaType::Video, QTMediaType::Sound, QTMediaType::Muxed})});
    jlong handle = 0;
    EXPECT_EQ(outOf([&] { handle = select(); }), "QTKitCapture: isight 0\n");
    EXPECT_EQ(capture().calls(),
              (Lines{"open Camcorder", "setEnabled video 1", "setEnabled sound 0", "setEnabled muxed 1",
                     "addInput", "setPixelBufferAttributes", "addOutput", "startRunning"}));
    EXPECT_GT(handle, 0);
    release(handle);
}

TEST_F(Devices, are_selected_by_the_number_that_counting_gives) {
    devices({named("Microphone", {QTMediaType::Sound}), std::nullopt, named("Webcam"), named("Other")});
    const jlong handle = select(0);
    EXPECT_NE(handle, 0);
    EXPECT_EQ(capture().calls().at(0), "open Webcam");
    EXPECT_EQ(select(2), 0);
    EXPECT_EQ(select(-1), 0);
    release(handle);
}

TEST_F(Devices, built_in_is_asked_for_a_size_and_has_no_controls) {
    FakeDevice builtIn = named("Built-in iSight");
    devices({builtIn});
    webcam();
    jlong handle = 0;
    EXPECT_EQ(outOf([&] { handle = select(); }), "QTKitCapture: isight 1\n");
    EXPECT_EQ(capture().calls(), (Lines{"open Built-in iSight", "setEnabled video 1", "addInput",
                                        "setPixelBufferAttributes 640x480", "addOutput", "startRunning"}));
    EXPECT_FALSE(hasUvc(handle));
    EXPECT_TRUE(FakeUsb::bus().calls().empty());
    release(handle);
}

TEST_F(Devices, that_do_not_open_are_not_selected) {
    FakeDevice shut;
    shut.opens = false;
    devices({shut});
    EXPECT_EQ(outOf([] { EXPECT_EQ(select(), 0); }), "");
    EXPECT_EQ(capture().calls(), Lines{"open Webcam"});
}

TEST_F(Devices, that_open_with_an_error_stay_open_and_are_not_selected) {
    FakeDevice strange;
    strange.opensWithError = true;
    devices({strange});
    const std::string log = errOf([] { EXPECT_EQ(select(), 0); });
    EXPECT_NE(log.find("] error Error Domain=QTKit Code=17 \"half open\"\n"), std::string::npos) << log;
    EXPECT_TRUE(capture().device(0)->isOpen());
    EXPECT_EQ(capture().calls(), Lines{"open Webcam"});
}

TEST_F(Devices, whose_input_is_refused_stay_open_and_are_not_selected) {
    capture().addsInput = false;
    EXPECT_EQ(outOf([] { EXPECT_EQ(select(), 0); }), "QTKitCapture: Failed addInput\n");
    EXPECT_EQ(capture().calls(), (Lines{"open Webcam", "setEnabled video 1", "addInput"}));
    EXPECT_TRUE(capture().device(0)->isOpen());
    // Whoever is told of an error now is not the camera that is gone.
    EXPECT_EQ(errOf([] { capture().raise(1203); }), "");
    EXPECT_TRUE(sent().status.empty());
}

TEST_F(Devices, without_an_input_are_not_selected) {
    capture().makesInput = false;
    EXPECT_EQ(outOf([] { EXPECT_EQ(select(), 0); }), "QTKitCapture: Failed addInput\n");
}

TEST_F(Devices, whose_output_is_refused_stay_open_and_are_not_selected) {
    capture().addsOutput = false;
    EXPECT_EQ(outOf([] { EXPECT_EQ(select(), 0); }),
              "QTKitCapture: isight 0\nQTKitCapture: Failed addOutput\n");
    EXPECT_EQ(capture().calls().back(), "addOutput");
    EXPECT_TRUE(capture().device(0)->isOpen());
    EXPECT_EQ(errOf([] { capture().raise(1203); }), "");
    EXPECT_TRUE(sent().status.empty());
}

/** From here on nobody gets a handle. */
void useUpLowMemory() {
    const auto isThere = [](size_t size) {
        return handles::allocate(handles::Kind::VideoCamera, size, [](void*) {}) != nullptr;
    };
    for (size_t size = 1 << 20; size >= 64; size /= 2) {
        while (isThere(size)) {
        }
    }
}

TEST_F(Devices, that_no_handle_is_left_for_are_stopped_and_closed) {
    const auto selectWithoutRoom = [] {
        useUpLowMemory();
        const bool isRefused = select() == 0;
        const Lines calls = capture().calls();
        const bool isOver = Lines(calls.end() - 2, calls.end()) == Lines{"stopRunning", "close Webcam"};
        capture().raise(1203);
        std::_Exit(isRefused && isOver && sent().status.empty() ? 0 : 1);
    };
    // In a process of its own: the memory does not come back.
    EXPECT_EXIT(selectWithoutRoom(), ::testing::ExitedWithCode(0), "");
}

/* ---- Controls ---- */

TEST_F(Devices, with_controls_are_left_in_manual_focus) {
    FakeUsbDevice& bus = webcam();
    const jlong handle = select();
    EXPECT_TRUE(hasUvc(handle));
    const Lines requests = FakeUsb::bus().requests();
    EXPECT_EQ(Lines(requests.end() - 2, requests.end()),
              (Lines{"21 01 0800 0100 1: 01", "21 01 0800 0100 1: 00"}));
    EXPECT_EQ((bus.controls[{1, 8}].current), 0u);
    release(handle);
    EXPECT_FALSE(hasUvc(handle));
}

struct Place {
    const char* uniqueId;
    uint32_t location;
};

class Places : public Devices, public ::testing::WithParamInterface<Place> {};

TEST_P(Places, are_read_off_the_unique_id) {
    FakeDevice device;
    device.uniqueId = GetParam().uniqueId;
    devices({device});
    webcam(GetParam().location);
    webcam(0xDEADBEEF);
    const jlong handle = select();
    EXPECT_TRUE(hasUvc(handle));
    release(handle);
}

INSTANTIATE_TEST_SUITE_P(all, Places,
                         ::testing::Values(Place{"0x1a110000046d082d", 0x1A110000}, Place{"0xfa", 0xFA},
                                           Place{"0xFFFFFFFF0", 0xFFFFFFFF}, Place{"1a110000", 0},
                                           Place{"x1a110000", 0}, Place{"0X1a110000", 0}, Place{"", 0},
                                           Place{"0xg", 0}, Place{"0x1g", 1}));

TEST_F(Devices, at_another_place_have_no_controls) {
    webcam(0x1A120000);
    const jlong handle = select();
    EXPECT_NE(handle, 0);
    EXPECT_FALSE(hasUvc(handle));
    release(handle);
}

TEST_F(Devices, without_a_control_interface_have_no_controls) {
    webcam().hasControlInterface = false;
    const jlong handle = select();
    EXPECT_NE(handle, 0);
    EXPECT_FALSE(hasUvc(handle));
    release(handle);
}

/* ---- Release ---- */

TEST_F(Devices, are_released_in_the_prescribed_order) {
    const jlong handle = select();
    capture().deliver(FakeFrame{.width = 40, .height = 30});
    fetch(handle);
    capture().forget();
    const Ref<QTCaptureDevice> device = capture().device(0);
    const std::string log = outOf([&] { release(handle); });
    char closing[64];
    std::snprintf(closing, sizeof closing, "QTKitCapture: Closing QTCaptureDevice %p\n",
                  static_cast<void*>(device.get()));
    char releasing[64];
    std::snprintf(releasing, sizeof releasing, "QTKitCapture: Releasing camera %p\n",
                  reinterpret_cast<void*>(handle));
    EXPECT_EQ(log.find(releasing), 0u) << log;
    const size_t session = log.find("QTKitCapture: Releasing camera cameraData->mCaptureSession 0x");
    const size_t closed = log.find(closing);
    const size_t buffer = log.find("QTKitCapture: Releasing camera cameraData->dataBuffer 0x");
    EXPECT_LT(session, closed) << log;
    EXPECT_LT(closed, buffer) << log;
    EXPECT_NE(buffer, std::string::npos) << log;
    EXPECT_EQ(capture().calls(), (Lines{"stopRunning", "close Webcam"}));
    EXPECT_FALSE(device->isOpen());
}

TEST_F(Devices, released_without_a_frame_have_no_buffer_to_free) {
    const jlong handle = select();
    const std::string log = outOf([&] { release(handle); });
    EXPECT_NE(log.find("QTKitCapture: Releasing camera cameraData->dataBuffer (nil)\n"), std::string::npos);
}

TEST_F(Devices, closed_already_are_not_closed_again) {
    const jlong handle = select();
    capture().device(0)->close();
    capture().forget();
    release(handle);
    EXPECT_EQ(capture().calls(), Lines{"stopRunning"});
}

TEST_F(Devices, are_released_once) {
    const jlong handle = select();
    release(handle);
    capture().forget();
    EXPECT_EQ(outOf([&] {
                  release(handle);
                  release(0);
                  release(-1);
                  release(0x7FFFFFFFFFFFFFFF);
                  QTKIT(SetNoiseReduction)(env(), nullptr, 0, 1);
                  QTKIT(SetNoiseReduction)(env(), nullptr, handle, 1);
              }),
              "");
    EXPECT_TRUE(capture().calls().empty());
}

TEST_F(Devices, of_tasks_that_release_one_camera_at_once_one_does) {
    for (int turn = 0; turn < 20; ++turn) {
        const jlong handle = select();
        capture().forget();
        std::vector<std::thread> tasks;
        for (int i = 0; i < 4; ++i) {
            tasks.emplace_back([handle] { release(handle); });
        }
        for (std::thread& task : tasks) {
            task.join();
        }
        EXPECT_EQ(capture().calls(), (Lines{"stopRunning", "close Webcam"}));
    }
}

TEST_F(Devices, are_tended_by_an_object_that_goes_with_the_release_unless_it_drives_controls) {
    const jlong plain = select();
    int32_t references = findCamera(plain)->retainCount();
    EXPECT_EQ(references, 2) << "the handle's, and that of the question";
    release(plain);

    webcam();
    const jlong handle = select();
    Ref<QTKitCaptureCamera> camera = findCamera(handle);
    EXPECT_EQ(camera->retainCount(), 3) << "and one that is never given back";
    release(handle);
    EXPECT_EQ(camera->retainCount(), 2) << "the object stays";
    EXPECT_FALSE(findCamera(handle)) << "where its handle does not reach it";
    EXPECT_FALSE(camera->currentFrame());
    EXPECT_FALSE(camera->uvc());
}

TEST_F(Devices, forged_handles_get_the_default_answers) {
    const jlong other = reinterpret_cast<jlong>(handles::create<int>(handles::Kind::NikonCamera));
    const jlong live = select();
    capture().deliver(FakeFrame{.width = 40, .height = 30});
    const jlong highHalf = live | jlong{1} << 32;
    for (const jlong handle : {jlong{0}, jlong{1}, jlong{-1}, other, live + 1, live + 8, highHalf}) {
        SCOPED_TRACE(handle);
        EXPECT_EQ(fetch(handle), nullptr);
        EXPECT_EQ(width(handle), 0);
        EXPECT_EQ(height(handle), 0);
        EXPECT_TRUE(still(handle, 1, 40, 30).empty());
        EXPECT_FALSE(hasUvc(handle));
        EXPECT_EQ(QTKIT(getUvcSetting)(env(), nullptr, handle, 1), 0.0F);
        EXPECT_EQ(outOf([&] {
                      QTKIT(setUvcSetting)(env(), nullptr, handle, 1, 0.5F);
                      QTKIT(driveFocus)(env(), nullptr, handle, 1);
                      QTKIT(SetImageDimensions)(env(), nullptr, handle, 10, 10);
                      QTKIT(settingsDialog)(env(), nullptr, handle);
                      release(handle);
                  }),
                  "");
        EXPECT_EQ(QTKIT(hasSettings)(env(), nullptr, handle), 0);
    }
    EXPECT_EQ(width(live), 40);
    release(live);
    handles::retire(handles::Kind::NikonCamera, static_cast<intptr_t>(other));
}

/* ---- Notifications ---- */

TEST_F(Devices, pulled_out_are_told_as_status_1) {
    const jlong handle = select();
    const std::string log = errOf([] { capture().raise(1203); });
    EXPECT_EQ(sent().status, std::vector<int32_t>{1});
    EXPECT_NE(log.find("] Notification "), std::string::npos) << log;
    EXPECT_NE(log.find("QTCaptureSessionRuntimeErrorNotification"), std::string::npos) << log;
    release(handle);
    EXPECT_EQ(errOf([] { capture().raise(1203); }), "") << "released";
    EXPECT_EQ(sent().status.size(), 1u);
}

TEST_F(Devices, that_fail_otherwise_are_logged_only) {
    const jlong handle = select();
    for (const int64_t code :
         {int64_t{0}, int64_t{1202}, int64_t{1204}, int64_t{-1203}, int64_t{1203} << 32}) {
        EXPECT_NE(errOf([&] { capture().raise(code); }).find("] Notification "), std::string::npos);
    }
    const auto bare = Ref<NSNotification>::adopt(
        new NSNotification(QTCaptureSessionRuntimeErrorNotification, nullptr, nullptr));
    errOf([&] { NSNotificationCenter::defaultCenter().postNotification(*bare); });
    EXPECT_TRUE(sent().status.empty());
    release(handle);
}

TEST_F(Devices, names_of_notifications_are_compared_as_objects) {
    const jlong handle = select();
    static const NotificationName lookalike = {QTCaptureSessionRuntimeErrorNotification.text};
    const Ref<QTKitCaptureCamera> camera = findCamera(handle);
    const auto error = Ref<NSError>::adopt(new NSError("QTKit", 1203, "gone"));
    const auto same = Ref<NSNotification>::adopt(new NSNotification(lookalike, nullptr, error.get()));
    errOf([&] { camera->handleNotification(*same); });
    EXPECT_TRUE(sent().status.empty());
    release(handle);
}

/** Cameras hear of all sessions' errors, so each selected one tells of the same loss. */
TEST_F(Devices, of_two_selected_one_pulled_out_is_told_twice) {
    devices({named("One"), named("Two")});
    const jlong one = select(0);
    const jlong two = select(1);
    errOf([] { capture().raise(1203); });
    EXPECT_EQ(sent().status, (std::vector<int32_t>{1, 1}));
    release(one);
    errOf([] { capture().raise(1203); });
    EXPECT_EQ(sent().status.size(), 3u);
    release(two);
}

TEST_F(Devices, forwarders_of_the_hosts_class_forward) {
    QTKIT(HandleProgress)(env(), nullptr, 42);
    QTKIT(HandleStatus)(env(), nullptr, 7);
    EXPECT_EQ(sent().progress, std::vector<int32_t>{42});
    EXPECT_EQ(sent().status, std::vector<int32_t>{7});
}

}  // namespace
