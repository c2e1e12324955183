/* VideoClass.h: which video nodes the kernel has, for machines where nobody announces them.
 *
 * GStreamer's monitor hears of webcams that come and go from udev. In containers and other small systems
 * there is none, and the monitor has to look around again.
 *
 * Thread: one at a time.
 */
#pragma once

#include <set>
#include <string>

namespace capture {

class VideoClass {
public:
    /** What is there now is known. */
    void update();
    /** Whether something came, since the last question or update, of which udev does not tell. */
    bool hasUnannounced();

private:
    std::set<std::string> known_;
};

}  // namespace capture
