#include "TarvoRemote/server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <thread>

#include "TarvoRemote/CanonRemote.h"
#include "TarvoRemote/NikonRemote.h"
#include "TarvoRemote/QTKitRemote.h"
#include "TarvoRemote/QuickTimeRemote.h"
#include "TarvoRemote/callback.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "TarvoRemote/wire.h"
#include "platform/Tasks.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

constexpr int kBacklog = 50;
constexpr size_t kConnectionStack = 4096;

const char kRule[] = "-----------------------------------------------------------\n";

/** The modules whose calls a connection may carry. */
struct CameraModule {
    uint8_t id;
    void (*serveCall)(int socket);
};

constexpr CameraModule kCameraModules[] = {
    {MODULE_CANON, handleCanonMessage},
    {MODULE_NIKON, handleNikonMessage},
    {MODULE_QTKIT, handleQTKitMessage},
};

const CameraModule* findCameraModule(uint8_t id) {
    const auto* found = std::find_if(std::begin(kCameraModules), std::end(kCameraModules),
                                     [id](const CameraModule& module) { return module.id == id; });
    return found == std::end(kCameraModules) ? nullptr : found;
}

void dispatch(int socket, uint8_t id) {
    if (const CameraModule* module = findCameraModule(id)) {
        module->serveCall(socket);
    } else {
        rdebug(MODULE_CORE, "handleCameraMessage, unknown module %d\n", id);
    }
}

int openListener() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0) error("ERROR opening socket");
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return listener;
}

/** Of helpers that start at the same moment several may bind one port, since the option for addresses in use
 * lets them; only one can listen there. To the others the port is taken as well. */
bool listenOn(int listener, uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = inet_addr("127.0.0.1");
    address.sin_port = htons(port);
    return bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           listen(listener, kBacklog) == 0;
}

struct Listener {
    int socket;
    uint16_t port;
};

Listener listenOnFirstFreePort() {
    for (uint16_t port = kFirstPort;; ++port) {
        // A fresh one each time: once bound, a socket keeps its port.
        const int listener = openListener();
        if (listenOn(listener, port)) return {listener, port};
        if (port == kLastPort) error("ERROR on binding");
        close(listener);
    }
}

/** Slows the accept loop down while the machine has nothing left to give: a pending connection makes accept
 * fail again at once, which would keep a core busy until somebody closes something. */
class AcceptBrake {
public:
    void accepted() { pause_ = kShortest; }

    void failed(int reason) {
        if (reason != EMFILE && reason != ENFILE && reason != ENOBUFS && reason != ENOMEM) return;
        std::this_thread::sleep_for(pause_);
        pause_ = std::min(pause_ * 2, kLongest);
    }

private:
    static constexpr std::chrono::milliseconds kShortest{5};
    static constexpr std::chrono::milliseconds kLongest{200};
    std::chrono::milliseconds pause_ = kShortest;
};

void startConnectionTask(int socket) {
    MPTaskID task{};
    void* parameter = reinterpret_cast<void*>(static_cast<intptr_t>(socket));
    const OSStatus status =
        MPCreateTask(ServerTaskThread, parameter, kConnectionStack, nullptr, nullptr, nullptr, 0, &task);
    if (status != noErr) {
        rdebug(MODULE_CORE, "Error creating task thread\n");
    } else {
        // The number is what hosts' log filters know; the stack asked for is larger.
        rdebug(MODULE_CORE, "Created thread with 2048 byte stack.\n");
    }
}

/** Connections that were accepted but have no task yet.
 *
 * The kernel keeps few waiting and lets a client that finds no room try again a second later. Starting a
 * task takes longer than connecting, so all that wait are taken in before each start.
 */
class Waiting {
public:
    explicit Waiting(int listener) : listener_(listener) {}

    /** The next connection, or -1 when the platform could not accept it. */
    int next() {
        acceptAll();
        while (sockets_.empty()) {
            awaitConnection();
            acceptAll();
        }
        const int socket = sockets_.front();
        sockets_.pop_front();
        return socket;
    }

private:
    void awaitConnection() const {
        pollfd listening = {.fd = listener_, .events = POLLIN, .revents = 0};
        poll(&listening, 1, -1);
    }

    void acceptAll() {
        int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        for (; connection >= 0; connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) {
            const int on = 1;  // replies are many small sends
            setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            sockets_.push_back(connection);
            brake_.accepted();
        }
        // A failure counts once those that were accepted have been served.
        if (sockets_.empty() && !isNobodyThere(errno)) fail(errno);
    }

    void fail(int reason) {
        rdebug(MODULE_CORE, "ERROR on accept\n");
        brake_.failed(reason);
        sockets_.push_back(-1);
    }

    static bool isNobodyThere(int reason) {
        return reason == EAGAIN || reason == EWOULDBLOCK || reason == EINTR;
    }

    int listener_;
    std::deque<int> sockets_;
    AcceptBrake brake_;
};

[[noreturn]] void acceptForever(int listener) {
    Waiting waiting(listener);
    for (;;) {
        startConnectionTask(waiting.next());
    }
}

/** Nothing is released and no camera is closed: hosts close cameras by calls of their own. */
[[noreturn]] void ExitToShell() {
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizer looks for leaks when a process exits in the ordinary way, which this one never does. What
    // the other tasks' stacks lead to is no leak; with one, the process ends here, with a status of its own.
    // A thread that is ending leaves it to the C library to free what it kept for it: such threads get the
    // time.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    __lsan_do_leak_check();
#endif
    std::_Exit(EXIT_SUCCESS);
}

[[noreturn]] void shutDown(int socket) {
    rdebug(MODULE_CORE, "Connection opened\n");
    readByte(socket);
    rdebug(MODULE_CORE, "Receive SHUTDOWN\n");
    ExitToShell();
}

}  // namespace

void error(const char* message) {
    std::perror(message);
    std::_Exit(EXIT_FAILURE);
}

OSStatus StartServer(void*) {
    rdebug(MODULE_CORE, "%s", kRule);
    rdebug(MODULE_CORE, "  Tarvo Helper \n");
    rdebug(MODULE_CORE, "%s", kRule);
    const Listener listener = listenOnFirstFreePort();
    initTarvoRemote();
    rdebug(MODULE_CORE, "Starting server\n");
    rdebug(MODULE_CORE, "PORT=%d\n", listener.port);
    acceptForever(listener.socket);
}

OSStatus ServerTaskThread(void* parameter) {
    const int socket = static_cast<int>(reinterpret_cast<intptr_t>(parameter));
    const uint8_t module = readByte(socket);
    rdebug(MODULE_CORE, "Server Thread CREATED, socket %d, module %d\n", socket, module);
    if (module == MODULE_CALLBACK) {
        setCallbackSocket(socket);
        rdebug(MODULE_CORE, "setCallbackSocket(%d)\n", socket);
        return noErr;
    }
    if (module == MODULE_SHUTDOWN) shutDown(socket);
    if (module == MODULE_QUICKTIME) {
        handleQuickTimeMessage(socket);  // the main thread answers and closes
        return noErr;
    }
    if (findCameraModule(module) != nullptr) {
        handleCameraMessage(socket, module);
    } else {
        rdebug(MODULE_CORE, "Unknown module %d\n", module);
    }
    close(socket);
    return noErr;
}

void handleCameraMessage(int socket, uint8_t firstModule) {
    dispatch(socket, firstModule);
    for (;;) {
        uint8_t module = 0;
        const ssize_t result = recv(socket, &module, sizeof module, MSG_WAITALL);
        if (result < 1) {
            rdebug(MODULE_CORE, "handleCameraMessage, exiting loop on result %d\n", static_cast<int>(result));
            return;
        }
        if (findCameraModule(module) != nullptr) {
            dispatch(socket, module);
        } else {
            rdebug(MODULE_CORE, "handleCameraMessage recv %d\n", module);
        }
    }
}
