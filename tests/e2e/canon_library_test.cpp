// Starting and ending the camera library: its own thread, its waits, and starting over.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

/** As long as the test lasts, for whoever is held up. */
constexpr std::chrono::milliseconds kNever{3600000};

class CanonLibrary : public CanonTest {
protected:
    /** A camera's event reaches the host. */
    void expectEvents() {
        const size_t before = events().seen().size();
        lab().must(
            {{"cmd", "event"}, {"id", "canon-1"}, {"kind", "state"}, {"event", 0x304}, {"parameter", 9}});
        EXPECT_EQ(events().waitFor(kStateEvent, 0x304).last(), 9);
        EXPECT_GT(events().seen().size(), before);
    }
};

TEST_F(CanonLibrary, lists_nothing_before_it_is_started) {
    start();
    EXPECT_TRUE(canon().cameraList().empty());
    EXPECT_TRUE(lab().calls("EdsGetCameraList").empty());
}

TEST_F(CanonLibrary, starts_on_a_thread_of_its_own_where_events_arrive_and_ends_there) {
    start();
    EXPECT_EQ(canon().initializeSdk(), 0);
    helper().waitForOut("CanonEds: Creating thread 0x0\n");
    const int32_t handle = canon().openSession(canon().cameraList().at(0));
    expectEvents();
    EXPECT_EQ(canon().closeSession(handle), 0);
    EXPECT_EQ(canon().terminateSdk(), 0);
    // The answer comes when the thread has left its queue; the library's end follows on that thread.
    lab().waitForCalls("EdsTerminateSDK");
    const std::vector<Json> started = lab().calls("EdsInitializeSDK");
    const std::vector<Json> ended = lab().calls("EdsTerminateSDK");
    ASSERT_EQ(started.size(), 1u);
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(started[0]["thread"], ended[0]["thread"]);
    EXPECT_NE(started[0]["thread"], lab().calls("EdsOpenSession").at(0)["thread"]);
}

TEST_F(CanonLibrary, is_ready_when_the_start_is_answered) {
    start();
    lab().delay("EdsInitializeSDK", std::chrono::milliseconds(700));
    EXPECT_EQ(canon().initializeSdk(), 0);
    EXPECT_EQ(canon().cameraList().size(), 1u);
}

TEST_F(CanonLibrary, that_does_not_get_ready_is_waited_for_ten_seconds) {
    start();
    lab().delay("EdsInitializeSDK", kNever);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(canon().initializeSdk(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    EXPECT_TRUE(lab().calls("EdsInitializeSDK").empty()) << "not done yet";
    // From here on it counts as started.
    EXPECT_TRUE(canon().cameraList().empty());
    EXPECT_EQ(lab().calls("EdsGetCameraList").size(), 1u);
}

TEST_F(CanonLibrary, whose_thread_does_not_end_is_waited_for_ten_seconds) {
    const int32_t handle = startSession();
    shoot(handle, picturePath("a"));
    // The thread is held up in an event that gives its object back.
    lab().delay("EdsRelease", kNever);
    lab().must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "object"}, {"event", 0x204}});
    helper().waitForOut("CanonEds: In handleObjectEvent 0x204\n");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(canon().terminateSdk(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    EXPECT_TRUE(lab().calls("EdsTerminateSDK").empty());
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 2) << "the library runs on";
}

TEST_F(CanonLibrary, reports_no_failure_of_its_start) {
    start();
    lab().fault("EdsInitializeSDK", 0x80);
    EXPECT_EQ(canon().initializeSdk(), 0);
    EXPECT_TRUE(canon().cameraList().empty());
    // The library was asked, this time, and had nothing.
    EXPECT_EQ(lab().calls("EdsGetCameraList").size(), 1u);
    expectServing();
}

TEST_F(CanonLibrary, ended_before_it_was_started_is_left_alone) {
    start();
    EXPECT_EQ(canon().terminateSdk(), 0);
    helper().waitForOut("CanonEds: TerminateSDK 0x0\n");
    EXPECT_TRUE(lab().calls("EdsTerminateSDK").empty());
    EXPECT_EQ(helper().out().count("Terminating helper thread"), 0u);
}

TEST_F(CanonLibrary, tells_how_its_thread_is_ended) {
    start();
    canon().initializeSdk();
    EXPECT_EQ(canon().terminateSdk(), 0);
    helper().waitForOut(
        "CanonEds: Terminating helper thread\nCanonEds: CreateEvent status 0x0\n"
        "CanonEds: PostEventToQueue status 0x0\n");
    EXPECT_EQ(helper().out().count("TerminateSDK 0x"), 0u);
}

TEST_F(CanonLibrary, ended_twice_is_terminated_twice_and_tells_the_library_s_answer) {
    start();
    canon().initializeSdk();
    EXPECT_EQ(canon().terminateSdk(), 0);
    lab().waitForCalls("EdsTerminateSDK");
    const int32_t second = canon().terminateSdk();
    helper().waitForOut("CanonEds: TerminateSDK 0x1\n");
    const std::vector<Json> ended = lab().calls("EdsTerminateSDK");
    ASSERT_EQ(ended.size(), 2u);
    EXPECT_EQ(second, static_cast<int32_t>(number(ended[1]["result"])));
    EXPECT_NE(ended[0]["thread"], ended[1]["thread"]) << "the second on the caller's own thread";
    lab().fault("EdsTerminateSDK", 0x61);
    EXPECT_EQ(canon().terminateSdk(), 0x61);
}

TEST_F(CanonLibrary, starts_again_after_its_end) {
    start();
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        const int32_t handle = openFirst();
        const std::string path = picturePath("round" + std::to_string(round));
        const int32_t item = shoot(handle, path).at(0);
        EXPECT_EQ(canon().download(handle, item), 0);
        EXPECT_FALSE(readFile(path + ".jpg").empty());
        EXPECT_EQ(canon().closeSession(handle), 0);
        EXPECT_EQ(canon().terminateSdk(), 0);
        lab().waitForCalls("EdsTerminateSDK", static_cast<size_t>(round) + 1);
        // The flag stays set: the list is asked of the library, which has none.
        EXPECT_TRUE(canon().cameraList().empty());
    }
    EXPECT_EQ(lab().calls("EdsInitializeSDK").size(), 3u);
    EXPECT_EQ(lab().calls("EdsTerminateSDK").size(), 3u);
}

TEST_F(CanonLibrary, started_again_at_once_is_not_ended_by_the_thread_before) {
    start();
    canon().initializeSdk();
    for (int round = 0; round < 10; ++round) {
        SCOPED_TRACE(round);
        EXPECT_EQ(canon().terminateSdk(), 0);
        EXPECT_EQ(canon().initializeSdk(), 0);
        // The second start is answered at once; the library follows.
        ASSERT_TRUE(eventually([&] { return !canon().cameraList().empty(); }));
        lab().waitForCalls("EdsTerminateSDK", static_cast<size_t>(round) + 1);
        ASSERT_FALSE(canon().cameraList().empty()) << "ended by the thread that should have been gone";
    }
}

TEST_F(CanonLibrary, started_twice_answers_both_times_and_goes_on) {
    start();
    EXPECT_EQ(canon().initializeSdk(), 0);
    EXPECT_EQ(canon().initializeSdk(), 0);
    EXPECT_EQ(helper().out().count("CanonEds: Creating thread 0x0\n"), 2u);
    ASSERT_TRUE(eventually([&] { return !canon().cameraList().empty(); }));
    const int32_t handle = canon().openSession(canon().cameraList().at(0));
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 2);
    EXPECT_EQ(canon().terminateSdk(), 0);
    expectServing();
}

TEST_F(CanonLibrary, ended_under_an_open_session_leaves_answers_and_no_wreck) {
    const int32_t handle = startSession();
    const int32_t reference = canon().cameraList().at(0);
    EXPECT_EQ(canon().terminateSdk(), 0);
    for (const CanonMethod& method : canonMethods()) {
        if (method.id == 1 || method.id == 2 || method.id == 23 || method.id == 8) continue;
        SCOPED_TRACE(method.name);
        canon().call(method.id, argumentsFor(method, handle, picturePath("x")));
    }
    EXPECT_EQ(canon().cameraName(reference), "");
    canon().closeSession(handle);
    const int32_t again = openFirst();
    EXPECT_EQ(canon().getSetting(again, kSaveTo), 2);
}

TEST_F(CanonLibrary, idles_by_asking_for_one_event) {
    start();
    canon().initializeSdk();
    lab().clearTrace();
    canon().idle();
    EXPECT_EQ(lab().callNames(), std::vector<std::string>{"EdsGetEvent"});
}

}  // namespace
}  // namespace e2e
