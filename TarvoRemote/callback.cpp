#include "TarvoRemote/callback.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <atomic>

#include "TarvoRemote/wire.h"
#include "shared/vask_mutex.h"

namespace {

std::atomic<int> gCallbackSocket{0};
pthread_mutex_t gCallbackMutex;

void limitPatience(int socket) {
    const timeval patience = {.tv_sec = kCallbackPatience, .tv_usec = 0};
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

/** The message, value by value; false when a value did not go out whole. */
bool writeMessage(int socket, uint8_t module, EventKind kind, std::initializer_list<int32_t> payload) {
    constexpr int64_t kByte = 1;
    constexpr int64_t kInt = 4;
    bool isWhole = writeByte(socket, module) == kByte && writeInt(socket, CALLBACK_MARKER) == kInt &&
                   writeByte(socket, kind) == kByte;
    for (const int32_t value : payload) {
        isWhole = isWhole && writeInt(socket, value) == kInt;
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
