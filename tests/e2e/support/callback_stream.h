/* callback_stream.h: the socket on which a host hears of events.
 *
 * Thread: one thread at a time.
 * Owns:   its connection.
 * Errors: bytes that are no message, and messages that do not come, fail the test.
 * Follows: docs/protocol.md, callback messages.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/raw_socket.h"

namespace e2e {

enum EventKind { kObjectEvent = 1, kPropertyEvent = 2, kStateEvent = 3, kProgressEvent = 4 };

struct Event {
    int kind = 0;
    std::vector<int32_t> values;
    /** 10 for Canon, 20 for Nikon. */
    int module = 0;

    int32_t handle() const { return values.empty() ? 0 : values[0]; }
    /** The event's id, or the percentage of a progress message. */
    int32_t what() const { return values.size() < 2 ? 0 : values[1]; }
    int32_t last() const { return values.empty() ? 0 : values.back(); }
};

std::string describe(const Event& event);

class CallbackStream {
public:
    /** Registers and waits until the helper says so. */
    explicit CallbackStream(HelperProcess& helper);

    RawClient& socket() { return socket_; }
    /** The next message; nothing, and no failure, when none comes in time. */
    std::optional<Event> next(std::chrono::milliseconds patience = kPatience);
    /** Skips to the first message that fits; a failure when none comes. */
    Event waitFor(int kind, int32_t what);
    Event waitFor(const std::function<bool(const Event&)>& fits, const std::string& description);
    /** Everything read so far, skipped messages included, oldest first. */
    const std::vector<Event>& seen() const { return seen_; }
    void forget() { seen_.clear(); }
    /** The percentages of the progress messages seen so far. */
    std::vector<int32_t> progress() const;
    /** Reads what comes until it is silent for a moment. */
    void collectUntilSilent(std::chrono::milliseconds silence = kSilence);

private:
    RawClient socket_;
    std::vector<Event> seen_;
};

}  // namespace e2e
