/* Timers.h: things that happen a little later.
 *
 * Thread: any may ask; what was asked for runs on one thread of the lab, without any of its locks held. The
 *         thread is there only while something is due: an idle lab wakes nobody.
 * Units:  milliseconds.
 */
#pragma once

#include <cstdint>
#include <functional>

#include "lab/Export.h"

namespace lab {

/** Runs `action` once, not earlier than after `delayMs`; in the order in which they are due. */
LAB_EXPORT void after(int64_t delayMs, std::function<void()> action);

}  // namespace lab
