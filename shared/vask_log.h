/* vask_log.h: the log of the camera units, on standard output.
 *
 * Thread: any; lines of threads that log at the same moment may interleave.
 * Errors: never reported; a log must not disturb a shot.
 */
#pragma once

#include <cstdarg>

/** Writes "<tag>: " and then the formatted message to standard output and flushes it.
 *
 * Two writes, and no newline of its own: a message carries its newline where it wants one.
 */
void vask_log(const char* tag, const char* format, va_list arguments);
