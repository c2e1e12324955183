#include "frameworks/MAID/simulated/Module.h"

#include <algorithm>
#include <new>
#include <utility>

namespace maid {

namespace {

std::atomic<uint64_t> unfinishedCommands{0};

MaidParam paramOf(uint64_t value) {
    return static_cast<MaidParam>(value);
}

/** A process that runs out of memory ends with that: its completion must come all the same, and the object be
 *  free for another try. */
std::optional<int32_t> workOn(Process& process, bool isDue) {
    try {
        return process.work(isDue);
    } catch (const std::bad_alloc&) {
        return kMaidResultOutOfMemory;
    }
}

}  // namespace

void complete(const Command& command, int32_t result) {
    if (command.completion == nullptr) return;
    command.completion(command.object, command.number, command.param, command.dataType, command.data,
                       command.ref, result);
}

uint64_t Module::unfinished() {
    return unfinishedCommands;
}

void Module::finishLater(const Command& command, const ObjectRef& object, uint32_t after, int32_t result) {
    if (command.completion == nullptr) return;
    if (after == 0) {
        complete(command, result);
        return;
    }
    auto pending = std::make_shared<Pending>();
    pending->command = command;
    pending->object = object;
    pending->remaining = after;
    pending->result = result;
    pending_.push_back(std::move(pending));
    ++unfinishedCommands;
}

int32_t Module::begin(const Command& command, const ObjectRef& object, uint32_t after,
                      std::unique_ptr<Process> process) {
    auto pending = std::make_shared<Pending>();
    pending->command = command;
    pending->object = object;
    pending->remaining = after;
    pending->process = std::move(process);
    pending_.push_back(pending);
    ++unfinishedCommands;
    if (after > 0) return kMaidResultPending;
    advance(pending);
    if (!pending->result) return kMaidResultPending;
    // Finished inside the call: it is not for the next async command to tell.
    const auto isOurs = [&](const Report& report) {
        const auto* finished = std::get_if<PendingRef>(&report);
        return finished != nullptr && *finished == pending;
    };
    if (std::erase_if(reports_, isOurs) > 0) {
        done(*pending);
        complete(command, *pending->result);
    }
    return *pending->result;
}

bool Module::isWorkingOn(const Object& object) const {
    return std::any_of(pending_.begin(), pending_.end(), [&](const PendingRef& pending) {
        return pending->process != nullptr && pending->object.get() == &object && !pending->result;
    });
}

void Module::announce(const ObjectRef& parent, const std::vector<uint32_t>& ids) {
    for (const uint32_t id : ids) {
        reports_.emplace_back(Posted{parent, kMaidEventAddChild, id, true});
    }
}

void Module::done(Pending& pending) {
    if (!std::exchange(pending.isDone, true)) --unfinishedCommands;
}

void Module::advance(const PendingRef& pending) {
    if (pending->isDone || pending->isWorking) return;
    if (pending->remaining > 0) --pending->remaining;
    const bool isDue = pending->remaining == 0;
    if (pending->process && !pending->result) {
        pending->isWorking = true;
        const std::optional<int32_t> result = workOn(*pending->process, isDue);
        pending->isWorking = false;
        // A callback may have closed the object under it.
        if (pending->isDone) return;
        pending->result = result;
    }
    if (!isDue || !pending->result) return;
    std::erase(pending_, pending);
    reports_.emplace_back(pending);
}

void Module::collectPosted() {
    for (Posted& posted : Registry::instance().takePosted(*this)) {
        reports_.emplace_back(std::move(posted));
    }
}

void Module::work() {
    collectPosted();
    const std::vector<PendingRef> begun = pending_;  // callbacks may begin more
    for (const PendingRef& pending : begun) {
        advance(pending);
        collectPosted();  // behind the completion that it belongs to
    }
    report();
}

/** From inside an event's procedure completions alone are due. */
bool Module::takeReport(Report& out) {
    const auto next = std::find_if(reports_.begin(), reports_.end(), [this](const Report& report) {
        return !isRaising_ || std::holds_alternative<PendingRef>(report);
    });
    if (next == reports_.end()) return false;
    out = std::move(*next);
    reports_.erase(next);
    return true;
}

void Module::report() {
    Report next;
    while (takeReport(next)) {
        if (const auto* posted = std::get_if<Posted>(&next)) {
            raise(*posted);
            continue;
        }
        Pending& pending = *std::get<PendingRef>(next);
        if (pending.isDone) continue;
        done(pending);
        complete(pending.command, *pending.result);
    }
}

void Module::raise(const Posted& posted) {
    const Object& object = *posted.object;
    const auto procedure = object.procedures.find(kMaidCapabilityEventProc);
    if (!object.isOpen || procedure == object.procedures.end()) return;
    const NkMAIDCallback callback = procedure->second;
    if (posted.isNews && posted.event == kMaidEventAddChild) {
        const std::vector<ObjectRef> children = Registry::instance().childrenOf(object);
        const bool isKnown = std::any_of(children.begin(), children.end(), [&](const ObjectRef& child) {
            return child->id == posted.parameter && isThere(*child);
        });
        if (isKnown) return;
    }
    isRaising_ = true;
    reinterpret_cast<MaidEventProc>(callback.proc)(callback.ref, posted.event, paramOf(posted.parameter));
    isRaising_ = false;
}

void Module::abort(const std::function<bool(const Object&)>& isMeant) {
    std::vector<PendingRef> ended;
    const auto isEnded = [&](const PendingRef& pending) { return isMeant(*pending->object); };
    for (const Report& report : reports_) {
        const auto* finished = std::get_if<PendingRef>(&report);
        if (finished != nullptr && isEnded(*finished)) ended.push_back(*finished);
    }
    std::copy_if(pending_.begin(), pending_.end(), std::back_inserter(ended), isEnded);
    std::erase_if(pending_, isEnded);
    for (const PendingRef& pending : ended) {
        if (pending->isDone) continue;
        done(*pending);
        const int32_t result = pending->result.value_or(kMaidResultAborted);
        if (pending->process && !pending->result) pending->process->cancel();
        pending->result = result;
        complete(pending->command, result);
    }
    std::erase_if(reports_, [&](const Report& report) {
        const auto* posted = std::get_if<Posted>(&report);
        return posted != nullptr && !posted->object->isOpen;
    });
}

}  // namespace maid
