/* CallbackStream.h: what cameras report by themselves, as a queue of events.
 *
 * The helper has one callback connection: the newest one that a host opens. An older one stays open and falls
 * silent, with no word of it; so two hosts at one helper take each other's events away. Events that happen
 * while no connection is registered are lost. Registration is not answered: open this stream before the
 * connection that carries the calls, then everything that those calls cause is heard.
 *
 * One shot makes one kObjectEventRequestTransfer event a file (a RAW+JPEG pair: two, in no promised order),
 * and every one of them must be downloaded: the camera keeps what is not, and the helper its reference to it.
 *
 * Thread: open and close by one thread; next, tryNext and the rest by any. The listener runs on the stream's
 * own thread, in the order of arrival, before the event can be taken from the queue; it must not call back.
 * Owns:   the socket and the thread.
 * Errors: Result.h. The stream cannot find its place again after an unknown module or a wrong marker, because
 * no message tells its length: it ends with wrongAnswer, after the events that came before.
 */
#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <variant>

#include "host/client/Descriptor.h"
#include "host/client/Result.h"
#include "host/client/Socket.h"

namespace tarvo {

struct ObjectEvent {
    int32_t handle = 0;
    int32_t event = 0;
    int32_t object = 0;  // for kObjectEventRequestTransfer: what download() takes
};

struct PropertyEvent {
    int32_t handle = 0;
    int32_t event = 0;
    int32_t property = 0;
    int32_t parameter = 0;
};

struct StateEvent {
    int32_t handle = 0;
    int32_t event = 0;
    int32_t parameter = 0;
};

/** Of a Canon capture: 100 comes only when the last file of the shot is stored; of a pair, the first file
 * makes 0 to 50 and the second 50 to 100. A failed file may leave it short of 100. */
struct ProgressEvent {
    uint8_t module = 0;
    int32_t handle = 0;  // 0 for modules that do not tell
    int32_t percent = 0;
};

/** The one number that Nikon and video cameras send as their state. */
struct StatusEvent {
    uint8_t module = 0;
    int32_t value = 0;
};

using Event = std::variant<ObjectEvent, PropertyEvent, StateEvent, ProgressEvent, StatusEvent>;

class CallbackStream {
public:
    using Listener = std::function<void(const Event& event)>;

    CallbackStream() = default;
    CallbackStream(const CallbackStream&) = delete;
    CallbackStream& operator=(const CallbackStream&) = delete;
    ~CallbackStream() { close(); }

    /** Registers with the helper and starts the thread. The listener may be empty. Timeout: the helper does
     * not serve the connection. */
    Error open(uint16_t port, std::chrono::milliseconds limit, Listener listener = {});
    /** Ends the thread; events that are already queued can still be taken. */
    void close();

    /** The next event; timeout when none comes, the stream's ending once it has ended and the queue is empty,
     *  interrupted once interruptFd (-1: none) is readable. */
    Result<Event> next(std::chrono::milliseconds limit, int interruptFd = -1);
    /** True and the next event, if one is there. */
    bool tryNext(Event& event);
    /** When the event that was taken last arrived, in microseconds of the wall clock. */
    int64_t arrivalTime() const;

    /** Why the stream ended; no failure while it runs, and after close(). */
    Error ending() const;
    /** When the newest message came, as Patience::activity wants it. */
    const std::atomic<int64_t>& activity() const { return activity_; }

private:
    void run(const Listener& listener);
    Result<Event> receiveEvent();
    void finish(Error ending);

    Descriptor socket_;
    Descriptor stop_;    // eventfd: readable once close() wants the thread to end
    Descriptor signal_;  // eventfd: readable while there is something to take
    std::thread thread_;
    std::atomic<int64_t> activity_{0};

    mutable std::mutex mutex_;  // guards what follows; nothing is called while it is held
    struct Arrived {
        Event event;
        int64_t time;
    };
    std::deque<Arrived> queue_;
    int64_t arrivalTime_ = 0;
    bool hasEnded_ = true;
    Error ending_;
};

}  // namespace tarvo
