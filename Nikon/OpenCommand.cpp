#include "Nikon/OpenCommand.h"

#include <list>

#include "Nikon/CallBack.h"
#include "Nikon/Immortal.h"
#include "Nikon/Tickets.h"

namespace nikon {

namespace {

using CompletionPtr = std::shared_ptr<Completion>;

// Neither is ever destroyed: a module may complete commands while the process exits.
Tickets<CompletionPtr>& openCommands() {
    return immortal<Tickets<CompletionPtr>>();
}

/** Commands that nobody waits for any more, in the order in which they were left. */
class LeftCommands {
public:
    void add(MaidRef reference) {
        const std::lock_guard guard(lock_);
        try {
            references_.push_back(reference);
        } catch (const std::bad_alloc&) {
            return;  // stays until it is completed, as all do that are
        }
        if (references_.size() <= kMostLeftCommands) return;
        takeCompletion(references_.front());
        references_.pop_front();
    }

private:
    std::mutex lock_;  // taken before that of the tickets
    std::list<MaidRef> references_;
};

LeftCommands& leftCommands() {
    return immortal<LeftCommands>();
}

CompletionPtr newCompletion() {
    try {
        return std::make_shared<Completion>();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

OpenCommand::OpenCommand(MaidRef transfer) : completion_(newCompletion()) {
    if (completion_ == nullptr) return;
    completion_->transfer = transfer;
    reference_ = openCommands().issue(completion_);
}

OpenCommand::~OpenCommand() {
    if (reference_ != nullptr && !isCompleted()) leftCommands().add(reference_);
}

void OpenCommand::withdraw() {
    takeCompletion(reference_);
    reference_ = nullptr;
}

CompletionPtr takeCompletion(MaidRef reference) {
    return openCommands().take(reference);
}

int32_t issueAndWait(const tagRefObj* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                     MaidParam data, OpenCommand& open) {
    if (open.reference() == nullptr) return kMaidResultOutOfMemory;
    // Not told by the result: modules have numbers of their own.
    const bool isGiven = object != nullptr && object->entryPoint != nullptr;
    const int32_t result =
        CallMAIDEntryPoint(object, command, parameter, dataType, data, CompletionProc, open.reference());
    const uint32_t& count = open.completion().count;
    if (isAccepted(result)) {
        IdleLoop(object, &count, 1);
    } else {
        IdleLoopAfterRefusal(object, &count, 1);
    }
    if (!isGiven) open.withdraw();
    return result;
}

}  // namespace nikon
