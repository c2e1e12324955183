/* Painter.h: what a device shows: the pattern, or pictures; and the noise over it.
 *
 * Thread: one at a time.
 * Units:  frames are numbered from 0.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "frameworks/QTKit/simulated/Frames.h"

namespace capture {

class Painter {
public:
    virtual ~Painter() = default;
    /** Paints that frame's pixels; false when it cannot be shown. */
    virtual bool paint(uint64_t number, Frame& frame) = 0;
};

/** May throw std::bad_alloc, as painting may. */
std::unique_ptr<Painter> makePainter(const lab::video::CameraSetup& setup, const Format& format);

/** Makes colours stray by up to `amplitude` to either side, differently in each frame; the same on every
 *  machine. Alpha stays. */
class Noise {
public:
    explicit Noise(int amplitude);
    void add(uint64_t number, Frame& frame) const;

private:
    std::vector<int16_t> offsets_;  // empty: none
};

}  // namespace capture
