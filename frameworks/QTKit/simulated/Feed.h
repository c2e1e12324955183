/* Feed.h: the frames of one device for one output: their size, their memory, what is on them.
 *
 * Thread: one at a time, the stream's.
 * Owns:   a reference on the output.
 */
#pragma once

#include <memory>

#include "frameworks/QTKit/simulated/Frames.h"
#include "frameworks/QTKit/simulated/Output.h"
#include "frameworks/QTKit/simulated/Painter.h"

namespace capture {

/** What the device delivers when it is asked for that: the nearest of the sizes that it has, or any that is
 *  no larger than frames can be; its own size when nothing, or nothing possible, is asked for. */
Format formatFor(const lab::video::CameraSetup& setup, const PixelBufferAttributes& attributes);

class Feed {
public:
    /** May throw std::bad_alloc. */
    Feed(Output& output, const lab::video::CameraSetup& setup, const PixelBufferAttributes& attributes);

    Output& output() const { return *output_; }
    /** The frame of that number, lent until the next call; null when there is no memory for it, or it cannot
     *  be shown. */
    Frame* paint(uint64_t number);

private:
    const Ref<Output> output_;
    FramePool pool_;
    const std::unique_ptr<Painter> painter_;
    const Noise noise_;
};

}  // namespace capture
