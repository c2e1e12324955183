/* Transfer.h: a picture on its way from a camera into a stream.
 *
 * The picture goes in steps, at the pace of the camera's cable. Between steps the camera is asked whether it
 * is still there, and the caller is told how far it is and may call it off.
 *
 * Thread: the caller's. No lock is held while bytes move, while the cable is waited for, or in the callback.
 * Errors: the vendor's; a transfer that did not come to its end can be begun again from where it began.
 */
#pragma once

#include <chrono>

#include "EDSDK.h"
#include "frameworks/EDSDK/simulated/Objects.h"
#include "frameworks/EDSDK/simulated/Streams.h"

namespace sim {

/** Moves the next `size` bytes of the picture. */
EdsError transfer(const DirectoryItem& item, EdsUInt64 size, Stream& stream);

/** Tells a stream's callback how far a transfer is. */
class Reporter {
public:
    explicit Reporter(const Progress& progress) : progress_(progress) {}

    /** Tells the percentage when it is time to: every tenth of the way, more often when it goes slowly. False
     *  when the transfer is called off. */
    bool reached(uint64_t done, uint64_t total);
    /** The last word: all of it. */
    void finished();

private:
    bool tell(EdsUInt32 percent);

    const Progress progress_;
    EdsUInt32 last_ = 0;
    std::chrono::steady_clock::time_point lastAt_ = std::chrono::steady_clock::now();
};

}  // namespace sim
