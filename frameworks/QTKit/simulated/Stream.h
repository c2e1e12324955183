/* Stream.h: the frames of one device on their way to the outputs of a running session.
 *
 * A stream lasts from one start of its session to the next stop. Frames come at the device's rate, by a
 * schedule that begins with the stream, so delays do not add up; a frame that could not be delivered in time
 * is not delivered late.
 *
 * Thread: frames are painted and delivered on the stream's own thread; cancel() from any, which waits neither
 *         for it nor for a delivery.
 * Owns:   references on the input and the outputs. Its thread shares in it.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "frameworks/QTKit/simulated/Feed.h"
#include "frameworks/QTKit/simulated/Input.h"

namespace capture {

class Stream : public std::enable_shared_from_this<Stream> {
public:
    Stream(Input& input, std::vector<std::unique_ptr<Feed>> feeds);
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /** Once. Throws std::system_error when there is no thread to be had. */
    void start();
    /** When it returns, no further delivery begins. */
    void cancel();

    const Device& device() const { return input_->ownDevice(); }

private:
    using Clock = std::chrono::steady_clock;

    /** When frames are due, at a rate that may change. */
    struct Schedule {
        double fps = 0;
        Clock::time_point start;
        uint64_t frames = 0;  // that were due since

        void setRate(double newFps, Clock::time_point now);
        Clock::time_point next() const;
        /** Passes over what is due by now; how many that were. */
        uint64_t advance(Clock::time_point now);
    };

    void run();
    bool wait(std::unique_lock<std::mutex>& lock, Schedule& schedule);
    void deliver();
    bool deliver(Feed& feed, uint64_t number, bool isCounted);

    const Ref<Input> input_;
    const std::vector<std::unique_ptr<Feed>> feeds_;
    const lab::video::CameraRef camera_;

    std::mutex mutex_;  // outputs' and the device's locks are taken inside of it
    std::condition_variable changed_;
    bool isCancelled_ = false;  // guarded by mutex_
};

}  // namespace capture
