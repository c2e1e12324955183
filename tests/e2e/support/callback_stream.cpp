#include "tests/e2e/support/callback_stream.h"

#include <gtest/gtest.h>

namespace e2e {

namespace {

constexpr int kCanon = 10;
constexpr int kNikon = 20;
constexpr int kVideo = 40;

struct Shape {
    int module;
    int kind;
    size_t payloadInts;
};

constexpr Shape kShapes[] = {
    {kCanon, kObjectEvent, 3},   {kCanon, kPropertyEvent, 4}, {kCanon, kStateEvent, 3},
    {kCanon, kProgressEvent, 2}, {kNikon, kStateEvent, 1},    {kNikon, kProgressEvent, 1},
    {kVideo, kStateEvent, 1},    {kVideo, kProgressEvent, 1},
};

/** 0 for what no module sends. */
size_t payloadInts(int module, int kind) {
    for (const Shape& shape : kShapes) {
        if (shape.module == module && shape.kind == kind) return shape.payloadInts;
    }
    return 0;
}

}  // namespace

std::string describe(const Event& event) {
    std::string text = "kind " + std::to_string(event.kind) + ":";
    for (const int32_t value : event.values) {
        text += ' ' + std::to_string(value);
    }
    return text;
}

CallbackStream::CallbackStream(HelperProcess& helper) {
    const size_t before = helper.err().count("setCallbackSocket(");
    if (!socket_.connect(helper.port())) return;
    socket_.send(Message().byte(8));
    helper.waitForErr("setCallbackSocket(", before + 1);
}

std::optional<Event> CallbackStream::next(std::chrono::milliseconds patience) {
    const Bytes first = socket_.isOpen() ? socket_.receiveSome(1, patience) : Bytes{};
    if (first.empty()) return std::nullopt;
    Reader head(Message().raw(first).raw(socket_.receive(5)));
    Event event;
    event.module = head.byte();
    EXPECT_EQ(head.int32(), 0x112233) << "marker";
    event.kind = head.byte();
    const size_t ints = payloadInts(event.module, event.kind);
    if (ints == 0) {
        ADD_FAILURE() << "module " << event.module << " has no such kind of event: " << event.kind;
        socket_.close();
        return std::nullopt;
    }
    Reader payload(socket_.receive(4 * ints));
    for (size_t i = 0; i < ints; ++i) {
        event.values.push_back(payload.int32());
    }
    seen_.push_back(event);
    return event;
}

Event CallbackStream::waitFor(const std::function<bool(const Event&)>& fits, const std::string& description) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        const std::optional<Event> event = next(std::max(left, std::chrono::milliseconds(0)));
        if (!event) break;
        if (fits(*event)) return *event;
    }
    std::string heard;
    for (const Event& event : seen_) {
        heard += "\n  " + describe(event);
    }
    ADD_FAILURE() << "no " << description << " came, but:" << heard;
    return {};
}

Event CallbackStream::waitFor(int kind, int32_t what) {
    return waitFor([&](const Event& event) { return event.kind == kind && event.what() == what; },
                   "event of kind " + std::to_string(kind) + " with " + std::to_string(what));
}

std::vector<int32_t> CallbackStream::progress() const {
    std::vector<int32_t> percentages;
    for (const Event& event : seen_) {
        if (event.kind == kProgressEvent)
            percentages.push_back(event.module == kCanon ? event.what() : event.last());
    }
    return percentages;
}

void CallbackStream::collectUntilSilent(std::chrono::milliseconds silence) {
    while (next(silence)) {
    }
}

}  // namespace e2e
