#include "platform/Event.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>

namespace {

double secondsSinceStart() {
    // The steady clock counts from the machine's start.
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

EventParameter* findParameter(OpaqueEvent& event, OSType name) {
    const auto found = std::find_if(event.parameters.begin(), event.parameters.end(),
                                    [name](const EventParameter& each) { return each.name == name; });
    return found == event.parameters.end() ? nullptr : &*found;
}

}  // namespace

OSStatus CreateEvent(void* allocator, OSType eventClass, uint32_t kind, double when, uint32_t attributes,
                     EventRef* out) {
    if (allocator != nullptr || out == nullptr) {
        return paramErr;
    }
    auto* event = new (std::nothrow) OpaqueEvent{
        .eventClass = eventClass,
        .kind = kind,
        .when = when == 0 ? secondsSinceStart() : when,
        .attributes = attributes,
        .lock = {},
        .parameters = {},
    };
    if (event == nullptr) {
        return memFullErr;
    }
    *out = event;
    return noErr;
}

EventRef RetainEvent(EventRef event) {
    if (event != nullptr) {
        event->references.fetch_add(1, std::memory_order_relaxed);
    }
    return event;
}

void ReleaseEvent(EventRef event) {
    if (event != nullptr && event->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete event;
    }
}

OSType GetEventClass(EventRef event) {
    return event == nullptr ? 0 : event->eventClass;
}

uint32_t GetEventKind(EventRef event) {
    return event == nullptr ? 0 : event->kind;
}

double GetEventTime(EventRef event) {
    return event == nullptr ? 0 : event->when;
}

OSStatus SetEventParameter(EventRef event, OSType name, OSType type, size_t size, const void* data) {
    if (event == nullptr || (data == nullptr && size > 0)) {
        return paramErr;
    }
    try {
        const auto* bytes = static_cast<const std::byte*>(data);
        std::vector<std::byte> copy(bytes, bytes + size);
        const std::lock_guard guard(event->lock);
        if (EventParameter* known = findParameter(*event, name)) {
            known->type = type;
            known->data = std::move(copy);
        } else {
            event->parameters.push_back({name, type, std::move(copy)});
        }
        return noErr;
    } catch (const std::bad_alloc&) {
        return memFullErr;
    }
}

OSStatus GetEventParameter(EventRef event, OSType name, OSType type, OSType* actualType, size_t bufferSize,
                           size_t* actualSize, void* out) {
    if (event == nullptr) {
        return paramErr;
    }
    const std::lock_guard guard(event->lock);
    const EventParameter* parameter = findParameter(*event, name);
    if (parameter == nullptr || (type != typeWildCard && type != parameter->type)) {
        return eventParameterNotFoundErr;
    }
    if (actualType != nullptr) {
        *actualType = parameter->type;
    }
    if (actualSize != nullptr) {
        *actualSize = parameter->data.size();
    }
    if (out == nullptr || parameter->data.empty()) {
        return noErr;
    }
    if (bufferSize < parameter->data.size()) {
        return eventParameterSizeErr;
    }
    std::memcpy(out, parameter->data.data(), parameter->data.size());
    return noErr;
}
