/* WebcamFrames.h: the frames of a selected webcam one after the other, stills and averages, until it is gone.
 *
 * The helper hands out the newest frame as often as it is asked, without a number: what looks the same as the
 * frame before is taken for that frame, for half a second; a scene that stands still longer than that gives
 * the same frame again. An event tells that a webcam was unplugged, but not which: the list of webcams and
 * the frames that still come tell whether it is this one.
 *
 * Thread: main. An average runs on a thread of its own while main waits for what the webcam reports.
 * Owns:   nothing; it borrows the webcam and the events.
 * Errors: each step prints its complaint and answers an exit status; kExitInterrupted without one.
 */
#pragma once

#include <string>

#include "host/client/CallbackStream.h"
#include "host/client/VideoClient.h"
#include "host/tarvo/WebcamAccess.h"

namespace tarvo {

struct FrameSize {
    int32_t width = 0;  // 0: as the webcam delivers them
    int32_t height = 0;
};

class WebcamFrames {
public:
    WebcamFrames(WebcamSession& webcam, CallbackStream& events) : webcam_(webcam), events_(events) {}

    /** Waits until frames come, and come in this size. */
    int start(const FrameSize& size);
    /** The next frame. */
    int next(VideoFrame& frame);
    /** One frame that comes after the call, or the mean of several, with a bar. */
    int capture(int32_t frames, VideoFrame& picture);

private:
    int wait(VideoFrame& frame);
    /** Takes what was reported; kExitFailed: the webcam is gone. */
    int takeEvents();
    /** True: the webcam is gone. Call it with each event, and now and then without one. */
    bool isLost(const Event* event);
    int complainOfLoss() const;
    int takeAverage(int32_t frames, VideoFrame& picture);
    int settleDoubt();

    WebcamSession& webcam_;
    CallbackStream& events_;
    VideoFrame last_;
    int taken_ = 0;   // frames that next() has answered
    int doubts_ = 0;  // so many new frames must come before it is clear that the webcam is still there
};

}  // namespace tarvo
