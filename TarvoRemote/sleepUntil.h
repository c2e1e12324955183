/* sleepUntil.h: the wait for the moment at which the host wants the shutter released. */
#pragma once

#include <cstdint>

/** Waits on the calling thread until a moment of the wall clock, in microseconds since 1970.
 *
 * Only the low 32 bits of the deadline count and are compared with the clock's low 32 bits: hosts send
 * them so. A deadline 5 s or more ahead, or in the past, is not waited for. The thread's priority is the
 * highest it may have during the wait and what it was before afterwards.
 */
void sleepUntil(int64_t deadline);
