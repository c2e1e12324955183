/* FrameSource.h: live view of an opened camera, whichever family it is of.
 *
 * Thread: main.
 * Owns:   the live view that start() has switched on; the destructor switches it off again.
 * Errors: start and zoom print their complaints and answer exit statuses.
 */
#pragma once

#include <cstdint>
#include <vector>

#include "host/client/CallbackStream.h"
#include "host/client/Result.h"

namespace tarvo {

class FrameSource {
public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;

    virtual int start() = 0;
    /** Enlarges; the position is two fractions of the picture, or empty. After start(). */
    virtual int zoom(const std::vector<float>& position) = 0;
    /** The newest picture; empty: none yet. */
    virtual Result<std::vector<uint8_t>> frame() = 0;
    /** The event says that the camera has gone. */
    virtual bool tellsGone(const Event& event) = 0;
};

}  // namespace tarvo
