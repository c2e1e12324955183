/* Interrupt.h: Ctrl-C and requests to end, as a descriptor that waits can watch.
 *
 * The first SIGINT, SIGTERM or SIGHUP makes the descriptor readable for good; the second one ends the process
 * as if there were no handler, for the case that the orderly way hangs.
 *
 * Thread: install() once, from main; fd() and isRequested() from anywhere.
 */
#pragma once

namespace tarvo::interrupt {

bool install();
/** -1 until install(). */
int fd();
bool isRequested();

}  // namespace tarvo::interrupt
