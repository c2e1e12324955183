#include "frameworks/QTKit/gstreamer/Daemon.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace capture {

namespace {

std::string setting(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/** A descriptor, or -1. */
int connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return -1;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) return -1;
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return descriptor;
    }
    ::close(descriptor);
    return -1;
}

}  // namespace

std::vector<std::string> Daemon::socketPaths() {
    std::string name = setting("PIPEWIRE_REMOTE");
    if (name.empty()) name = "pipewire-0";
    if (name.front() == '/') return {name};
    name.insert(0, "/");
    std::vector<std::string> paths;
    for (const char* folder : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "USERPROFILE"}) {
        const std::string path = setting(folder);
        if (path.empty()) continue;
        paths.push_back(path);
        break;
    }
    paths.emplace_back("/run/pipewire");  // a daemon of the whole system
    for (std::string& path : paths)
        path.append(name);
    return paths;
}

Daemon::Daemon() {
    for (const std::string& path : socketPaths()) {
        descriptor_ = connectTo(path);
        if (descriptor_ >= 0) return;
    }
}

Daemon::~Daemon() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void Daemon::awaitEnd() const {
    // Not for bytes to read: nobody would read them, and this would never rest.
    pollfd end{descriptor_, POLLRDHUP, 0};
    while (::poll(&end, 1, -1) < 0 && errno == EINTR) {
    }
}

}  // namespace capture
