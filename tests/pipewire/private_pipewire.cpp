#include "tests/pipewire/private_pipewire.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

namespace pw {

namespace {

namespace fs = std::filesystem;

/** Beside Debian's own, which opens no devices: PipeWire's webcam that takes any size it is asked for. */
constexpr std::string_view kDaemonConfiguration = R"(
context.spa-libs = { videotestsrc = videotestsrc/libspa-videotestsrc }
context.objects = [
  { factory = spa-node-factory
    args = { factory.name = videotestsrc node.name = any-size node.description = "Any Size" media.class = Video/Source }
  }
]
)";

constexpr std::string_view kManagerConfiguration = R"(
context.properties = { wireplumber.script-engine = lua-scripting }
context.spa-libs = { support.* = support/libspa-support }
context.modules = [
  { name = libpipewire-module-protocol-native }
  { name = libpipewire-module-client-node }
  { name = libpipewire-module-metadata }
  { name = libpipewire-module-session-manager }
]
wireplumber.components = [
  { name = libwireplumber-module-lua-scripting, type = module }
  { name = main.lua, type = config/lua }
]
)";

/** Debian's rules for who is linked to whom, without those that look for devices. */
constexpr std::string_view kManagerScript = R"(
components = {}
for _, name in ipairs({ "metadata", "si-node", "si-standard-link", "si-audio-endpoint", "default-nodes-api" }) do
  components[name] = { "libwireplumber-module-" .. name, type = "module" }
end
for _, name in ipairs({ "create-item.lua", "policy-node.lua" }) do
  components[name] = { name, type = "script/lua", args = { move = true, follow = true } }
end
)";

void write(const fs::path& file, std::string_view text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

bool isServed(const std::string& socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int result = ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    ::close(descriptor);
    return result == 0;
}

bool isOnPath(const std::string& program) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (fs::exists(fs::path(folder) / program)) return true;
    }
    return false;
}

}  // namespace

std::string whatIsMissing() {
    for (const char* program : {"pipewire", "wireplumber", "gst-launch-1.0", "gst-inspect-1.0"}) {
        if (!isOnPath(program)) return std::string(program) + " is not installed";
    }
    if (!fs::exists("/usr/share/wireplumber/scripts/policy-node.lua"))
        return "WirePlumber is not of version 0.4";
    if (std::system("gst-inspect-1.0 --exists --atleast-version=0.3 pipewiresrc") != 0)
        return "gstreamer1.0-pipewire is not installed";
    return {};
}

PrivatePipeWire::PrivatePipeWire() {
    ::chmod(folder_.path().c_str(), S_IRWXU);
    write(folder_.file("config/pipewire/pipewire.conf.d/any-size.conf"), kDaemonConfiguration);
    write(folder_.file("manager/wireplumber.conf"), kManagerConfiguration);
    write(folder_.file("manager/main.lua.d/rules.lua"), kManagerScript);
}

Environment PrivatePipeWire::environment() const {
    const std::string folder = folder_.path().string();
    return {{"XDG_RUNTIME_DIR", folder}, {"PIPEWIRE_RUNTIME_DIR", folder}, {"PIPEWIRE_REMOTE", "pipewire-0"}};
}

void PrivatePipeWire::startDaemon() {
    Environment changes = environment();
    changes.merge(Environment{{"XDG_CONFIG_HOME", folder_.file("config")},
                              {"XDG_STATE_HOME", folder_.file("state")},
                              {"WIREPLUMBER_DEBUG", "3"},  // says whom it knows
                              {"WIREPLUMBER_CONFIG_DIR", folder_.file("manager")},
                              {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder_.file("no-bus")}});
    daemon_ = std::make_unique<Process>(std::vector<std::string>{"pipewire"}, changes);
    ASSERT_TRUE(e2e::eventually([&] { return isServed(folder_.file("pipewire-0")); }))
        << daemon_->said().text();
    manager_ = std::make_unique<Process>(std::vector<std::string>{"wireplumber"}, changes);
    ASSERT_TRUE(manager_->said().waitFor("activated item for node")) << manager_->said().text();
}

void PrivatePipeWire::endDaemon(int signal) {
    daemon_->end(signal);
    manager_->end();
}

std::unique_ptr<Process> PrivatePipeWire::startWebcam(const std::string& name, const std::string& caps) {
    const size_t before = manager_->said().size();
    const std::string facts =
        "stream-properties=p,media.class=Video/Source,node.name=" + name + ",node.description=" + name;
    auto webcam = std::make_unique<Process>(
        std::vector<std::string>{"gst-launch-1.0", "--no-fault", "videotestsrc", "is-live=true",
                                 "pattern=smpte100", "!", caps, "!", "pipewiresink", "mode=provide", facts},
        environment());
    if (manager_->said().waitFor("activated item for node", 1, before)) return webcam;
    ADD_FAILURE() << webcam->said().text();
    return nullptr;
}

}  // namespace pw
