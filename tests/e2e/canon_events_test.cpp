// Callback messages of the Canon module: their bytes, their order, and what the log says of them.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

class CanonEvents : public CanonTest {
protected:
    void raise(const Json& event) {
        Json command = {{"cmd", "event"}, {"id", "canon-1"}};
        command.update(event);
        lab().must(command);
    }
};

TEST_F(CanonEvents, of_a_state_are_18_bytes) {
    const int32_t handle = startQuietSession();
    events();
    raise({{"kind", "state"}, {"event", 0x303}, {"parameter", 7}});
    EXPECT_EQ(hex(events().socket().receive(18)),
              hex(Message().byte(10).int32(0x112233).byte(3).int32(handle).int32(0x303).int32(7)));
    events().socket().expectSilence();
    helper().waitForOut("CanonEds: handleStateEvent inEvent 0x303, inParam 0x7\n");
}

TEST_F(CanonEvents, of_a_property_are_22_bytes) {
    const int32_t handle = startQuietSession();
    events();
    raise({{"kind", "property"}, {"event", 0x102}, {"property", kAv}, {"parameter", 5}});
    EXPECT_EQ(hex(events().socket().receive(22)),
              hex(Message().byte(10).int32(0x112233).byte(2).int32(handle).int32(0x102).int32(kAv).int32(5)));
    events().socket().expectSilence();
}

TEST_F(CanonEvents, of_a_new_picture_are_18_bytes) {
    const int32_t handle = startQuietSession();
    events();
    EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    const size_t from = helper().out().size();
    lab().press("canon-1");
    const Event offered = events().waitFor(kObjectEvent, kRequestTransfer);
    ASSERT_EQ(offered.values.size(), 3u);
    EXPECT_EQ(offered.handle(), handle);
    EXPECT_GT(offered.last(), 0) << "an address in low memory";
    helper().waitForOut("CanonEds: In handleObjectEvent\nCanonEds: In handleObjectEvent 0x208\n", 1, from);
    EXPECT_EQ(canon().download(handle, offered.last()), 0);
}

TEST_F(CanonEvents, of_progress_are_14_bytes) {
    const int32_t handle = startSession();
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    events().collectUntilSilent();
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(hex(events().socket().receive(14)),
              hex(Message().byte(10).int32(0x112233).byte(4).int32(handle).int32(0)));
}

TEST_F(CanonEvents, of_other_objects_release_them) {
    const int32_t handle = startSession();
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    lab().clearTrace();
    raise({{"kind", "object"}, {"event", 0x204}});
    const Event event = events().waitFor(kObjectEvent, 0x204);
    EXPECT_NE(event.last(), 0);
    lab().waitForCalls("EdsRelease");
    EXPECT_EQ(lab().calls("EdsRelease").at(0)["args"]["object"], "directoryItem");
    EXPECT_EQ(canon().download(handle, event.last()), -1) << "it was only told of";
    EXPECT_EQ(canon().download(handle, item), 0) << "the one that waits is another";
}

TEST_F(CanonEvents, of_every_object_but_one_that_waits_release_it) {
    shoot(startSession(), picturePath("a"));
    for (const int event : {0x203, 0x204, 0x205, 0x206, 0x207, 0x209, 0x20A}) {
        SCOPED_TRACE(event);
        lab().clearTrace();
        raise({{"kind", "object"}, {"event", event}});
        EXPECT_NE(events().waitFor(kObjectEvent, event).last(), 0);
        lab().waitForCalls("EdsRelease");
    }
}

TEST_F(CanonEvents, of_a_picture_keep_it_alive_for_the_download) {
    const int32_t handle = startSession();
    lab().clearTrace();
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    EXPECT_TRUE(lab().calls("EdsRelease").empty());
    EXPECT_EQ(canon().download(handle, item), 0);
}

TEST_F(CanonEvents, arrive_in_the_order_in_which_they_were_raised) {
    startSession();
    events();
    constexpr int kCount = 300;
    for (int i = 0; i < kCount; ++i) {
        raise({{"kind", "state"}, {"event", 0x304}, {"parameter", i}});
    }
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(events().waitFor(kStateEvent, 0x304).last(), i);
    }
}

TEST_F(CanonEvents, of_the_shutdown_end_the_session_before_the_host_hears_of_it) {
    const int32_t handle = startSession();
    events();
    raise({{"kind", "state"}, {"event", kShutdownEvent}, {"parameter", 0}});
    events().waitFor(kStateEvent, kShutdownEvent);
    EXPECT_EQ(canon().startLiveView(handle), 130);
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 0);
    EXPECT_EQ(canon().firmwareVersion(handle), "");
}

TEST_F(CanonEvents, of_other_states_leave_the_session_open) {
    const int32_t handle = startSession();
    events();
    for (const int event : {0x302, 0x303, 0x304, 0x305, 0x306, 0x307}) {
        SCOPED_TRACE(event);
        raise({{"kind", "state"}, {"event", event}});
        EXPECT_EQ(events().waitFor(kStateEvent, event).handle(), handle);
        EXPECT_EQ(canon().preCapture(handle, picturePath("a")), 0);
    }
}

TEST_F(CanonEvents, tell_the_session_that_they_are_for) {
    start(scenarioOf({usualCamera()}));
    canon().initializeSdk();
    const int32_t first = canon().openSession(canon().cameraList().at(0));
    lab().attach(canonCamera("canon-2", "Canon EOS 7D"));
    const int32_t second = canon().openSession(canon().cameraList().at(0));
    ASSERT_NE(first, second);
    events();
    raise({{"kind", "state"}, {"event", 0x303}, {"parameter", 1}});
    EXPECT_EQ(events().waitFor(kStateEvent, 0x303).handle(), first);
    lab().must({{"cmd", "event"}, {"id", "canon-2"}, {"kind", "state"}, {"event", 0x303}, {"parameter", 1}});
    EXPECT_EQ(events().waitFor(kStateEvent, 0x303).handle(), second);
}

TEST_F(CanonEvents, come_on_the_library_s_thread_while_a_call_takes_its_time) {
    const int32_t handle = startSession();
    events();
    lab().delay("EdsGetPropertySize", std::chrono::seconds(3));
    lab().clearTrace();
    canon().send(16, Message().int32(handle).int32(kIso));
    canon().expectHeader(16);
    raise({{"kind", "state"}, {"event", 0x303}, {"parameter", 1}});
    events().waitFor(kStateEvent, 0x303);
    EXPECT_EQ(hex(canon().socket().receiveSome(1, std::chrono::milliseconds(0))), "")
        << "the call still runs";
    canon().expectHeader(16);
    canon().receiveInt();
}

}  // namespace
}  // namespace e2e
