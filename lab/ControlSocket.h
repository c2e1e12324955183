/* ControlSocket.h: listens on a Unix stream socket and answers commands, one line each.
 *
 * One thread serves all connections and sleeps while none of them says anything. A connection that drops
 * changes nothing; one that does not fetch its answers is not listened to until it does.
 *
 * Thread: start() before anyone else; the rest runs on the lab's own thread.
 * Owns:   the socket and its file, which goes when the process exits by the C library's exit().
 * Errors: a text that says why there is no socket.
 */
#pragma once

#include <string>

#include "lab/Export.h"

namespace lab {

/** The longest line that is read; longer ones are answered with an error and skipped. */
inline constexpr size_t kMostLineBytes = 1 << 20;

/** Listens at the path; a socket that nobody listens at any more is replaced. Empty: it answers from now on.
 */
LAB_EXPORT std::string startControlSocket(const std::string& path);

}  // namespace lab
