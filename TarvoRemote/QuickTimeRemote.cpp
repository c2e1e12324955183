#include "TarvoRemote/QuickTimeRemote.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "TarvoRemote/ExportSettings.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/wire.h"

namespace {

constexpr uint8_t kExportSettingsMethod = 1;

/** A host's connection, closed when nobody needs it any more. An answer may come while the request that it
 * goes to is still being read: who reads holds the connection, so its number can't become somebody else's
 * meanwhile. */
class HostSocket {
public:
    explicit HostSocket(int descriptor) : descriptor_(descriptor) {}
    ~HostSocket() { close(descriptor_); }
    HostSocket(const HostSocket&) = delete;
    HostSocket& operator=(const HostSocket&) = delete;

    int descriptor() const { return descriptor_; }

    bool isLeft() const {
        pollfd state{.fd = descriptor_, .events = POLLRDHUP, .revents = 0};
        return poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
    }

private:
    int descriptor_;
};
using HostSocketRef = std::shared_ptr<const HostSocket>;

/** The connection of the pending request, and those that will never be answered. A host sees nothing on the
 * latter, as it always has; but once it has closed its end, ours is of no use to anybody. */
class Sockets {
public:
    void await(HostSocketRef socket) {
        const std::lock_guard lock(mutex_);
        if (gQTSocket_) unanswered_.push_back(std::move(gQTSocket_));
        gQTSocket_ = std::move(socket);
    }

    /** Null when none waits. */
    HostSocketRef takePending() {
        const std::lock_guard lock(mutex_);
        return std::move(gQTSocket_);
    }

    void leaveUnanswered(HostSocketRef socket) {
        const std::lock_guard lock(mutex_);
        unanswered_.push_back(std::move(socket));
    }

    void dropThoseThatHostsHaveLeft() {
        const std::lock_guard lock(mutex_);
        std::erase_if(unanswered_, [](const HostSocketRef& socket) { return socket->isLeft(); });
    }

private:
    std::mutex mutex_;
    HostSocketRef gQTSocket_;                // guarded by mutex_
    std::vector<HostSocketRef> unanswered_;  // guarded by mutex_
};

Sockets& sockets() {
    static Sockets* const all = new Sockets;  // tasks may still run while the process ends
    return *all;
}

void answer(int16_t result) {
    const HostSocketRef socket = sockets().takePending();
    if (!socket) return;
    writeByte(socket->descriptor(), MODULE_QUICKTIME);
    writeByte(socket->descriptor(), kExportSettingsMethod);
    writeInt(socket->descriptor(), result);
    // The host sees the end, whoever else still holds the connection.
    shutdown(socket->descriptor(), SHUT_WR);
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

void handleQuickTimeMessage(int descriptor) {
    sockets().dropThoseThatHostsHaveLeft();
    const auto socket = std::make_shared<const HostSocket>(descriptor);
    if (readByte(descriptor) != kExportSettingsMethod) {
        sockets().leaveUnanswered(socket);
        return;
    }
    sockets().await(socket);
    ExportRequest request{};
    request.settingsPath = readString(descriptor);
    request.secondSettingsPath = readString(descriptor);
    request.moviePath = readString(descriptor);
    request.useSavedSettings = readByte(descriptor) != 0 ? 1 : 0;
    getExportSettings(request);
}

void answerExportRequest(const ExportRequest& request) {
    answer(doExportSettings(request.settingsPath, request.secondSettingsPath, request.moviePath,
                            request.useSavedSettings != 0));
    freeStrings(request);
}
