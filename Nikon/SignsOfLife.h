/* SignsOfLife.h: how much a camera module has told lately.
 *
 * A wait for a picture must not give up on a module that is still at work. Everything that a module reports
 * by itself (an event, progress, a block of data) counts as a sign; that it lets itself be polled does not.
 *
 * Thread: any; a module reports on the thread that polls it, so each thread has a count of its own.
 */
#pragma once

#include <cstdint>

namespace nikon {

inline thread_local uint64_t signsOfLifeOfThread = 0;

inline void noteSignOfLife() {
    ++signsOfLifeOfThread;
}

inline uint64_t signsOfLife() {
    return signsOfLifeOfThread;
}

}  // namespace nikon
