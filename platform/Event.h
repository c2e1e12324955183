/* Event.h: the event record, shared by the platform's own event units.
 *
 * Thread: any; the parameters have a lock of their own, a leaf.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <vector>

#include "platform/Events.h"

struct EventParameter {
    OSType name;
    OSType type;
    std::vector<std::byte> data;
};

struct OpaqueEvent {
    OSType eventClass;
    uint32_t kind;
    double when;
    uint32_t attributes;
    std::atomic<int> references{1};
    /// An event waits in one queue at most; whoever turns this true may queue it.
    std::atomic<bool> isQueued{false};
    std::mutex lock;
    std::vector<EventParameter> parameters;
};
