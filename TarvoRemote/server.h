/* server.h: the loopback listener and the tasks that serve its connections.
 *
 * Thread: StartServer runs on a task of its own for the life of the process; every connection gets another.
 *         Calls on one connection are strictly sequential, connections run side by side.
 * Owns:   the listening socket, and accepted sockets until they are closed or registered for callbacks.
 * Errors: without a socket or a port the process ends with status 1; all else is logged and survived.
 */
#pragma once

#include <cstdint>

#include "platform/Events.h"

constexpr uint16_t kFirstPort = 54839;
constexpr uint16_t kLastPort = 54899;

/** Task entry; never returns. */
OSStatus StartServer(void* unused);
/** Task entry of one connection; the parameter carries the descriptor. Returns 0. */
OSStatus ServerTaskThread(void* socket);
/** Serves remote calls until the peer closes. */
void handleCameraMessage(int socket, uint8_t firstModule);
/** Prints the message with the system's error text and ends the process with status 1. */
[[noreturn]] void error(const char* message);
