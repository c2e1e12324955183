#include "tests/e2e/support/lab_client.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace e2e {

LabClient::LabClient(const std::string& socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    descriptor_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // The lab starts with the simulated library, which may be a moment before or after the port is announced.
    const bool connected = eventually([&] {
        return ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    });
    EXPECT_TRUE(connected) << "the lab does not listen on " << socketPath << ": " << std::strerror(errno);
    gone_ = !connected;
}

LabClient::~LabClient() {
    ::close(descriptor_);
}

Json LabClient::command(const Json& request) {
    // Said once already; a test that waits for the lab's news must not say it a thousand times.
    if (gone_) return {{"ok", false}, {"error", "the lab is gone"}};
    const std::string line = request.dump() + "\n";
    if (::send(descriptor_, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        ADD_FAILURE() << "the lab does not take " << line;
        gone_ = true;
        return {};
    }
    const auto end = std::chrono::steady_clock::now() + kPatience;
    size_t newline = 0;
    while ((newline = received_.find('\n')) == std::string::npos) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waiting{descriptor_, POLLIN, 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
        if (ready < 0 && errno == EINTR) continue;
        std::array<char, 65536> piece;
        const ssize_t got = ready > 0 ? ::recv(descriptor_, piece.data(), piece.size(), 0) : 0;
        if (got <= 0) {
            ADD_FAILURE() << "the lab does not answer " << line;
            gone_ = true;
            return {};
        }
        received_.append(piece.data(), static_cast<size_t>(got));
    }
    const std::string answer = received_.substr(0, newline);
    received_.erase(0, newline + 1);
    Json parsed = Json::parse(answer, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << "the lab's answer is no JSON: " << answer;
    return parsed;
}

Json LabClient::must(const Json& request) {
    Json answer = command(request);
    const bool fine = gone_ || (answer.is_object() && answer.value("ok", false));
    EXPECT_TRUE(fine) << request.dump() << " was answered " << answer.dump();
    return answer;
}

Json LabClient::trace() {
    Json answer = must({{"cmd", "trace"}});
    return answer.is_object() && answer.contains("trace") ? answer["trace"] : Json::array();
}

void LabClient::clearTrace() {
    must({{"cmd", "trace"}, {"clear", true}});
}

std::vector<Json> LabClient::calls(std::string_view function) {
    std::vector<Json> found;
    for (const Json& entry : trace()) {
        if (entry.value("call", "") == function) found.push_back(entry);
    }
    return found;
}

std::vector<std::string> LabClient::callNames(const std::vector<std::string>& leaveOut) {
    std::vector<std::string> names;
    for (const Json& entry : trace()) {
        std::string name = entry.value("call", "");
        if (std::find(leaveOut.begin(), leaveOut.end(), name) == leaveOut.end()) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

bool LabClient::waitForCalls(std::string_view function, size_t times) {
    const bool came = eventually([&] { return gone_ || calls(function).size() >= times; });
    EXPECT_TRUE(came) << function << " was called " << calls(function).size() << " times, not " << times;
    return came;
}

Json LabClient::device(std::string_view id) {
    const Json answer = must({{"cmd", "state"}});
    for (const Json& device : answer.value("devices", Json::array())) {
        if (device.value("id", "") == id) return device;
    }
    ADD_FAILURE() << "the lab knows no device " << id << ": " << answer.dump();
    return Json::object();
}

Json LabClient::get(std::string_view id, int property) {
    return must({{"cmd", "get"}, {"id", id}, {"property", property}}).value("value", Json());
}

void LabClient::set(std::string_view id, int property, const Json& value) {
    must({{"cmd", "set"}, {"id", id}, {"property", property}, {"value", value}});
}

void LabClient::press(std::string_view id) {
    must({{"cmd", "press"}, {"id", id}});
}

void LabClient::detach(std::string_view id) {
    must({{"cmd", "detach"}, {"id", id}});
}

void LabClient::attach(const Json& device) {
    must({{"cmd", "attach"}, {"device", device}});
}

void LabClient::fault(std::string_view function, int64_t result, Json more) {
    more["cmd"] = "fault";
    more["call"] = function;
    more["result"] = result;
    must(more);
}

void LabClient::delay(std::string_view function, std::chrono::milliseconds delay, Json more) {
    more["cmd"] = "fault";
    more["call"] = function;
    more["delayMs"] = delay.count();
    must(more);
}

void LabClient::clearFaults() {
    must({{"cmd", "clearFaults"}});
}

int64_t number(const Json& value) {
    if (value.is_number()) return value.get<int64_t>();
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_string()) return std::strtoll(value.get<std::string>().c_str(), nullptr, 0);
    ADD_FAILURE() << "no number: " << value.dump();
    return 0;
}

}  // namespace e2e
