/* vask_mutex.h: the mutex that all units use, over the thread library's own.
 *
 * Owns:   nothing; the mutex belongs to whoever declares it.
 * Errors: the thread library's status, handed on; nobody looks at it.
 * Follows: POSIX.1-2008 threads, mutexes with default attributes.
 */
#pragma once

#include <pthread.h>

inline int MUTEX_INIT(pthread_mutex_t* mutex) {
    return pthread_mutex_init(mutex, nullptr);
}

inline int MUTEX_LOCK(pthread_mutex_t* mutex) {
    return pthread_mutex_lock(mutex);
}

inline int MUTEX_UNLOCK(pthread_mutex_t* mutex) {
    return pthread_mutex_unlock(mutex);
}
