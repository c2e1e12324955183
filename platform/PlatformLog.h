/* PlatformLog.h: the log that the platform keeps for all programs.
 *
 * A line is date and time (local, milliseconds), the process's name and id, then the text:
 * "2026-11-21 09:05:00.123 TarvoRemote[4711] text". It goes to standard error, and to the system's journal
 * where there is one.
 *
 * Thread: any; lines are never mixed.
 * Errors: a line that can be written nowhere is dropped.
 */
#pragma once

#include "platform/Export.h"

/** One line. Line ends at the end of the text are not doubled; those inside become blanks. */
TARVO_PLATFORM_API void NSLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
