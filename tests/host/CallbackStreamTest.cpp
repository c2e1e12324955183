#include "host/client/CallbackStream.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <future>

#include "tests/host/FakeHelper.h"

namespace {

using namespace std::chrono_literals;
using fake::Bytes;
using tarvo::CallbackStream;
using tarvo::Event;
using tarvo::Failure;

constexpr auto kPatient = 20s;
const Bytes kMarker{0x33, 0x22, 0x11, 0x00};

Bytes message(uint8_t module, uint8_t kind, const std::vector<int32_t>& ints) {
    Bytes bytes = fake::join({{module}, kMarker, {kind}});
    for (const int32_t value : ints)
        bytes = fake::join({bytes, fake::intBytes(value)});
    return bytes;
}

// A helper that takes the registration, sends these bytes and stays, or closes.
fake::FakeHelper::Script sender(Bytes bytes, bool closes = false) {
    return [=](fake::Peer& peer) {
        if (peer.read(1) != Bytes{8}) return;
        peer.trickle(bytes);
        if (!closes) peer.waitForClose();
    };
}

TEST(CallbackStream, TurnsEveryMessageIntoItsEvent) {
    fake::FakeHelper helper(sender(fake::join({
        message(10, 1, {-5, 0x208, -77}),
        message(10, 2, {-5, 0x101, 0x406, 3}),
        message(10, 3, {-5, 0x305, 9}),
        message(10, 4, {-5, 49}),
        message(20, 3, {12}),
        message(20, 4, {50}),
        message(40, 3, {1203}),
        message(40, 4, {99}),
    })));
    CallbackStream stream;
    ASSERT_FALSE(stream.open(helper.port(), kPatient));
    std::vector<Event> events;
    for (int i = 0; i < 8; ++i) {
        auto event = stream.next(kPatient);
        ASSERT_TRUE(event.ok()) << event.error.text;
        events.push_back(event.value);
    }
    const auto object = std::get<tarvo::ObjectEvent>(events[0]);
    EXPECT_EQ(object.handle, -5);
    EXPECT_EQ(object.event, 0x208);
    EXPECT_EQ(object.object, -77);
    const auto property = std::get<tarvo::PropertyEvent>(events[1]);
    EXPECT_EQ(property.handle, -5);
    EXPECT_EQ(property.event, 0x101);
    EXPECT_EQ(property.property, 0x406);
    EXPECT_EQ(property.parameter, 3);
    const auto state = std::get<tarvo::StateEvent>(events[2]);
    EXPECT_EQ(state.handle, -5);
    EXPECT_EQ(state.event, 0x305);
    EXPECT_EQ(state.parameter, 9);
    const auto progress = std::get<tarvo::ProgressEvent>(events[3]);
    EXPECT_EQ(progress.module, 10);
    EXPECT_EQ(progress.handle, -5);
    EXPECT_EQ(progress.percent, 49);
    EXPECT_EQ(std::get<tarvo::StatusEvent>(events[4]).module, 20);
    EXPECT_EQ(std::get<tarvo::StatusEvent>(events[4]).value, 12);
    EXPECT_EQ(std::get<tarvo::ProgressEvent>(events[5]).module, 20);
    EXPECT_EQ(std::get<tarvo::ProgressEvent>(events[5]).percent, 50);
    EXPECT_EQ(std::get<tarvo::StatusEvent>(events[6]).value, 1203);
    EXPECT_EQ(std::get<tarvo::ProgressEvent>(events[7]).percent, 99);
}

struct BrokenCase {
    const char* name;
    Bytes bytes;
    const char* text;
};

TEST(CallbackStream, EndsWithAClearErrorWhereItCannotUnderstand) {
    const std::vector<BrokenCase> cases{
        {"unknown module", message(77, 1, {1, 2, 3}), "unknown module 77"},
        {"a module without events", message(30, 1, {1, 2, 3}), "unknown module 30"},
        {"no marker", {10, 1, 2, 3, 4, 1}, "without its marker"},
        {"unknown kind", message(10, 5, {1}), "unknown kind 5"},
        {"a kind that this module does not send", message(20, 1, {1}), "unknown kind 1 from module 20"},
    };
    for (const auto& broken : cases) {
        SCOPED_TRACE(broken.name);
        fake::FakeHelper helper(sender(fake::join({message(10, 4, {1, 50}), broken.bytes})));
        CallbackStream stream;
        ASSERT_FALSE(stream.open(helper.port(), kPatient));
        EXPECT_TRUE(stream.next(kPatient).ok()) << "what came before is still an event";
        const auto end = stream.next(kPatient);
        EXPECT_EQ(end.error.failure, Failure::wrongAnswer);
        EXPECT_NE(end.error.text.find(broken.text), std::string::npos) << end.error.text;
        EXPECT_EQ(stream.ending().text, end.error.text);
    }
}

TEST(CallbackStream, EndsWhereverTheHelperGoesAway) {
    const Bytes whole = message(10, 2, {1, 2, 3, 4});
    for (size_t length = 0; length < whole.size(); ++length) {
        fake::FakeHelper helper(
            sender(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)), true));
        CallbackStream stream;
        ASSERT_FALSE(stream.open(helper.port(), kPatient));
        EXPECT_EQ(stream.next(kPatient).error.failure, Failure::connectionLost) << "after " << length;
    }
}

TEST(CallbackStream, IsNotOpenBeforeTheHelperHasTakenItsRegistration) {
    std::atomic<bool> isTaken{false};
    fake::FakeHelper helper([&](fake::Peer& peer) {
        std::this_thread::sleep_for(100ms);  // a busy machine
        isTaken = true;
        peer.read(1);
        peer.waitForClose();
    });
    CallbackStream stream;
    ASSERT_FALSE(stream.open(helper.port(), kPatient));
    EXPECT_TRUE(isTaken);

    std::promise<void> end;
    fake::FakeHelper deaf([&](fake::Peer&) { end.get_future().wait(); });
    CallbackStream unheard;
    EXPECT_EQ(unheard.open(deaf.port(), 50ms).failure, Failure::timeout);
    end.set_value();
}

TEST(CallbackStream, WaitsNoLongerThanAsked) {
    fake::FakeHelper helper(sender({}));
    CallbackStream stream;
    ASSERT_FALSE(stream.open(helper.port(), kPatient));
    EXPECT_EQ(stream.next(20ms).error.failure, Failure::timeout);
    const tarvo::Descriptor interrupt{::eventfd(1, EFD_CLOEXEC)};
    EXPECT_EQ(stream.next(kPatient, interrupt.get()).error.failure, Failure::interrupted);
}

TEST(CallbackStream, KeepsWhatCameWhenItIsClosed) {
    fake::FakeHelper helper(sender(message(10, 4, {1, 50})));
    CallbackStream stream;
    std::promise<void> heard;
    ASSERT_FALSE(stream.open(helper.port(), kPatient, [&](const Event&) { heard.set_value(); }));
    ASSERT_EQ(heard.get_future().wait_for(kPatient), std::future_status::ready);
    stream.close();
    EXPECT_FALSE(stream.ending()) << "closing is no failure";
    EXPECT_TRUE(stream.next(0ms).ok());
    EXPECT_EQ(stream.next(kPatient).error.failure, Failure::connectionLost);
}

TEST(CallbackStream, TellsItsListenerInOrder) {
    fake::FakeHelper helper(
        sender(fake::join({message(10, 4, {1, 10}), message(10, 4, {1, 20}), message(10, 4, {1, 30})})));
    std::vector<int32_t> heard;
    CallbackStream stream;
    ASSERT_FALSE(stream.open(helper.port(), kPatient, [&](const Event& event) {
        heard.push_back(std::get<tarvo::ProgressEvent>(event).percent);
    }));
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(stream.next(kPatient).ok());
    EXPECT_NE(stream.activity().load(), 0);
    stream.close();
    EXPECT_EQ(heard, (std::vector<int32_t>{10, 20, 30}));
}

}  // namespace
