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

/** The whole message, value by value; the last result. */
int64_t writeMessage(int socket, uint8_t module, EventKind kind, std::initializer_list<int32_t> payload) {
    int64_t sent = writeByte(socket, module);
    if (sent > 0) sent = writeInt(socket, CALLBACK_MARKER);
    if (sent > 0) sent = writeByte(socket, kind);
    for (const int32_t value : payload) {
        if (sent > 0) sent = writeInt(socket, value);
    }
    return sent;
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
    const int64_t sent = writeMessage(socket, module, kind, payload);
    const bool hasStalled = sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    if (hasStalled) shutdown(socket, SHUT_RDWR);
    MUTEX_UNLOCK(getCallbackMutex());
}
