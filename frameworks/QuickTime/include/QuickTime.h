/* QuickTime.h: the movie toolbox, as the helper calls it.
 *
 * Thread: main thread.
 * Errors: OSErr, 0 for success or a negative number of the toolbox.
 */
#pragma once

#include <cstdint>

#define QUICKTIME_EXPORT __attribute__((visibility("default")))

using OSErr = int16_t;

/** Initialises the movie toolbox. It may be called again and then changes nothing. */
extern "C" QUICKTIME_EXPORT OSErr EnterMovies();
