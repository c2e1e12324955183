/* Module.h: one opened module: what it has begun, and what it has to report.
 *
 * A module does nothing on its own. Commands are answered at once or begun; the async command carries on with
 * what was begun and then reports: completions that are due and events, in the order in which they came
 * about. An event is never reported from inside another event's procedure, so that a tree which opens the
 * children that it is told of sees one of them at a time.
 *
 * Thread: one at a time; the lock sees to it, and lets callbacks issue further commands.
 * Owns:   its unfinished commands.
 */
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>
#include <vector>

#include "frameworks/MAID/simulated/Objects.h"

namespace maid {

/** A command as it was given. */
struct Command {
    NkMAIDObject* object = nullptr;
    uint32_t number = 0;
    uint32_t param = 0;
    uint32_t dataType = 0;
    MaidParam data = 0;
    MaidCompletionProc completion = nullptr;
    MaidRef ref = nullptr;
};

void complete(const Command& command, int32_t result);

/** Something that takes more than one step. */
class Process {
public:
    virtual ~Process() = default;
    /** Carries on; the result once it is finished. `isDue`: the completion may be called from now on. */
    virtual std::optional<int32_t> work(bool isDue) = 0;
    virtual void cancel() {}
};

struct Pending {
    Command command;
    ObjectRef object;
    uint32_t remaining = 0;  // async commands until its completion may be called
    std::optional<int32_t> result;
    std::unique_ptr<Process> process;
    bool isWorking = false;
    bool isDone = false;
};
using PendingRef = std::shared_ptr<Pending>;

class Module {
public:
    Module(uint32_t type, uint32_t completeAfter) : type_(type), completeAfter_(completeAfter) {}

    uint32_t type() const { return type_; }
    uint32_t completeAfter() const { return completeAfter_; }
    std::recursive_mutex& mutex() { return mutex_; }

    // All of these want the lock held.

    /** The command has its result; its completion comes when it is due. */
    void finishLater(const Command& command, const ObjectRef& object, uint32_t after, int32_t result);
    /** Begins a process; answers its result when that comes at once, else pending. */
    int32_t begin(const Command& command, const ObjectRef& object, uint32_t after,
                  std::unique_ptr<Process> process);
    bool isWorkingOn(const Object& object) const;

    /** Tells of children, in this order, before anything that comes about later. */
    void announce(const ObjectRef& parent, const std::vector<uint32_t>& ids);
    /** The async command: carries on and reports. */
    void work();
    /** Ends what was begun on the objects for which `isMeant` holds, and completes it now. */
    void abort(const std::function<bool(const Object&)>& isMeant);

    /** Of all modules: commands whose completion has not been called. */
    static uint64_t unfinished();

private:
    using Report = std::variant<PendingRef, Posted>;

    void advance(const PendingRef& pending);
    void collectPosted();
    void report();
    bool takeReport(Report& out);
    void raise(const Posted& posted);
    void done(Pending& pending);

    const uint32_t type_;
    const uint32_t completeAfter_;
    std::recursive_mutex mutex_;
    std::vector<PendingRef> pending_;  // guarded by mutex_, as all below
    std::deque<Report> reports_;
    bool isRaising_ = false;
};

}  // namespace maid
