// The callback socket: who is registered, who hears, and what a dead one does to the helper.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

class CallbackRegistration : public CanonTest {
protected:
    /** Something that the host hears of: a state event that changes nothing. */
    void raise(int parameter) {
        lab().must({{"cmd", "event"},
                    {"id", "canon-1"},
                    {"kind", "state"},
                    {"event", 0x304},
                    {"parameter", parameter}});
    }
};

TEST_F(CallbackRegistration, is_told_with_the_socket_that_was_taken) {
    start();
    CallbackStream stream(helper());
    const std::string text = helper().err().text();
    static constexpr std::string_view kHead = "Server Thread CREATED, socket ";
    const int socket = std::atoi(text.c_str() + text.rfind(kHead) + kHead.size());
    helper().waitForErr("Server Thread CREATED, socket " + std::to_string(socket) + ", module 8\n");
    helper().waitForErr("setCallbackSocket(" + std::to_string(socket) + ")\n");
    stream.socket().expectSilence();
}

TEST_F(CallbackRegistration, brings_events_to_the_host) {
    const int32_t handle = startSession();
    CallbackStream stream(helper());
    raise(5);
    const Event event = stream.waitFor(kStateEvent, 0x304);
    EXPECT_EQ(event.handle(), handle);
    EXPECT_EQ(event.last(), 5);
}

TEST_F(CallbackRegistration, is_not_asked_for_between_calls) {
    startSession();
    CallbackStream stream(helper());
    canon().socket().send(Message().byte(8).byte(10).byte(18));
    EXPECT_EQ(hex(canon().socket().receive(4)), "0a 12 0a 12");
    raise(5);
    EXPECT_EQ(stream.waitFor(kStateEvent, 0x304).last(), 5);
    canon().socket().expectSilence();
}

TEST_F(CallbackRegistration, of_a_second_socket_takes_the_events_from_the_first) {
    startSession();
    CallbackStream first(helper());
    raise(1);
    first.waitFor(kStateEvent, 0x304);
    CallbackStream second(helper());
    raise(2);
    EXPECT_EQ(second.waitFor(kStateEvent, 0x304).last(), 2);
    // Replaced, but neither closed nor told.
    first.socket().expectSilence();
}

TEST_F(CallbackRegistration, drops_events_before_it_and_does_not_keep_them) {
    startSession();
    raise(1);
    helper().waitForOut("CanonEds: handleStateEvent inEvent 0x304, inParam 0x1\n");
    // The line comes before the event is sent; the thread that sends it has ended when this is answered.
    EXPECT_EQ(canon().terminateSdk(), 0);
    CallbackStream stream(helper());
    stream.socket().expectSilence();
    openFirst();
    raise(2);
    EXPECT_EQ(stream.waitFor(kStateEvent, 0x304).last(), 2);
}

TEST_F(CallbackRegistration, of_a_host_that_has_gone_loses_its_events_and_harms_nothing) {
    const int32_t handle = startSession();
    {
        CallbackStream gone(helper());
        raise(1);
        gone.waitFor(kStateEvent, 0x304);
        gone.socket().abort();
    }
    for (int i = 0; i < 50; ++i) {
        raise(100 + i);
    }
    helper().waitForOut("inEvent 0x304, inParam 0x95\n");
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 2);
    CallbackStream stream(helper());
    raise(7);
    EXPECT_EQ(stream.waitFor(kStateEvent, 0x304).last(), 7);
}

TEST_F(CallbackRegistration, ignores_what_the_host_sends_on_it) {
    startSession();
    CallbackStream stream(helper());
    stream.socket().send(Message().byte(10).byte(19).int32(0).byte(66).byte(0));
    raise(3);
    // An answer among the events would not be a message.
    EXPECT_EQ(stream.waitFor(kStateEvent, 0x304).last(), 3);
    expectServing();
}

TEST_F(CallbackRegistration, keeps_messages_whole_when_several_threads_send) {
    constexpr int kRaised = 400;
    const int32_t handle =
        startSession(usualCamera({{"shots", shotOf({madeUpFile("IMG_0001.JPG", 2000000)})},
                                  {"transferBytesPerSecond", kSanitized ? 2000000 : 4000000}}));
    const std::vector<int32_t> items = shoot(handle, picturePath("frame"));
    ASSERT_EQ(items.size(), 1u);
    // Progress comes from the connection's thread, state events from the library's.
    canon().send(27, Message().int32(handle).int32(items[0]));
    for (int i = 0; i < kRaised; ++i) {
        raise(i);
    }
    canon().expectHeader(27);
    canon().expectHeader(27);
    EXPECT_EQ(canon().receiveInt(), 0);
    events().waitFor([](const Event& e) { return e.kind == kStateEvent && e.last() == kRaised - 1; },
                     "last state event");
    events().collectUntilSilent();
    // The stream has checked every module byte, marker and kind; the order of each sender must hold too.
    int32_t expected = 0;
    for (const Event& event : events().seen()) {
        EXPECT_EQ(event.handle(), handle);
        if (event.kind == kStateEvent && event.what() == 0x304) {
            EXPECT_EQ(event.last(), expected++);
        }
    }
    EXPECT_EQ(expected, kRaised);
    const std::vector<int32_t> progress = events().progress();
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_EQ(progress.back(), 100);
}

}  // namespace
}  // namespace e2e
