// Several connections on one camera: nothing crashes, nothing hangs, nothing is left behind. Made for the
// address and thread sanitizers.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <set>
#include <thread>

#include "tests/e2e/support/canon_fixture.h"
#include "tests/faults/library_state.h"

namespace e2e::faults {
namespace {

constexpr unsigned kSeed = 20250611;
constexpr size_t kFrameBytes = 60000;
constexpr int64_t kFileBytes = 400000;
/** Long enough for another connection to get through a call of its own. */
const std::chrono::milliseconds kLong{kSanitized ? 1500 : 500};

class CanonConcurrency : public CanonTest {
protected:
    /** Live-view frames of one length and different content. */
    Json framesCamera() {
        std::vector<std::string> paths;
        for (uint32_t i = 0; i < 4; ++i) {
            paths.push_back(frames_.file("frame" + std::to_string(i)));
            known_.insert(patternBytes(kFrameBytes, i + 1));
            writeFile(paths.back(), *known_.find(patternBytes(kFrameBytes, i + 1)));
        }
        return usualCamera({{"liveview", framesFrom(paths)}});
    }

    bool isKnown(const Bytes& frame) const { return known_.contains(frame); }

    static Json pictureCamera(int64_t bytesPerSecond) {
        return usualCamera({{"shots", shotOf({madeUpFile("IMG_0001.JPG", kFileBytes)})},
                            {"transferBytesPerSecond", bytesPerSecond}});
    }

    /** A session on a camera that is there again. */
    int32_t reopen() {
        const std::vector<int32_t> cameras = canon().cameraList();
        EXPECT_EQ(cameras.size(), 1u);
        const int32_t handle = cameras.empty() ? 0 : canon().openSession(cameras[0]);
        EXPECT_NE(handle, 0);
        EXPECT_NE(handle, 130);
        return handle;
    }

    /** Nothing that a single call makes for itself has outlived it. */
    void expectNothingLeft() {
        const References held = heldReferences(lab());
        for (const char* kind : {"stream", "evfImage", "cameraList"}) {
            EXPECT_EQ(held.at(kind), 0) << kind;
        }
        EXPECT_EQ(misuse(lab()), 0);
    }

    bool isMadeOrUnderway(const std::string& function) {
        const Json answer = lab().must({{"cmd", "trace"}});
        for (const char* part : {"trace", "underway"}) {
            for (const Json& entry : answer.value(part, Json::array())) {
                if (entry.value("call", "") == function) return true;
            }
        }
        return false;
    }

private:
    TempFolder frames_;
    std::set<Bytes> known_;
};

TEST_F(CanonConcurrency, of_two_that_fetch_frames_gives_each_whole_ones) {
    const int32_t handle = startSession(framesCamera());
    ASSERT_EQ(canon().startLiveView(handle), 0);
    const auto fetch = [&] {
        CanonCalls own(helper().port());
        std::set<Bytes> seen;
        for (int i = 0; i < 60; ++i) {
            const Bytes frame = own.liveViewFrame(handle);
            EXPECT_TRUE(isKnown(frame)) << "a frame of " << frame.size() << " bytes that is no frame";
            seen.insert(frame);
        }
        EXPECT_GT(seen.size(), 1u) << "the same frame again and again";
    };
    std::thread first(fetch);
    std::thread second(fetch);
    first.join();
    second.join();
    expectNothingLeft();
}

TEST_F(CanonConcurrency, of_a_fetch_and_a_close_ends_the_frames) {
    std::minstd_rand random(kSeed);
    int32_t handle = startSession(framesCamera());
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(canon().startLiveView(handle), 0);
        const auto enough = static_cast<int>(random() % 5);
        std::atomic<int> fetched{0};
        std::thread fetching([&] {
            CanonCalls own(helper().port());
            for (Bytes frame = own.liveViewFrame(handle); !frame.empty(); frame = own.liveViewFrame(handle)) {
                EXPECT_TRUE(isKnown(frame));
                ++fetched;
            }
        });
        EXPECT_TRUE(eventually([&] { return fetched >= enough; }));
        EXPECT_EQ(canon().closeSession(handle), 0);
        fetching.join();
        handle = reopen();
    }
    expectNothingLeft();
}

TEST_F(CanonConcurrency, of_a_download_and_a_close_leaves_a_whole_file_or_none) {
    int32_t handle = startSession(pictureCamera(8 * kFileBytes));
    // At once, in the middle, and as it comes.
    const std::vector<const char*> moments = {"", "EdsGetDirectoryItemInfo", "EdsSetProgressCallback",
                                              "EdsDownload"};
    for (size_t round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const std::string name = "picture" + std::to_string(round);
        const int32_t item = shoot(handle, picturePath(name)).at(0);
        const int64_t itemsBefore = heldReferences(lab()).at("directoryItem");
        lab().clearTrace();
        events().forget();
        CanonCalls downloading(helper().port());
        downloading.send(27, Message().int32(handle).int32(item));
        downloading.expectHeader(27);
        const std::string moment = moments[round % moments.size()];
        EXPECT_TRUE(eventually([&] { return moment.empty() || isMadeOrUnderway(moment); }));
        EXPECT_EQ(canon().closeSession(handle), 0);
        downloading.expectHeader(27);
        const int32_t status = downloading.receiveInt();
        const std::string file = picturePath(name + ".jpg");
        EXPECT_EQ(std::filesystem::exists(file), status == 0) << "status " << status;
        if (status == 0) {
            EXPECT_EQ(readFile(file).size(), static_cast<size_t>(kFileBytes));
        } else if (status != -1) {
            EXPECT_EQ(events().waitFor(kStateEvent, 0x305).handle(), handle) << "of the closed session, too";
        }
        // A download that came behind the close has not taken the item.
        EXPECT_EQ(heldReferences(lab()).at("directoryItem"), itemsBefore - (status == -1 ? 0 : 1));
        expectNothingLeft();
        handle = reopen();
    }
}

TEST_F(CanonConcurrency, of_two_closes_lets_one_of_them_win) {
    int32_t handle = startSession();
    for (int round = 0; round < 30; ++round) {
        std::atomic<int> closed{0};
        std::atomic<int> refused{0};
        const auto close = [&] {
            CanonCalls own(helper().port());
            const int32_t status = own.closeSession(handle);
            if (status == 0) ++closed;
            if (status == 130) ++refused;
        };
        std::thread first(close);
        std::thread second(close);
        first.join();
        second.join();
        EXPECT_EQ(closed, 1);
        EXPECT_EQ(refused, 1);
        EXPECT_EQ(heldReferences(lab()).at("camera"), 0);
        handle = reopen();
    }
    expectNothingLeft();
}

TEST_F(CanonConcurrency, of_two_openings_serves_on) {
    start();
    ASSERT_EQ(canon().initializeSdk(), 0);
    for (int round = 0; round < 20; ++round) {
        const std::vector<int32_t> cameras = canon().cameraList();
        ASSERT_EQ(cameras.size(), 1u);
        std::atomic<int> opened{0};
        const auto open = [&] {
            CanonCalls own(helper().port());
            const int32_t handle = own.openSession(cameras[0]);
            if (handle == 0 || handle == 130) return;
            ++opened;
            // The session of one that opened in the middle of the other's close may be closed by now.
            EXPECT_NE(own.closeSession(handle), 130);
        };
        std::thread first(open);
        std::thread second(open);
        first.join();
        second.join();
        EXPECT_GE(opened, 1);
    }
    expectNothingLeft();
    EXPECT_EQ(heldReferences(lab()).at("camera"), 0);
}

TEST_F(CanonConcurrency, of_a_name_asked_for_and_a_close_leaves_the_camera_to_the_one_that_asks) {
    start();
    ASSERT_EQ(canon().initializeSdk(), 0);
    const int32_t camera = canon().cameraList().at(0);
    const int32_t handle = canon().openSession(camera);
    lab().clearTrace();
    lab().delay("EdsGetDeviceInfo", kLong);
    CanonCalls asking(helper().port());
    asking.send(5, Message().int32(camera));
    asking.expectHeader(5);
    ASSERT_TRUE(eventually([&] { return isMadeOrUnderway("EdsGetDeviceInfo"); }));
    EXPECT_EQ(canon().closeSession(handle), 0);
    EXPECT_EQ(canon().openSession(camera), 130) << "the reference is the host's no more";
    asking.expectHeader(5);
    EXPECT_EQ(asking.receiveText(), "Canon EOS 5D Mark II");
    expectNothingLeft();
    EXPECT_TRUE(eventually([&] { return heldReferences(lab()).at("camera") == 0; }));
    EXPECT_EQ(lab().callNames().back(), "EdsRelease") << "given back by the one that asked";
}

TEST_F(CanonConcurrency, of_an_opening_and_a_close_leaves_the_camera_to_the_one_that_opens) {
    start();
    ASSERT_EQ(canon().initializeSdk(), 0);
    const int32_t camera = canon().cameraList().at(0);
    const int32_t handle = canon().openSession(camera);
    lab().clearTrace();
    lab().delay("EdsGetDeviceInfo", kLong);
    CanonCalls opening(helper().port());
    opening.send(7, Message().int32(camera));
    opening.expectHeader(7);
    ASSERT_TRUE(eventually([&] { return isMadeOrUnderway("EdsGetDeviceInfo"); }));
    EXPECT_EQ(canon().closeSession(handle), 0);
    opening.expectHeader(7);
    const int32_t late = opening.receiveInt();
    ASSERT_NE(late, 0);
    ASSERT_NE(late, 130);
    EXPECT_EQ(heldReferences(lab()).at("camera"), 1);
    EXPECT_EQ(opening.firmwareVersion(late), canon().firmwareVersion(late));
    EXPECT_EQ(opening.closeSession(late), 0);
    expectNothingLeft();
    EXPECT_TRUE(eventually([&] { return heldReferences(lab()).at("camera") == 0; }));
}

TEST_F(CanonConcurrency, of_settings_sets_them_all) {
    const int32_t handle = startSession();
    const auto setting = [&](int id, int32_t one, int32_t other) {
        return [this, handle, id, one, other] {
            CanonCalls own(helper().port());
            for (int i = 0; i < 60; ++i) {
                const int32_t value = i % 2 == 0 ? one : other;
                EXPECT_TRUE(own.setSetting(handle, id, value));
                EXPECT_EQ(own.getSetting(handle, id), value);
            }
        };
    };
    std::thread first(setting(kIso, 0x48, 0x58));
    std::thread second(setting(kTv, 0x60, 0x68));
    std::thread third(setting(kAv, 0x30, 0x38));
    first.join();
    second.join();
    third.join();
}

TEST_F(CanonConcurrency, of_two_that_set_the_same_property_ends_with_one_of_their_values) {
    const int32_t handle = startSession();
    const auto setting = [&](int32_t value) {
        return [this, handle, value] {
            CanonCalls own(helper().port());
            // Each waits a while for its own value; the other's in its place is no failure.
            for (int i = 0; i < 2; ++i) {
                EXPECT_TRUE(own.setSetting(handle, kIso, value));
            }
        };
    };
    std::thread first(setting(0x50));
    std::thread second(setting(0x58));
    first.join();
    second.join();
    const int32_t value = canon().getSetting(handle, kIso);
    EXPECT_TRUE(value == 0x50 || value == 0x58) << value;
}

}  // namespace
}  // namespace e2e::faults
