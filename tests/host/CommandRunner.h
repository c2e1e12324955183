/* CommandRunner.h: runs the built tarvo command as a shell would.
 *
 * Thread: one owner. Both outputs are drained while it runs; the destructor ends it.
 */
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <condition_variable>
#include <mutex>

namespace fake {

class CommandRunner {
public:
    /** Starts bin/tarvo of the build tree. TARVO_LAB and the like are not passed on. */
    explicit CommandRunner(const std::vector<std::string>& arguments, const std::string& folder = "");
    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;
    ~CommandRunner();

    /** False: the text has not come by the end of the time or of the program. */
    bool waitForOut(const std::string& text, std::chrono::seconds limit = std::chrono::seconds(60));
    bool waitForErr(const std::string& text, std::chrono::seconds limit = std::chrono::seconds(60));
    void interrupt() const;
    /** The exit status, 128 + signal for one that was killed; -1: it did not end in time and was killed. */
    int wait(std::chrono::seconds limit = std::chrono::seconds(120));

    std::string out();
    std::string err();

private:
    void drain(int fd, std::string& text);
    bool waitFor(const std::string& in, const std::string& text, std::chrono::seconds limit);

    pid_t pid_ = 0;
    int status_ = -1;
    bool hasEnded_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string out_, err_;
    int open_ = 2;
    std::thread outThread_, errThread_;
};

struct CommandResult {
    int status;
    std::string out;
    std::string err;
};
CommandResult runTarvo(const std::vector<std::string>& arguments, const std::string& folder = "");

}  // namespace fake
