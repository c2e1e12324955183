/* LabClient.h: commands to the camera lab of a helper on the simulated set.
 *
 * Thread: one command at a time.
 * Owns:   the socket.
 * Errors: Result.h. What the lab answers is handed on as it came, refusals too.
 */
#pragma once

#include <chrono>
#include <string>

#include "host/client/Descriptor.h"
#include "host/client/Result.h"

namespace tarvo {

class LabClient {
public:
    Error open(const std::string& path, std::chrono::milliseconds limit);
    /** Sends one JSON object (any line breaks in it become blanks) and answers the lab's line. */
    Result<std::string> command(const std::string& json, std::chrono::milliseconds limit);

private:
    Descriptor socket_;
    std::string received_;  // bytes after the last line taken
};

}  // namespace tarvo
