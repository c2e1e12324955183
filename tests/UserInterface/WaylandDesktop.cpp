#include "WaylandDesktop.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/e2e/support/patience.h"

namespace {

using nlohmann::json;

/// Root may not run a compositor; this user owns nothing.
constexpr uid_t kNobody = 65534;

bool isRoot() {
    return geteuid() == 0;
}

void collect(const json& node, std::vector<WaylandWindow>& found) {
    if (node.contains("pid") && node.value("visible", false)) {
        const json title = node.value("name", json());
        const json program = node.value("app_id", json());
        found.push_back({title.is_string() ? title.get<std::string>() : "",
                         program.is_string() ? program.get<std::string>() : "",
                         node.value("focused", false)});
    }
    for (const char* kind : {"nodes", "floating_nodes"}) {
        for (const json& child : node.value(kind, json::array()))
            collect(child, found);
    }
}

}  // namespace

bool WaylandDesktop::isAvailable() {
    return isInstalled("sway") && isInstalled("swaymsg") && isInstalled("wtype") &&
           (!isRoot() || isInstalled("setpriv"));
}

WaylandDesktop::WaylandDesktop() {
    std::ofstream(folder_.file("config")) << "xwayland disable\n"
                                             "output HEADLESS-1 resolution 1280x1024\n";
    if (isRoot() && chown(folder_.path().c_str(), kNobody, kNobody) != 0) return;
    start();
}

WaylandDesktop::~WaylandDesktop() {
    end();
}

void WaylandDesktop::start() {
    std::vector<std::string> command;
    if (isRoot()) {
        const std::string nobody = std::to_string(kNobody);
        command = {"setpriv", "--reuid=" + nobody, "--regid=" + nobody, "--clear-groups"};
    }
    command.insert(command.end(), {"sway", "-c", folder_.file("config")});
    compositor_ = std::make_unique<ChildProcess>(
        command, std::map<std::string, std::string>{{"XDG_RUNTIME_DIR", folder_.path().string()},
                                                    {"SWAYSOCK", folder_.file("ipc")},
                                                    {"WLR_BACKENDS", "headless"},
                                                    {"WLR_LIBINPUT_NO_DEVICES", "1"},
                                                    {"WLR_RENDERER", "pixman"},
                                                    {"DISPLAY", ""},
                                                    {"WAYLAND_DISPLAY", ""}});
    if (!e2e::eventually([this] { return !ask("get_version").empty(); })) return;
    name_ = findName();
    // As long as one program has a keyboard, clients know of it before its first key.
    keyboard_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"wtype", "-s", "3600000", "-k", "VoidSymbol"}, environment());
    e2e::eventually([this] {
        const json seats = json::parse(ask("get_seats"), nullptr, false);
        return seats.is_array() && !seats.empty() && !seats[0].value("devices", json::array()).empty();
    });
}

std::string WaylandDesktop::findName() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("wayland-") && !name.ends_with(".lock")) return name;
    }
    return {};
}

std::map<std::string, std::string> WaylandDesktop::environment() const {
    return {{"XDG_RUNTIME_DIR", folder_.path().string()},
            {"WAYLAND_DISPLAY", name_},
            {"DISPLAY", ""},
            {"GDK_BACKEND", "wayland"}};
}

std::string WaylandDesktop::ask(const std::string& request) const {
    if (!std::filesystem::exists(folder_.file("ipc"))) return {};
    ChildProcess question({"swaymsg", "-s", folder_.file("ipc"), "-t", request, "-r"}, {});
    std::string answer;
    for (std::string line = question.readLine(); !line.empty(); line = question.readLine())
        answer += line;
    return question.finish() == 0 ? answer : "";
}

std::vector<WaylandWindow> WaylandDesktop::windows() const {
    const json tree = json::parse(ask("get_tree"), nullptr, false);
    std::vector<WaylandWindow> found;
    if (tree.is_object()) collect(tree, found);
    return found;
}

bool WaylandDesktop::showsWindows(const std::vector<WaylandWindow>& wanted) const {
    return e2e::eventually([&] { return windows() == wanted; });
}

void WaylandDesktop::pressKeys(const std::vector<std::string>& keys) const {
    std::vector<std::string> command{"wtype"};
    command.insert(command.end(), keys.begin(), keys.end());
    ChildProcess(command, environment()).finish();
}

void WaylandDesktop::holdKeys(const std::vector<std::string>& keys) {
    std::vector<std::string> command{"wtype", "-d", "5"};
    command.insert(command.end(), keys.begin(), keys.end());
    keys_ = std::make_unique<ChildProcess>(command, environment());
}

void WaylandDesktop::end() {
    keys_.reset();
    // Without a farewell, as a crash is.
    if (compositor_) compositor_->end(SIGKILL);
    keyboard_.reset();
    std::error_code error;
    std::filesystem::remove(folder_.file("ipc"), error);
}
