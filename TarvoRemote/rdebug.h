/* rdebug.h: the core log, on standard error.
 *
 * The host reads this stream: it finds the listening port there. The camera units log to standard output
 * instead (shared/vask_log.h); no message goes to both.
 *
 * Thread: any; lines of threads that log at the same moment may interleave.
 * Errors: never reported.
 */
#pragma once

/** 20 "Nikon", 30 "QuickTime", 10 "Canon", anything else "TarvoRemote". */
const char* getModuleName(int module);

/** Writes "<module's name>: " and then the formatted message, as two writes; returns the second's result. */
int rdebug(int module, const char* format, ...) __attribute__((format(printf, 2, 3)));
