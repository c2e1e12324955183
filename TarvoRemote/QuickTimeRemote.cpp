#include "TarvoRemote/QuickTimeRemote.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "TarvoRemote/ExportSettings.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/wire.h"

namespace {

constexpr uint8_t kExportSettingsMethod = 1;
constexpr int kNoSocket = -1;

/** The socket of the pending request. */
std::atomic<int> gQTSocket{kNoSocket};

/** Sockets that will never be answered. A host sees nothing on them, as it always has; but once it has closed
 * its end, ours is of no use to anybody. */
class Unanswered {
public:
    void add(int socket) {
        const std::lock_guard lock(mutex_);
        sockets_.push_back(socket);
    }

    void closeThoseThatHostsHaveLeft() {
        const std::lock_guard lock(mutex_);
        std::erase_if(sockets_, [](int socket) { return isLeft(socket) && close(socket) == 0; });
    }

private:
    static bool isLeft(int socket) {
        pollfd state{.fd = socket, .events = POLLRDHUP, .revents = 0};
        return poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
    }

    std::mutex mutex_;
    std::vector<int> sockets_;  // guarded by mutex_
};

Unanswered& unanswered() {
    static Unanswered* const sockets = new Unanswered;  // tasks may still run while the process ends
    return *sockets;
}

void awaitAnswerOn(int socket) {
    const int older = gQTSocket.exchange(socket);
    if (older != kNoSocket) unanswered().add(older);
}

void answer(int16_t result) {
    const int socket = gQTSocket.exchange(kNoSocket);
    if (socket == kNoSocket) return;
    writeByte(socket, MODULE_QUICKTIME);
    writeByte(socket, kExportSettingsMethod);
    writeInt(socket, result);
    close(socket);
}

void freeStrings(const ExportRequest& request) {
    std::free(request.settingsPath);
    std::free(request.secondSettingsPath);
    std::free(request.moviePath);
}

OSStatus post(const ExportRequest& request) {
    EventRef event = nullptr;
    OSStatus status = CreateEvent(nullptr, kExportEventClass, kExportEventKind, 0, 0, &event);
    if (status != noErr) return status;
    status = SetEventParameter(event, kExportParameterName, kExportParameterType, sizeof request, &request);
    if (status == noErr) status = PostEventToQueue(GetMainEventQueue(), event, kEventPriorityStandard);
    ReleaseEvent(event);
    return status;
}

void getExportSettings(const ExportRequest& request) {
    const OSStatus status = post(request);
    if (status == noErr) return;
    freeStrings(request);
    answer(static_cast<int16_t>(status));
}

}  // namespace

void handleQuickTimeMessage(int socket) {
    unanswered().closeThoseThatHostsHaveLeft();
    if (readByte(socket) != kExportSettingsMethod) {
        unanswered().add(socket);
        return;
    }
    awaitAnswerOn(socket);
    ExportRequest request{};
    request.settingsPath = readString(socket);
    request.secondSettingsPath = readString(socket);
    request.moviePath = readString(socket);
    request.useSavedSettings = readByte(socket) != 0 ? 1 : 0;
    getExportSettings(request);
}

void answerExportRequest(const ExportRequest& request) {
    answer(doExportSettings(request.settingsPath, request.secondSettingsPath, request.moviePath,
                            request.useSavedSettings != 0));
    freeStrings(request);
}
