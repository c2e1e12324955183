/* sleepUntil.h: the wait for the moment at which the host wants the shutter released. */
#pragma once

#include <cstdint>

/** How a wait went, which is told in the log when this goes: after the shutter. Whoever reads the log has to
 * be woken for it, which takes half as long as everything else between the deadline and the camera.
 */
class [[nodiscard]] WaitReport {
public:
    enum class Outcome { noClock, slept, tooFarAhead, past };

    WaitReport(Outcome outcome, int64_t deadline, uint32_t now)
        : outcome_(outcome), deadline_(deadline), now_(now) {}
    ~WaitReport();
    WaitReport(const WaitReport&) = delete;
    WaitReport& operator=(const WaitReport&) = delete;

private:
    Outcome outcome_;
    int64_t deadline_;  // as the host sent it
    uint32_t now_;      // when the wait began
};

/** Waits on the calling thread until a moment of the wall clock, in microseconds since 1970.
 *
 * Only the low 32 bits of the deadline count and are compared with the clock's low 32 bits: hosts send
 * them so. A deadline 5 s or more ahead, or in the past, is not waited for. The thread's priority is the
 * highest it may have during the wait and what it was before afterwards.
 */
WaitReport sleepUntil(int64_t deadline);
