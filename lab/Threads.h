/* Threads.h: threads of the lab's own.
 *
 * They never end the process's ways: every signal is blocked in them, so that the helper's handlers run on
 * the helper's threads, and they are detached, because the lab lasts as long as the process.
 */
#pragma once

#include <functional>

#include "lab/Export.h"

namespace lab {

/** Throws std::system_error when there is no thread to be had. The name has at most 15 bytes. */
LAB_EXPORT void startThread(const char* name, std::function<void()> body);

}  // namespace lab
