/* SignsOfLife.h: how much a camera module has told lately.
 *
 * A wait for a picture must not give up on a module that is still at work. Everything that a module reports
 * by itself (an event, progress, a block of data) counts as a sign; that it lets itself be polled does not,
 * nor does it that a value has changed.
 *
 * Thread: any; a module reports on the thread that polls it, so each thread has a count of its own.
 */
#pragma once

#include <chrono>
#include <cstdint>

namespace nikon {

inline thread_local uint64_t signsOfLifeOfThread = 0;

inline void noteSignOfLife() {
    ++signsOfLifeOfThread;
}

inline uint64_t signsOfLife() {
    return signsOfLifeOfThread;
}

/** Half a minute is several times what a body takes to write a shot to its card: whoever has given no sign
 *  for so long has nothing to deliver. */
constexpr std::chrono::seconds kLongestSilence{30};

/** Looked at again and again during a wait. */
class SilenceWatch {
public:
    using Time = std::chrono::steady_clock::time_point;

    SilenceWatch(Time now, uint64_t signs) : latest_(now), signs_(signs) {}

    /** Whether there was no sign for kLongestSilence. */
    bool isOver(Time now, uint64_t signs) {
        if (signs != signs_) {
            signs_ = signs;
            latest_ = now;
        }
        return now - latest_ >= kLongestSilence;
    }

private:
    Time latest_;
    uint64_t signs_;
};

}  // namespace nikon
