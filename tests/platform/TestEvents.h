/* TestEvents.h: shorthand for the event tests. */
#pragma once

#include <memory>
#include <type_traits>

#include "platform/Events.h"

constexpr OSType kTestClass = fourCC("test");

struct EventReleaser {
    void operator()(EventRef event) const { ReleaseEvent(event); }
};
using OwnedEvent = std::unique_ptr<std::remove_pointer_t<EventRef>, EventReleaser>;

inline OwnedEvent makeEvent(uint32_t kind, OSType eventClass = kTestClass) {
    EventRef event = nullptr;
    CreateEvent(nullptr, eventClass, kind, 0, 0, &event);
    return OwnedEvent(event);
}

inline OSStatus post(EventQueueRef queue, uint32_t kind, EventPriority priority = kEventPriorityStandard) {
    const OwnedEvent event = makeEvent(kind);
    return PostEventToQueue(queue, event.get(), priority);
}

/** The next event of the calling thread's queue; null when none comes within `seconds`. */
inline OwnedEvent receive(double seconds = 0) {
    EventRef event = nullptr;
    return ReceiveNextEvent(0, nullptr, seconds, true, &event) == noErr ? OwnedEvent(event) : nullptr;
}
