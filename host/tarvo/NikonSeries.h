/* NikonSeries.h: shots with a Nikon camera, and the pictures that are taken at the camera itself.
 *
 * The helper's capture call stores all files of a shot before it answers; how many there were only the files
 * tell. A picture that could not be stored stays on the camera and would be the first to come with the next
 * shot, under that one's name: what waits on the camera is fetched before each shot and stored as extra.
 *
 * Thread: main, which is also the only one to take events from the stream.
 * Errors: prints complaints and answers exit statuses, as CameraAccess.h.
 */
#pragma once

#include <atomic>

#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/FrameFiles.h"

namespace tarvo {

class NikonSeries {
public:
    /** `number` tells other threads which frame is under way. */
    NikonSeries(CameraAccess& access, FrameFiles& files, const ShootOptions& options,
                std::atomic<int>& number)
        : access_(access), files_(files), options_(options), number_(number) {}

    /** `firstMoment` 0: at once. */
    int run(int firstNumber, int64_t firstMoment);

private:
    int takeShot(int64_t deadline);
    int collectExtra();
    int collectLate();
    int publish(const std::string& suffix, int& count);
    int waitUntil(int64_t wallClock);
    bool hasGone();
    std::chrono::milliseconds limit() const;

    CameraAccess& access_;
    FrameFiles& files_;
    const ShootOptions& options_;
    std::atomic<int>& number_;
    bool hasGone_ = false;
};

/** A Nikon camera reported that it was unplugged or switched off. */
bool tellsNikonGone(const Event& event);

}  // namespace tarvo
