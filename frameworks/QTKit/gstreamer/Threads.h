/* Threads.h: threads of the framework's own.
 *
 * They never end the process's ways: every signal is blocked in them and in the threads that GStreamer starts
 * from them, so that the helper's handlers run on the helper's threads. They are detached; each keeps what it
 * uses.
 */
#pragma once

#include <functional>

namespace capture {

/** Throws std::system_error when there is no thread to be had. The name has at most 15 bytes. */
void startThread(const char* name, std::function<void()> body);

}  // namespace capture
