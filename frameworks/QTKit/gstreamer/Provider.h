/* Provider.h: one of GStreamer's providers of devices (V4L2's, PipeWire's, …), watched from the first
 * question on.
 *
 * Each is started on a thread of its own. PipeWire's waits for its daemon, for ever when that hangs; the
 * webcams of the others are there all the same. A daemon that has ended takes its webcams along, and the next
 * one is found by the next question.
 *
 * Thread: any.
 * Owns:   GStreamer's provider, for good: an object is never destroyed.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "frameworks/QTKit/gstreamer/Daemon.h"
#include "frameworks/QTKit/gstreamer/Gst.h"

namespace capture {

using Devices = std::vector<Held<GstDevice>>;

class Provider {
public:
    explicit Provider(GstDeviceProviderFactory* factory);
    ~Provider() = delete;
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;

    /** Unless it is under way, or its daemon is not there. Throws std::system_error. */
    void start();
    /** Until it has looked around, but no longer than that may take: false when it has not. */
    bool await();
    /** Appends its webcams. */
    void list(Devices& out);

private:
    enum class State { None, Starting, Running, Ending };

    void run(const Daemon* daemon);
    void enter(State state);
    void end();

    const Held<GstDeviceProvider> provider_;
    const bool isPipeWire_;

    std::mutex mutex_;
    std::condition_variable changed_;
    State state_ = State::None;  // guarded by mutex_, as below
    std::chrono::steady_clock::time_point limit_;
};

using Providers = std::vector<Provider*>;

/** All that may have webcams. */
const Providers& providers();

}  // namespace capture
