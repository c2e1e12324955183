/* Starter.h: the connection of a program with windows to the library that started it, in GTK's main loop.
 *
 * Thread: main thread.
 * Owns:   the connection, for the process's life.
 */
#pragma once

#include <functional>

#include "platform/Messages.h"

/** Joins the starter and takes its program's name over, before GTK starts; false when there is none. */
bool joinStarterAs(int argumentCount, char** arguments);

void tellStarter(const MessageWriter& message);

/** Waits for a message and reads it; false when the starter has ended or says what makes no sense. */
bool hearStarter(const std::function<bool(MessageReader&)>& read);

/** From now on the main loop reads each message. The process ends when `read` says that one makes no sense,
 * and with the starter. */
void heedStarter(std::function<bool(MessageReader&)> read);
