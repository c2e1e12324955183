#include "tests/lab/support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

#include "lab/Call.h"
#include "lab/Control.h"

extern char** environ;

namespace test {

namespace {

/** An end of a pipe that children do not inherit. */
std::array<int, 2> makePipe() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    return ends;
}

/** Until there is something to read, or its end; false, and a failure, when patience runs out. */
bool awaitReadable(int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    const auto patienceMs = static_cast<int>(std::chrono::milliseconds(kPatience).count());
    int ready = 0;
    do {
        ready = poll(&waiting, 1, patienceMs);
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) ADD_FAILURE() << "a process of the test's neither says anything nor ends";
    return ready > 0;
}

/** To the end; false when that does not come. */
bool readAll(int descriptor, std::string& text) {
    std::array<char, 4096> buffer;
    while (awaitReadable(descriptor)) {
        const ssize_t got = read(descriptor, buffer.data(), buffer.size());
        if (got <= 0) return true;
        text.append(buffer.data(), static_cast<size_t>(got));
    }
    return false;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& more) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        if (!text.starts_with("TARVO_LAB")) all.emplace_back(text);
    }
    for (const auto& [name, value] : more) {
        all.push_back(name + "=" + value);
    }
    return all;
}

}  // namespace

bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

Folder::Folder() : path_(std::filesystem::temp_directory_path() / "lab-test-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "no folder: " << std::strerror(errno);
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string Folder::write(std::string_view name, std::string_view content) const {
    const std::string path = file(name);
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string programFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

Json must(const Json& command) {
    const Json answer = Json::parse(lab::control(command.dump()));
    EXPECT_TRUE(answer["ok"]) << command << " was answered " << answer;
    return answer;
}

std::string refused(const Json& command) {
    const Json answer = Json::parse(lab::control(command.dump()));
    EXPECT_FALSE(answer["ok"]) << command << " was accepted";
    return answer.value("error", "");
}

Json deviceState(std::string_view id) {
    const Json answer = must({{"cmd", "state"}});
    for (const Json& device : answer["devices"]) {
        if (device["id"] == id) return device;
    }
    ADD_FAILURE() << "no device " << id;
    return Json::object();
}

Json callsOf(std::string_view function) {
    Json found = Json::array();
    const Json answer = must({{"cmd", "trace"}});
    for (const Json& entry : answer["trace"]) {
        if (entry["call"] == function) found.push_back(entry);
    }
    return found;
}

void lay(const Json& devices, const Json& more) {
    Json scenario = more;
    scenario["devices"] = devices;
    lab::observe();
    must({{"cmd", "reset"}, {"scenario", scenario}});
    must({{"cmd", "trace"}, {"clear", true}});
}

Idle::Idle(const std::map<std::string, std::string>& environment) {
    const auto in = makePipe();
    const auto out = makePipe();
    const auto err = makePipe();
    std::vector<std::string> variables = environmentWith(environment);
    std::vector<char*> pointers;
    for (std::string& variable : variables) {
        pointers.push_back(variable.data());
    }
    pointers.push_back(nullptr);
    std::string program = programFolder() + "/" LAB_IDLE;
    std::array<char*, 2> arguments = {program.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&pid_, program.c_str(), &actions, nullptr, arguments.data(), pointers.data()), 0);
    posix_spawn_file_actions_destroy(&actions);
    for (const int end : {in[0], out[1], err[1]}) {
        close(end);
    }
    input_ = in[1];
    output_ = out[0];
    error_ = err[0];
}

Idle::~Idle() {
    if (pid_ > 0) finish();
}

bool Idle::waitForMain() {
    std::string said;
    char byte = 0;
    while (!said.ends_with('\n') && awaitReadable(output_) && read(output_, &byte, 1) == 1) {
        said += byte;
    }
    return said == "main\n";
}

int Idle::finish() {
    close(input_);
    if (!readAll(error_, errors_)) kill(SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    close(output_);
    close(error_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Idle::kill(int signal) const {
    if (pid_ > 0) ::kill(pid_, signal);
}

SocketClient::SocketClient(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{kPatience.count(), 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(socket_);
        socket_ = -1;
    }
}

SocketClient::~SocketClient() {
    if (socket_ >= 0) close(socket_);
}

void SocketClient::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t put = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (put <= 0) return;
        bytes.remove_prefix(static_cast<size_t>(put));
    }
}

std::string SocketClient::line() {
    for (;;) {
        const size_t end = received_.find('\n');
        if (end != std::string::npos) {
            std::string line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }
        std::array<char, 65536> buffer;
        const ssize_t got = recv(socket_, buffer.data(), buffer.size(), 0);
        if (got <= 0) return {};
        received_.append(buffer.data(), static_cast<size_t>(got));
    }
}

Json SocketClient::ask(const Json& command) {
    send(command.dump() + "\n");
    return Json::parse(line(), nullptr, false);
}

}  // namespace test
