/* OpenCommand.h: a command that a module has been given and has not completed yet.
 *
 * Thread: the one that issues the command and polls the module.
 * Owns:   what the module may write to before it completes. A command that its issuer leaves before that
 *         keeps it: a module that comes late must not write into memory that is somebody else's by then. Of
 *         more than kMostLeftCommands the oldest is forgotten, with its memory.
 * Errors: without memory it has no reference, and must not be issued.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "MAID.h"
#include "Nikon/MaidCommands.h"

namespace nikon {

/** Some minutes of a module that leaves a command open each second; some 50 MB if all of them were frames. */
constexpr size_t kMostLeftCommands = 256;

struct Completion {
    uint32_t count = 0;  // what the issuer's IdleLoop looks at
    int32_t result = 0;  // once counted
    MaidRef transfer = nullptr;
    ElementStorage record;    // our copy of what the command's data points to
    ElementStorage elements;  // and what that points to
};

class OpenCommand {
public:
    /** Names a transfer that ends with the completion of an acquisition. */
    explicit OpenCommand(MaidRef transfer = nullptr);
    ~OpenCommand();
    OpenCommand(const OpenCommand&) = delete;
    OpenCommand& operator=(const OpenCommand&) = delete;

    /** What the completion procedure is given. */
    MaidRef reference() const { return reference_; }
    Completion& completion() const { return *completion_; }
    bool isCompleted() const { return completion_ != nullptr && completion_->count > 0; }
    /** The module was never given it. */
    void withdraw();
    bool isWithdrawn() const { return reference_ == nullptr; }

private:
    std::shared_ptr<Completion> completion_;
    MaidRef reference_ = nullptr;
};

/** Ends the command of that reference; null when it has ended before. */
std::shared_ptr<Completion> takeCompletion(MaidRef reference);

/** Issues the command and lets the module work until it is completed, or cannot be expected to be any more.
 *  The result of issuing it. */
int32_t issueAndWait(const tagRefObj* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                     MaidParam data, OpenCommand& open);

}  // namespace nikon
