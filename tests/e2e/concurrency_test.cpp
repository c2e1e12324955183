// Several connections on one camera at the same time, events and unplugging in between: every call gets its
// answer, whoever comes first.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

const int kRounds = kSanitized ? 15 : 60;

class Concurrency : public CanonTest {
protected:
    /** Runs each function on a thread and a connection of its own, again and again, until all had their
     * rounds. */
    void together(const std::vector<std::function<void(CanonCalls&)>>& functions, int rounds = kRounds) {
        std::vector<std::thread> threads;
        for (const auto& function : functions) {
            threads.emplace_back([this, &function, rounds] {
                CanonCalls calls(helper().port());
                for (int i = 0; i < rounds; ++i) {
                    function(calls);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
};

TEST_F(Concurrency, of_frames_gives_everybody_whole_ones) {
    const TempFolder folder;
    std::vector<std::string> paths;
    std::vector<Bytes> frames;
    // All of one size: with left-overs of larger ones a mixture could not be told from a frame.
    for (uint32_t i = 0; i < 7; ++i) {
        frames.push_back(patternBytes(30000, i));
        paths.push_back(folder.file("frame" + std::to_string(i)));
        writeFile(paths.back(), frames.back());
    }
    const int32_t handle = startSession(usualCamera({{"liveview", framesFrom(paths)}}));
    ASSERT_EQ(canon().startLiveView(handle), 0);
    const auto fetch = [&](CanonCalls& calls) {
        const Bytes frame = calls.liveViewFrame(handle);
        EXPECT_NE(std::find(frames.begin(), frames.end(), frame), frames.end())
            << frame.size() << " bytes of a mixture";
    };
    together({fetch, fetch, fetch});
}

TEST_F(Concurrency, of_growing_frames_and_closing_gives_frames_or_none) {
    start(scenarioOf({usualCamera({{"liveview", madeUpFrames({1000, 20000, 5000, 60000, 3000, 90000})}})}));
    canon().initializeSdk();
    std::atomic<int32_t> handle{0};
    const auto fetch = [&](CanonCalls& calls) {
        const size_t size = calls.liveViewFrame(handle).size();
        EXPECT_LE(size, 90000u);
    };
    const auto reopen = [&](CanonCalls& calls) {
        const int32_t opened = calls.openSession(calls.cameraList().at(0));
        ASSERT_NE(opened, 0);
        EXPECT_EQ(calls.startLiveView(opened), 0);
        handle = opened;
        calls.idle();
        EXPECT_EQ(calls.closeSession(opened), 0);
    };
    together({reopen, fetch, fetch});
}

TEST_F(Concurrency, of_closing_lets_exactly_one_close) {
    start();
    canon().initializeSdk();
    for (int i = 0; i < kRounds / 3; ++i) {
        const int32_t handle = canon().openSession(canon().cameraList().at(0));
        ASSERT_NE(handle, 0);
        std::atomic<int> closed{0};
        const auto close = [&](CanonCalls& calls) {
            const int32_t status = calls.closeSession(handle);
            if (status == 0) ++closed;
            EXPECT_TRUE(status == 0 || status == 130) << status;
        };
        together({close, close, close}, 1);
        EXPECT_EQ(closed, 1);
    }
}

TEST_F(Concurrency, of_downloads_of_one_picture_lets_exactly_one_have_it) {
    const int32_t handle =
        startSession(usualCamera({{"shots", shotOf({madeUpFile("IMG_0001.JPG", 50000)})}}));
    for (int i = 0; i < kRounds / 3; ++i) {
        const int32_t item = shoot(handle, picturePath("a")).at(0);
        std::atomic<int> fetched{0};
        const auto fetch = [&](CanonCalls& calls) {
            const int32_t status = calls.download(handle, item);
            if (status == 0) ++fetched;
            EXPECT_TRUE(status == 0 || status == -1) << status;
        };
        together({fetch, fetch, fetch}, 1);
        EXPECT_EQ(fetched, 1);
        EXPECT_EQ(readFile(picturePath("a.jpg")).size(), 50000u);
    }
}

TEST_F(Concurrency, of_everything_at_once_answers_every_call) {
    const int32_t handle = startSession(usualCamera(
        {{"shots", shotOf({madeUpFile("IMG_0001.JPG", 20000)})}, {"properties", property(kIso, 9, 0x48)}}));
    ASSERT_EQ(canon().startLiveView(handle), 0);
    events();
    std::atomic<bool> done{false};
    // The events of all of this, read so that nobody waits for room.
    std::thread listener([&] {
        while (!done) {
            const std::optional<Event> event = events().next(std::chrono::milliseconds(20));
            if (!event || event->kind != kObjectEvent || event->what() != kRequestTransfer) continue;
            CanonCalls calls(helper().port());
            EXPECT_EQ(calls.download(handle, event->last()), 0);
        }
    });
    std::atomic<int> value{0};
    together({[&](CanonCalls& calls) { calls.setSetting(handle, kIso, 0x48 + (++value % 2) * 8); },
              [&](CanonCalls& calls) {
                  const int32_t iso = calls.getSetting(handle, kIso);
                  EXPECT_TRUE(iso == 0x48 || iso == 0x50) << iso;
              },
              [&](CanonCalls& calls) { EXPECT_FALSE(calls.liveViewFrame(handle).empty()); },
              [&](CanonCalls& calls) {
                  EXPECT_EQ(calls.preCapture(handle, picturePath("a"), true), 0);
                  EXPECT_EQ(calls.capture(handle, picturePath("a")), 0);
              },
              [&](CanonCalls& calls) { calls.setLiveViewZoom(handle, value % 2 == 0); },
              [&](CanonCalls& calls) { calls.setLiveViewZoomPosition(handle, 0.3, 0.4); },
              [&](CanonCalls& calls) { EXPECT_GE(calls.liveViewZoomX(handle), 100000); },
              [&](CanonCalls& calls) { calls.driveFocus(handle, 1); },
              [&](CanonCalls& calls) { EXPECT_NE(calls.firmwareVersion(handle), ""); },
              [&](CanonCalls& calls) { calls.cameraName(calls.cameraList().at(0)); },
              [&](CanonCalls& calls) { calls.idle(); }},
             kRounds / 3);
    done = true;
    listener.join();
}

TEST_F(Concurrency, of_unplugging_and_calling_answers_every_call) {
    start();
    canon().initializeSdk();
    std::atomic<int32_t> handle{0};
    std::atomic<bool> done{false};
    std::thread host([&] {
        CanonCalls calls(helper().port());
        size_t at = 0;
        while (!done) {
            const CanonMethod& method = canonMethods()[at++ % canonMethods().size()];
            if (method.id == 1 || method.id == 23 || method.id == 5 || method.id == 7 || method.id == 8)
                continue;
            calls.call(method.id, argumentsFor(method, handle, picturePath("x")));
        }
    });
    for (int i = 0; i < kRounds / 3; ++i) {
        const std::vector<int32_t> list = canon().cameraList();
        EXPECT_EQ(list.size(), 1u);
        if (list.empty()) break;
        const int32_t opened = canon().openSession(list[0]);
        EXPECT_NE(opened, 0);
        handle = opened;
        canon().startLiveView(opened);
        canon().capture(opened, picturePath("x"));
        lab().detach("canon-1");
        canon().getSetting(opened, kIso);
        canon().closeSession(opened);
        lab().must({{"cmd", "attach"}, {"id", "canon-1"}});
    }
    done = true;
    host.join();
}

TEST_F(Concurrency, of_starting_and_ending_the_library_answers_every_call) {
    start();
    const auto list = [](CanonCalls& calls) { EXPECT_LE(calls.cameraList().size(), 1u); };
    const auto restart = [](CanonCalls& calls) {
        EXPECT_EQ(calls.initializeSdk(), 0);
        calls.terminateSdk();
    };
    together({restart, list, list}, kSanitized ? 5 : 10);
}

}  // namespace
}  // namespace e2e
