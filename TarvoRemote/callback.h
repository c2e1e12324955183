/* callback.h: the socket on which camera events reach the host, and the message that carries one.
 *
 * Thread: any. gCallbackMutex is a leaf: nothing but the writes of one message happens under it.
 * Owns:   nothing: the registered socket is never closed here, not even when another takes its place.
 * Errors: a message is lost when no socket is registered or the host has closed it. A host that reads
 *         nothing until all buffers are full, and then nothing for kCallbackPatience, has its stream ended:
 *         cameras must not wait for it for ever, and half a message must not be taken for a whole one.
 */
#pragma once

#include <pthread.h>

#include <cstdint>
#include <initializer_list>

/** Follows the module byte of every message. */
constexpr int32_t CALLBACK_MARKER = 0x112233;

/** Seconds. */
constexpr int kCallbackPatience = 5;

enum EventKind : uint8_t {
    EVENT_OBJECT = 1,
    EVENT_PROPERTY = 2,
    EVENT_STATE = 3,
    EVENT_PROGRESS = 4,
};

/** Prepares the mutex; once, before the first connection is accepted. Returns the thread library's status. */
int initTarvoRemote();
/** Takes the place of any earlier one. 0: none. */
void setCallbackSocket(int socket);
/** 0: none is registered. */
int getCallbackSocket();
pthread_mutex_t* getCallbackMutex();

/** Sends one whole message, or nothing when no socket is registered. */
void sendCallback(uint8_t module, EventKind kind, std::initializer_list<int32_t> payload);
