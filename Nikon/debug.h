/* debug.h: the Nikon unit's log.
 *
 * Thread: any; lines of threads that log at the same moment may interleave.
 * Errors: never reported.
 */
#pragma once

namespace nikon {

/** To standard output with the tag "NikonMaid", flushed. A message carries its newline where it wants one. */
void debug(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace nikon
