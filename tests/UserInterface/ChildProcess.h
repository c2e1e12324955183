/* ChildProcess.h: a program that a test talks with by lines.
 *
 * Thread: one thread at a time.
 * Owns:   the process; a destructor that finds it running ends it.
 * Errors: empty answers when the program says nothing in a long time or has ended.
 */
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

class ChildProcess {
public:
    /** `environment` is laid over the test's own; an empty value takes a variable away. The program's
     * descriptor 1 is read by readLine(); its standard error stays the test's. */
    ChildProcess(const std::vector<std::string>& command,
                 const std::map<std::string, std::string>& environment);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /** One line to it, one line from it. */
    std::string ask(const std::string& line);
    std::string readLine();
    /** Waits until its main thread has slept through half a second; false if it never does. */
    bool comesToRest() const;
    /** Closes its input and waits: the exit status, 128 + n after signal n, nothing if it does not end. */
    std::optional<int> finish();
    void end(int signal);

private:
    std::optional<int> waitForEnd();

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string received_;
};

/** Whether a program of that name can be found. */
bool isInstalled(const std::string& program);

/** The folder of the running test program. */
std::string ownFolder();
