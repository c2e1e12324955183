#include "TarvoRemote/callback.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>

#include "TarvoRemote/wire.h"
#include "shared/vask_mutex.h"

namespace {

std::atomic<int> gCallbackSocket{0};
pthread_mutex_t gCallbackMutex;

void limitPatience(int socket) {
    const timeval patience = {.tv_sec = kCallbackPatience, .tv_usec = 0};
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

/** False when the value did not go out whole. A send with a time limit that waits comes back, with nothing
 * sent, when the process is stopped and continued; without the limit it would have gone on by itself. */
template <class Value>
bool isWritten(int64_t (*write)(int socket, Value value), int socket, Value value) {
    int64_t sent = 0;
    do {
        sent = write(socket, value);
    } while (sent < 0 && errno == EINTR);
    return sent == sizeof value;
}

/** The message, value by value; false when a value did not go out whole. */
bool writeMessage(int socket, uint8_t module, EventKind kind, std::initializer_list<int32_t> payload) {
    bool isWhole = isWritten(writeByte, socket, module) && isWritten(writeInt, socket, CALLBACK_MARKER) &&
                   isWritten(writeByte, socket, uint8_t{kind});
    for (const int32_t value : payload) {
        isWhole = isWhole && isWritten(writeInt, socket, value);
    }
    return isWhole;
}

}  // namespace

int initTarvoRemote() {
    return MUTEX_INIT(&gCallbackMutex);
}

void setCallbackSocket(int socket) {
    if (socket != 0) limitPatience(socket);
    gCallbackSocket = socket;
}

int getCallbackSocket() {
    return gCallbackSocket;
}

pthread_mutex_t* getCallbackMutex() {
    return &gCallbackMutex;
}

void sendCallback(uint8_t module, EventKind kind, std::initializer_list<int32_t> payload) {
    const int socket = getCallbackSocket();
    if (socket == 0) return;
    MUTEX_LOCK(getCallbackMutex());
    // The host would take what comes behind a part of a message for the rest of it.
    if (!writeMessage(socket, module, kind, payload)) shutdown(socket, SHUT_RDWR);
    MUTEX_UNLOCK(getCallbackMutex());
}
