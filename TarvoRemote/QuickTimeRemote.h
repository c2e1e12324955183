/* QuickTimeRemote.h: a host asks for the movie-export settings dialog and gets its answer.
 *
 * A connection carries one request. It is read on the connection's task; the dialog belongs to the main
 * thread, so the request is posted there and the main thread answers on the socket when the user has closed
 * the dialog. Only one socket waits for an answer: a newer request takes the place of an older one, whose
 * socket then stays unanswered, and an answer for which no socket waits any more is dropped.
 *
 * Thread: handleQuickTimeMessage on a connection's task, the rest on the main thread.
 * Owns:   the sockets that were given to it: the waiting one until it is answered, unanswered ones until
 *         their hosts have closed them and another request comes. No socket is closed by anybody else, and
 *         none while its request is being read.
 * Errors: the answer carries the failing call's status; see ExportSettings.h.
 */
#pragma once

#include "TarvoRemote/MainThread.h"

/** Reads one request and posts it. It takes the socket over, answered or not. */
void handleQuickTimeMessage(int socket);

/** The main thread's part: shows the dialog, answers, frees the request's strings. */
void answerExportRequest(const ExportRequest& request);
