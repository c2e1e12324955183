/* process.h: a program that a test runs beside the helper.
 *
 * Thread: one thread at a time; the log may be waited on from any.
 * Owns:   the process, ended and awaited at the latest with the object.
 * Errors: a program that cannot be run ends by itself, with status 127.
 */
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "tests/e2e/support/captured_log.h"

namespace pw {

using Environment = std::map<std::string, std::string>;

class Process {
public:
    /** The command's program is looked for as a shell does; `changes` is laid over the test's environment. */
    Process(const std::vector<std::string>& command, const Environment& changes);
    ~Process() { end(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /** What it says on both of its streams. */
    e2e::CapturedLog& said() { return said_; }
    /** It stays as it is until it is to go on. */
    void halt();
    void resume();
    /** With the signal, and KILL when that does not help. */
    void end(int signal = 15);

private:
    void send(int signal) const;

    e2e::CapturedLog said_;
    pid_t pid_ = -1;
};

}  // namespace pw
