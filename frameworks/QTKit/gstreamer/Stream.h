/* Stream.h: the frames of one device on their way to the output of a running session.
 *
 * A stream lasts from one start of its session to the next stop. It keeps the newest frame only: what the
 * delegate had no time for is out of date. A device that says nothing any more is given up after a while,
 * since drivers and GStreamer may stay silent for ever when a webcam has stopped working.
 *
 * Thread: frames are delivered, and errors told, on the stream's own thread; frames and failures come in on
 *         threads of the toolkit; cancel() from any, which waits neither for the device nor for a delivery.
 * Owns:   references on the input and the output, none on the session. Its thread and the toolkit's share in
 *         it.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "frameworks/QTKit/gstreamer/Input.h"
#include "frameworks/QTKit/gstreamer/Output.h"

namespace capture {

class Session;

/** How long things may take. */
struct Patience {
    /// From the start to the first frame. Webcams take up to three seconds, a USB bus that wakes up some
    /// more.
    std::chrono::milliseconds firstFrame{10000};
    /// Between two frames. In the dark webcams go down to one frame or two a second.
    std::chrono::milliseconds nextFrame{5000};
    /// For a stream that was stopped to let go of the device.
    std::chrono::milliseconds seat{5000};
};

/** What streams go by that are made from now on; for tests, that change it while there are none. */
Patience& patience();

class Stream final : public StreamListener, public std::enable_shared_from_this<Stream> {
public:
    Stream(Session& session, Input& input, Output& output);
    ~Stream() override;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /** Once. Throws std::system_error when there is no thread to be had. */
    void start();
    /** When it returns, no further delivery begins, and the session is not touched any more. */
    void cancel();

    void frameArrived(Ref<CVImageBuffer> frame) override;
    void streamFailed(const Failure& failure) override;
    void streamEnded() override;

private:
    using Clock = std::chrono::steady_clock;

    void run();
    Failure streamFrames();
    Failure openSource();
    std::optional<Failure> wait(Ref<CVImageBuffer>& frame);
    void deliver(CVImageBuffer& frame);
    void tell(const Failure& failure);
    Ref<Session> giveUp();

    const Ref<Input> input_;
    const Ref<Output> output_;
    const std::optional<FrameSize> size_;
    const Patience patience_;
    Seat::Flag isCancelled_{false};  // written under mutex_; it has ended, or is about to

    std::mutex mutex_;  // the output's is taken inside of it
    std::condition_variable changed_;
    Session* session_;  // guarded by mutex_, as all below; null from cancel() on
    std::shared_ptr<Source> source_;
    Ref<CVImageBuffer> newest_;
    std::optional<Failure> failure_;
    Clock::time_point deadline_;
    bool hasFrames_ = false;
};

}  // namespace capture
