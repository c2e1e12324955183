/* private_pipewire.h: PipeWire for one test: a daemon and a session manager that know nothing of the
 * machine's devices, and webcams as programs of their own.
 *
 * Thread: one thread at a time.
 * Owns:   its folder and processes.
 * Follows: Debian 12's PipeWire 0.3.65 and WirePlumber 0.4.13, whose configuration is made of Lua scripts.
 */
#pragma once

#include <memory>
#include <string>

#include "tests/e2e/support/temp_folder.h"
#include "tests/pipewire/process.h"

namespace pw {

/** Why there is no PipeWire here; empty when there is. */
std::string whatIsMissing();

class PrivatePipeWire {
public:
    PrivatePipeWire();

    /** What programs need to find this one, and no other. */
    Environment environment() const;

    /** Until it can be connected to. */
    void startDaemon();
    Process& daemon() { return *daemon_; }
    /** With the daemon, as the manager ends by itself then. */
    void endDaemon(int signal);

    /** A webcam that shows GStreamer's bars, in these caps. (JPEG ends GStreamer's program now and then.) The
     * name has no blanks. Until the session manager knows it; null, and a failure, when it never does. */
    std::unique_ptr<Process> startWebcam(const std::string& name, const std::string& caps);

private:
    const e2e::TempFolder folder_;
    std::unique_ptr<Process> daemon_;
    std::unique_ptr<Process> manager_;
};

}  // namespace pw
