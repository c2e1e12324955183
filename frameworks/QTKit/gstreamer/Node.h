/* Node.h: a video node of V4L2, as the file system shows it.
 *
 * Thread: any; nothing of it changes.
 * Errors: failures as in Toolkit.h.
 */
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "frameworks/QTKit/gstreamer/Toolkit.h"

namespace capture {

class Node {
public:
    /** The one that is there now. */
    explicit Node(std::string path);

    const std::string& path() const { return path_; }
    /** For USB webcams location, vendor and product; for others a place in the machine that is no number. */
    std::string uniqueId() const;
    /** Whether libcamera means the same webcam by that name of its own: "…-2.1:1.0-046d:0825". */
    bool isCalled(const std::string& libcameraId) const;
    /** Whether there is no such node any more, or it is another device's by now. */
    bool isReplaced() const;
    /** As before; looks deeper, for where nodes outlive devices. */
    bool isGone() const;
    Failure reserve(bool isStreamingHere, std::unique_ptr<Reservation>& out) const;

private:
    std::string path_;
    std::string sysfsPath_;  // of the node's class entry
    std::optional<struct stat> identity_;
};

}  // namespace capture
