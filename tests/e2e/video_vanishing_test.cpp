// Webcams, sessions and handles that go at any moment, with calls under way on several connections: nothing
// crashes, nothing hangs, nothing is left behind. Made for the address and thread sanitizers.
#include <gtest/gtest.h>

#include <list>
#include <random>
#include <thread>

#include "tests/e2e/support/crowd.h"
#include "tests/e2e/support/video_fixture.h"

namespace e2e {
namespace {

constexpr unsigned kSeed = 20050217;

using VideoCrowd = Crowd<VideoCalls, int64_t>;

void fetchFrames(VideoCalls& video, int64_t camera, int) {
    const Words words = video.imageData(camera);
    if (words.empty()) return;
    const int width = words.size() == 64 * 48 ? 64 : 32;
    EXPECT_TRUE(isPattern(words, width, width * 3 / 4));
    video.imageWidth(camera);
    video.imageHeight(camera);
}

void takeStills(VideoCalls& video, int64_t camera, int turn) {
    video.captureImage(camera, turn % 3 + 1, 64, 48);
}

void changeSize(VideoCalls& video, int64_t camera, int turn) {
    const int width = turn % 2 == 0 ? 64 : 32;
    video.setImageDimensions(camera, width, width * 3 / 4);
}

void turnControls(VideoCalls& video, int64_t camera, int turn) {
    video.setSetting(camera, turn % 9, 500000);
    video.setting(camera, turn % 9);
    video.driveFocus(camera, turn % 7 - 3);
    video.hasSettings(camera);
}

void listDevices(VideoCalls& video, int64_t, int) {
    const int32_t count = video.cameraCount();
    for (int32_t i = 0; i < count; ++i) {
        video.cameraName(i);
    }
}

void addAll(VideoCrowd& crowd) {
    crowd.add(fetchFrames);
    crowd.add(fetchFrames);
    crowd.add(takeStills);
    crowd.add(changeSize);
    crowd.add(turnControls);
    crowd.add(listDevices);
}

class VideoVanishing : public VideoTest {
protected:
    static Json busyWebcam() { return webcamWithControls({{"fps", 200}}); }

    int64_t select() {
        int64_t camera = 0;
        EXPECT_TRUE(eventually([&] { return (camera = video().selectCamera(0)) != 0; }));
        return camera;
    }
    /** What the lab's frameworks still count, by kind. */
    std::string livingObjects() {
        const Json libraries = lab().must({{"cmd", "state"}})["libraries"];
        return libraries["QTKit"].dump() + libraries["USBControl"].dump();
    }
};

TEST_F(VideoVanishing, of_a_camera_that_is_released_under_its_users_ends_their_calls) {
    start(videoScenario({busyWebcam()}));
    std::minstd_rand random(kSeed);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const int64_t camera = select();
        VideoCrowd crowd(helper().port(), camera);
        addAll(crowd);
        crowd.awaitTurns(static_cast<int>(random() % 60));
        video().releaseCamera(camera);
        crowd.awaitTurns(20);
        crowd.disperse();
        EXPECT_TRUE(video().imageData(camera).empty());
    }
    expectServing();
}

TEST_F(VideoVanishing, of_a_webcam_that_is_unplugged_and_plugged_in_again_ends_no_call) {
    start(videoScenario({busyWebcam()}));
    std::minstd_rand random(kSeed);
    CallbackStream& stream = events();
    for (int round = 0; round < 8; ++round) {
        SCOPED_TRACE(round);
        const int64_t camera = select();
        awaitFrame(camera);
        VideoCrowd crowd(helper().port(), camera);
        addAll(crowd);
        crowd.awaitTurns(static_cast<int>(random() % 60));
        lab().detach("video-1");
        stream.waitFor([](const Event& event) { return event.kind == kStateEvent; }, "loss");
        crowd.awaitTurns(12);
        lab().must({{"cmd", "attach"}, {"id", "video-1"}});
        crowd.awaitTurns(12);
        crowd.disperse();
        video().releaseCamera(camera);
    }
    expectServing();
}

TEST_F(VideoVanishing, of_cameras_selected_and_released_on_many_connections_leaves_nothing) {
    start(videoScenario({busyWebcam(), videoDevice("video-2", "Other", {{"fps", 200}})}));
    const std::string before = livingObjects();
    std::vector<std::thread> hosts;
    for (int i = 0; i < 4; ++i) {
        hosts.emplace_back([this, i] {
            VideoCalls own(helper().port());
            for (int turn = 0; turn < 15; ++turn) {
                const int64_t camera = own.selectCamera(i % 2);
                own.imageData(camera);
                own.imageWidth(camera);
                own.releaseCamera(camera);
                own.releaseCamera(camera);
            }
        });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
    // A selection that met the other host's release has failed, and left its device open for the next one.
    for (int number = 0; number < 2; ++number) {
        video().releaseCamera(video().selectCamera(number));
    }
    EXPECT_TRUE(eventually([&] { return livingObjects() == before; })) << before << "\nhas become\n"
                                                                       << livingObjects();
}

TEST_F(VideoVanishing, of_a_host_that_reads_nothing_holds_no_other_up) {
    const int64_t camera = startSelected(webcam({{"width", 640}, {"height", 480}, {"fps", 30}}));
    awaitFrame(camera);
    std::list<RawClient> silent;
    for (int i = 0; i < 4; ++i) {
        silent.emplace_back(helper().port());
        for (int j = 0; j < 8; ++j) {
            silent.back().send(Message().byte(40).byte(10).int64(camera));
        }
    }
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(isPattern(video().imageData(camera), 640, 480));
    }
    for (RawClient& client : silent) {
        client.abort();
    }
    video().releaseCamera(camera);
    expectServing();
}

}  // namespace
}  // namespace e2e
