/* Interrupt.h: Ctrl-C and requests to end, as a descriptor that waits can watch.
 *
 * The first SIGINT, SIGTERM or SIGHUP makes the descriptor readable for good; the second one ends the process
 * as if there were no handler, for the case that the orderly way hangs.
 *
 * A file that grows past the limit of the process shall be an error of the write like a full disk, not the
 * process's end: install() sees to that, too.
 *
 * Thread: install() once, from main; fd() and isRequested() from anywhere.
 */
#pragma once

#include <chrono>

namespace tarvo::interrupt {

bool install();
/** -1 until install(). */
int fd();
bool isRequested();
/** Waits; true: cut short. */
bool pauseUntil(std::chrono::steady_clock::time_point moment);

}  // namespace tarvo::interrupt
