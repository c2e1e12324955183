// Several connections on one module, one camera, and on modules side by side.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

const int kRounds = kSanitized ? 5 : 15;

class NikonConcurrency : public NikonTest {
protected:
    /** Each on a thread and a connection of its own. */
    void sideBySide(const std::vector<std::function<void(NikonCalls&)>>& hosts) {
        std::vector<std::thread> threads;
        for (const auto& host : hosts) {
            threads.emplace_back([this, host] {
                NikonCalls calls(helper().port());
                host(calls);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        expectServing();
    }

    static Json bodyWithFrames(const Json& more = Json::object()) {
        Json body = withCapabilities({numbersCapability(kExposureMode, {0, 1, 2, 3})}, more);
        body["liveview"] = {{{"header", std::string(128, '0') + "ffd8"}, {"length", 2000}}};
        return body;
    }
};

TEST_F(NikonConcurrency, of_calls_on_one_camera_gives_each_its_answer) {
    const int64_t camera = startCamera(bodyWithFrames());
    nikon().setLiveView(camera, true);
    const auto fetch = [&](NikonCalls& calls) {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_EQ(calls.liveViewImage(camera).size(), 1936u);
        }
    };
    const auto list = [&](NikonCalls& calls) {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_EQ(calls.settingOptions(camera, kExposureMode).size(), 4u);
        }
    };
    const auto count = [&](NikonCalls& calls) {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_EQ(calls.cameraCount(module()), 1);
        }
    };
    sideBySide({fetch, list, count, fetch});
}

TEST_F(NikonConcurrency, of_captures_on_one_camera_writes_every_file_whole) {
    const int64_t camera =
        startCamera(usualNikon({{"shots", nikonShots({{nikonItem(kNefType, 200000, {{"blocks", 4}})}})}}));
    const auto shoot = [&](const std::string& name) {
        return [&, name](NikonCalls& calls) { EXPECT_EQ(calls.capture(camera, picturePath(name)), 0); };
    };
    sideBySide({shoot("a"), shoot("b"), shoot("c")});
    EXPECT_EQ(pictures().names(), (std::vector<std::string>{"a.nef", "b.nef", "c.nef"}));
    for (const char* name : {"a.nef", "b.nef", "c.nef"}) {
        EXPECT_EQ(readFile(picturePath(name)).size(), 200000u);
    }
}

TEST_F(NikonConcurrency, of_a_release_with_calls_on_the_camera_ends_them_with_the_answer_without_one) {
    for (int round = 0; round < 3; ++round) {
        const int64_t camera = startCamera(bodyWithFrames());
        nikon().setLiveView(camera, true);
        const auto fetch = [&](NikonCalls& calls) {
            while (!calls.liveViewImage(camera).empty()) {
            }
        };
        const auto read = [&](NikonCalls& calls) {
            nikon().setSetting(camera, kExposureMode, 2);
            while (calls.getSetting(camera, kExposureMode) == 2) {
            }
        };
        const auto release = [&](NikonCalls& calls) {
            calls.liveViewImage(camera);
            calls.releaseCamera(camera);
        };
        sideBySide({fetch, read, release});
    }
}

TEST_F(NikonConcurrency, of_an_end_with_calls_on_the_module_ends_them_with_the_answer_without_one) {
    for (int round = 0; round < 3; ++round) {
        const int64_t camera = startCamera(bodyWithFrames());
        nikon().setLiveView(camera, true);
        const auto fetch = [&](NikonCalls& calls) {
            while (!calls.liveViewImage(camera).empty()) {
            }
        };
        const auto count = [&](NikonCalls& calls) {
            while (calls.cameraCount(module()) == 1) {
            }
        };
        const auto end = [&](NikonCalls& calls) {
            calls.cameraCount(module());
            EXPECT_EQ(calls.terminateSdk(module()), 0);
        };
        sideBySide({fetch, count, end});
        nikon().releaseCamera(camera);
    }
}

TEST_F(NikonConcurrency, of_two_that_release_one_camera_releases_it_once) {
    start();
    const int64_t module = startModule();
    for (int round = 0; round < kRounds; ++round) {
        const int64_t camera = nikon().selectCamera(module, 0);
        ASSERT_NE(camera, 0);
        const auto release = [&](NikonCalls& calls) { calls.releaseCamera(camera); };
        sideBySide({release, release});
    }
}

TEST_F(NikonConcurrency, of_starts_and_ends_leaves_every_module_usable) {
    start();
    const auto cycle = [&](NikonCalls& calls) {
        for (int i = 0; i < 3; ++i) {
            const int64_t module = calls.initializeSdk(moduleDirectory(), kModuleType);
            EXPECT_NE(module, 0);
            const int64_t camera = calls.selectCamera(module, 0);
            EXPECT_NE(camera, 0);
            calls.releaseCamera(camera);
            EXPECT_EQ(calls.terminateSdk(module), 0);
        }
    };
    sideBySide({cycle, cycle, cycle});
    EXPECT_EQ(nikon().cameraCount(startModule()), 1);
}

TEST_F(NikonConcurrency, of_modules_does_not_make_one_wait_for_the_other) {
    start(nikonScenario({nikonCamera("slow", {{"moduleType", 8}, {"shots", nikonShots({{}})}}),
                         nikonCamera("quick", {{"moduleType", 9}, {"cameraType", 77}})}));
    const int64_t slow = startModule(8);
    const int64_t quick = startModule(9);
    const int64_t camera = nikon().selectCamera(slow, 0);
    // No picture comes of this, and the module is its for some seconds.
    nikon().send(20, Message().int64(camera).text(picturePath("a")).int64(0));
    nikon().expectHeader(20);
    helper().waitForOut("NikonMaid: Waiting for image");
    NikonCalls other(helper().port());
    EXPECT_EQ(other.cameraType(quick, 0), 77);
    EXPECT_EQ(helper().out().count("Image not available"), 0u) << "the capture is still under way";
    nikon().expectHeader(20);
    EXPECT_EQ(nikon().receiveInt(), -4);
}

TEST_F(NikonConcurrency, of_events_and_replies_mixes_neither) {
    const int64_t camera =
        startCamera(usualNikon({{"shots", nikonShots({{nikonItem(kJpegType, 40000, {{"blocks", 20}})}})}}));
    events();
    const auto shoot = [&](const std::string& name) {
        return [&, name](NikonCalls& calls) { EXPECT_EQ(calls.capture(camera, picturePath(name)), 0); };
    };
    sideBySide({shoot("a"), shoot("b")});
    events().collectUntilSilent();  // judges every message's form
    EXPECT_GE(events().progress().size(), 40u);
}

TEST_F(NikonConcurrency, of_hosts_that_vanish_in_a_capture_leaves_the_camera_to_the_next) {
    const int64_t camera = startCamera(usualNikon({{"shots", nikonShots({{nikonItem(kJpegType, 1000)}})}}));
    for (int i = 0; i < 3; ++i) {
        NikonCalls dying(helper().port());
        dying.send(20, Message().int64(camera).text(picturePath("d" + std::to_string(i))).int64(0));
        dying.socket().abort();
    }
    EXPECT_EQ(nikon().capture(camera, picturePath("mine")), 0);
    EXPECT_TRUE(std::filesystem::exists(picturePath("mine.jpg")));
}

}  // namespace
}  // namespace e2e
