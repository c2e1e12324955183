/* support.h: folders, child processes, socket clients and commands for the lab's tests.
 *
 * Thread: one test, one thread.
 * Owns:   what a test started is ended and removed when its object goes.
 */
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace test {

using Json = nlohmann::json;

inline constexpr std::chrono::seconds kPatience{20};

/** Waits until it is so, for at most kPatience. */
bool eventually(const std::function<bool()>& condition);

class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return path_; }
    std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }
    /** Writes a file and answers its path. */
    std::string write(std::string_view name, std::string_view content) const;

private:
    std::string path_;
};

std::string readFile(const std::string& path);
/** This program's own folder, where the other programs of the tests are. */
std::string programFolder();

/** A command to the lab of this process; fails the test when it is refused. */
Json must(const Json& command);
/** The reason why it was refused; fails the test when it was not. */
std::string refused(const Json& command);
/** The state of one device. */
Json deviceState(std::string_view id);
/** The trace's entries of one function. */
Json callsOf(std::string_view function);
/** Replaces the world: only these devices, no faults, an empty trace. */
void lay(const Json& devices, const Json& more = Json::object());

/** A process that stands until its input ends. */
class Idle {
public:
    explicit Idle(const std::map<std::string, std::string>& environment);
    ~Idle();
    Idle(const Idle&) = delete;
    Idle& operator=(const Idle&) = delete;

    /** Waits for the line that main writes; false when it ended instead, or says nothing for kPatience. */
    bool waitForMain();
    /** Ends its input and answers its exit status; negative: the signal that ended it. One that has not ended
     *  within kPatience is killed, and fails the test. */
    int finish();
    void kill(int signal) const;
    /** All of its standard error; after finish(). */
    const std::string& errors() const { return errors_; }
    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int error_ = -1;
    std::string errors_;
};

class SocketClient {
public:
    explicit SocketClient(const std::string& path);
    ~SocketClient();
    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;

    bool isConnected() const { return socket_ >= 0; }
    void send(std::string_view bytes) const;
    /** The next line; empty when the other end has gone, or says nothing for kPatience. */
    std::string line();
    Json ask(const Json& command);

private:
    int socket_ = -1;
    std::string received_;
};

}  // namespace test
