/* Daemon.h: a connection to PipeWire's daemon on which nothing is ever said.
 *
 * GStreamer's provider does not tell when the daemon ends: it shows what was there for ever, and nothing of a
 * daemon that comes later. The end of this connection is the daemon's. Connecting alone also tells whether
 * there is one, without the threads that GStreamer would start to find out.
 *
 * Thread: any.
 * Owns:   its descriptor.
 * Follows: PipeWire's rules for where its socket is (PIPEWIRE_REMOTE, PIPEWIRE_RUNTIME_DIR, XDG_RUNTIME_DIR).
 */
#pragma once

#include <string>
#include <vector>

namespace capture {

class Daemon {
public:
    /** Connects, without waiting. */
    Daemon();
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    bool isThere() const { return descriptor_ >= 0; }
    /** Until the daemon has ended. */
    void awaitEnd() const;

    /** Where its socket may be, the likeliest first. */
    static std::vector<std::string> socketPaths();

private:
    int descriptor_ = -1;
};

}  // namespace capture
