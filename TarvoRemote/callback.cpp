#include "TarvoRemote/callback.h"

#include <atomic>

#include "TarvoRemote/wire.h"
#include "shared/vask_mutex.h"

namespace {

std::atomic<int> gCallbackSocket{0};
pthread_mutex_t gCallbackMutex;

}  // namespace

int initTarvoRemote() {
    return MUTEX_INIT(&gCallbackMutex);
}

void setCallbackSocket(int socket) {
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
    writeByte(socket, module);
    writeInt(socket, CALLBACK_MARKER);
    writeByte(socket, kind);
    for (const int32_t value : payload) {
        writeInt(socket, value);
    }
    MUTEX_UNLOCK(getCallbackMutex());
}
