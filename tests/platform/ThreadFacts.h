/* ThreadFacts.h: what the system tells about this process's threads and descriptors. */
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

/** Waits for a condition that another thread brings about; false if it does not come in a long time. */
template <typename Condition>
bool eventually(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

inline long entriesOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator{});
}

inline long threadCount() {
    return entriesOf("/proc/self/task");
}

inline long descriptorCount() {
    return entriesOf("/proc/self/fd");
}

/** A field of a thread's status, as the kernel words it; empty if there is none. */
inline std::string threadStatus(pid_t thread, const std::string& field) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field + ":")) {
            return line.substr(line.find_first_not_of(" \t", field.size() + 1));
        }
    }
    return {};
}

inline bool isAsleep(pid_t thread) {
    return threadStatus(thread, "State").starts_with("S");
}
