#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/Event.h"

namespace {

struct Handler {
    uintptr_t number;
    EventHandlerUPP function;
    std::vector<EventTypeSpec> types;
    void* userData;
    std::atomic<bool> isRemoved{false};

    bool handles(EventRef event) const {
        return std::any_of(types.begin(), types.end(), [event](const EventTypeSpec& type) {
            return type.eventClass == event->eventClass && type.eventKind == event->kind;
        });
    }
};

/// Oldest first.
using Handlers = std::vector<std::shared_ptr<Handler>>;

constexpr uintptr_t dispatcherNumber = 1;
constexpr uintptr_t applicationNumber = 2;

/** All targets and their handlers, by numbers that are not used again. The lock is a leaf: handlers are
 * called outside it, on a copy of the list, so they may install, remove and dispose as they like. */
class Targets {
public:
    Targets() { targets_ = {{dispatcherNumber, {}}, {applicationNumber, {}}}; }

    OSStatus addWindow(WindowRef window);
    void removeWindow(WindowRef window);
    void setActive(WindowRef window);
    uintptr_t windowTarget(WindowRef window);
    OSStatus install(uintptr_t target, std::shared_ptr<Handler> handler, uintptr_t* number);
    OSStatus remove(uintptr_t handler);
    /// The handlers that an event sent to the target is offered to, in that order. False: no such target.
    bool chain(uintptr_t target, EventRef event, Handlers* out);

private:
    void append(uintptr_t target, EventRef event, Handlers* out) const;

    std::mutex lock_;
    std::map<uintptr_t, Handlers> targets_;
    std::map<WindowRef, uintptr_t> windows_;
    WindowRef active_ = nullptr;
    uintptr_t lastTarget_ = applicationNumber;
    uintptr_t lastHandler_ = 0;
};

Targets& targets() {
    // Never destroyed: the process may exit on one thread while others still send.
    static auto* const all = new Targets;
    return *all;
}

OSStatus Targets::addWindow(WindowRef window) {
    const std::lock_guard guard(lock_);
    if (!windows_.try_emplace(window, lastTarget_ + 1).second) {
        return paramErr;
    }
    targets_.try_emplace(++lastTarget_);
    return noErr;
}

void Targets::removeWindow(WindowRef window) {
    const std::lock_guard guard(lock_);
    const auto found = windows_.find(window);
    if (found == windows_.end()) {
        return;
    }
    for (const auto& handler : targets_[found->second]) {
        handler->isRemoved = true;
    }
    targets_.erase(found->second);
    windows_.erase(found);
    if (active_ == window) {
        active_ = nullptr;
    }
}

void Targets::setActive(WindowRef window) {
    const std::lock_guard guard(lock_);
    active_ = windows_.contains(window) ? window : nullptr;
}

uintptr_t Targets::windowTarget(WindowRef window) {
    const std::lock_guard guard(lock_);
    const auto found = windows_.find(window);
    return found == windows_.end() ? 0 : found->second;
}

OSStatus Targets::install(uintptr_t target, std::shared_ptr<Handler> handler, uintptr_t* number) {
    const std::lock_guard guard(lock_);
    const auto found = targets_.find(target);
    if (found == targets_.end()) {
        return paramErr;
    }
    handler->number = ++lastHandler_;
    *number = handler->number;
    found->second.push_back(std::move(handler));
    return noErr;
}

OSStatus Targets::remove(uintptr_t handler) {
    const std::lock_guard guard(lock_);
    for (auto& [number, handlers] : targets_) {
        const auto found = std::find_if(handlers.begin(), handlers.end(),
                                        [handler](const auto& each) { return each->number == handler; });
        if (found != handlers.end()) {
            (*found)->isRemoved = true;
            handlers.erase(found);
            return noErr;
        }
    }
    return paramErr;
}

void Targets::append(uintptr_t target, EventRef event, Handlers* out) const {
    const auto found = targets_.find(target);
    if (found != targets_.end()) {
        std::copy_if(found->second.rbegin(), found->second.rend(), std::back_inserter(*out),
                     [event](const auto& handler) { return handler->handles(event); });
    }
}

bool Targets::chain(uintptr_t target, EventRef event, Handlers* out) {
    WindowRef named = nullptr;
    const bool isNamed = GetEventParameter(event, kEventParamDirectObject, typeWindowRef, nullptr,
                                           sizeof(WindowRef), nullptr, &named) == noErr;
    const bool isMain = IsMainThread();
    const std::lock_guard guard(lock_);
    if (!targets_.contains(target)) {
        return false;
    }
    append(target, event, out);
    if (!isMain || target == applicationNumber) {
        return true;
    }
    if (target == dispatcherNumber) {
        const auto window = windows_.find(isNamed ? named : active_);
        if (window != windows_.end()) {
            append(window->second, event, out);
        }
    }
    append(applicationNumber, event, out);
    return true;
}

OSStatus callFrom(const Handlers& handlers, size_t first, EventRef event);

}  // namespace

struct OpaqueEventHandlerCall {
    const Handlers* handlers;
    size_t next;
};

namespace {

OSStatus callFrom(const Handlers& handlers, size_t first, EventRef event) {
    for (size_t i = first; i < handlers.size(); ++i) {
        if (handlers[i]->isRemoved) {
            continue;
        }
        OpaqueEventHandlerCall call{&handlers, i + 1};
        const OSStatus status = handlers[i]->function(&call, event, handlers[i]->userData);
        if (status != eventNotHandledErr) {
            return status;
        }
    }
    return eventNotHandledErr;
}

EventTargetRef asTarget(uintptr_t number) {
    return reinterpret_cast<EventTargetRef>(number);
}

}  // namespace

EventTargetRef GetEventDispatcherTarget() {
    return asTarget(dispatcherNumber);
}

EventTargetRef GetApplicationEventTarget() {
    return asTarget(applicationNumber);
}

EventTargetRef GetWindowEventTarget(WindowRef window) {
    return asTarget(targets().windowTarget(window));
}

OSStatus CreateWindowEventTarget(WindowRef window) {
    if (window == nullptr) {
        return paramErr;
    }
    try {
        return targets().addWindow(window);
    } catch (const std::bad_alloc&) {
        return memFullErr;
    }
}

void DisposeWindowEventTarget(WindowRef window) {
    targets().removeWindow(window);
}

void SetActiveWindow(WindowRef window) {
    targets().setActive(window);
}

OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, size_t numTypes,
                             const EventTypeSpec* list, void* userData, EventHandlerRef* out) {
    if (handler == nullptr || (numTypes > 0 && list == nullptr)) {
        return paramErr;
    }
    try {
        auto record = std::make_shared<Handler>();
        record->function = handler;
        record->types.assign(list, list + numTypes);
        record->userData = userData;
        uintptr_t number = 0;
        const OSStatus status =
            targets().install(reinterpret_cast<uintptr_t>(target), std::move(record), &number);
        if (status == noErr && out != nullptr) {
            *out = reinterpret_cast<EventHandlerRef>(number);
        }
        return status;
    } catch (const std::bad_alloc&) {
        return memFullErr;
    }
}

OSStatus RemoveEventHandler(EventHandlerRef handler) {
    return targets().remove(reinterpret_cast<uintptr_t>(handler));
}

OSStatus SendEventToEventTarget(EventRef event, EventTargetRef target) {
    if (event == nullptr) {
        return paramErr;
    }
    try {
        Handlers handlers;
        if (!targets().chain(reinterpret_cast<uintptr_t>(target), event, &handlers)) {
            return paramErr;
        }
        // A handler may give away the last reference that its sender held.
        RetainEvent(event);
        const OSStatus status = callFrom(handlers, 0, event);
        ReleaseEvent(event);
        return status;
    } catch (const std::bad_alloc&) {
        return memFullErr;
    }
}

OSStatus CallNextEventHandler(EventHandlerCallRef call, EventRef event) {
    if (call == nullptr || event == nullptr) {
        return paramErr;
    }
    return callFrom(*call->handlers, call->next, event);
}
