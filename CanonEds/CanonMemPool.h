/* CanonMemPool.h: the thread on which the Canon library lives.
 *
 * Thread: the worker thread; a quit event may be posted to its queue from any.
 * Owns:   the library, from its start to its end.
 * Errors: none: a library that does not start answers later calls with errors of its own.
 */
#pragma once

#include <cstdint>

#include "platform/Events.h"

/** Class and kind of the event that ends the worker thread: a plain number, no four-character code. */
constexpr uint32_t kCanonThreadQuitEvent = 0x1251976;

/** Task entry; returns 0 once a quit event has come. */
OSStatus TarvoCanonThreadFunction(void* unused);
