#include "frameworks/EDSDK/simulated/Events.h"

#include <deque>
#include <mutex>
#include <utility>

#include "frameworks/EDSDK/simulated/Library.h"
#include "platform/Events.h"

namespace sim {

namespace {

using lab::canon::Event;

constexpr OSType kEventClass = fourCC("EDSE");
constexpr uint32_t kEventKind = 1;
/** Property changes come in crowds; when nobody fetches them the oldest go. */
constexpr size_t kMostWaiting = 4096;

struct Waiting {
    Attachment from;
    Event event;
    EdsBaseRef object = nullptr;  // of an object event; the library's own reference
};

struct Queue {
    std::mutex mutex;
    std::deque<Waiting> events;      // guarded by mutex, as below
    EventQueueRef posted = nullptr;  // where tokens go; null: nowhere
    bool isHandlerInstalled = false;
    uint64_t dropped = 0;
};

Queue& queue() {
    static auto* all = new Queue;
    return *all;
}

OSStatus tokenArrived(EventHandlerCallRef, EventRef, void*) {
    deliverOne();
    return noErr;
}

void postToken(EventQueueRef target) {
    EventRef token = nullptr;
    if (CreateEvent(nullptr, kEventClass, kEventKind, 0, 0, &token) != noErr) return;
    // A thread that has ended takes no more; EdsGetEvent still finds the event.
    PostEventToQueue(target, token, kEventPriorityStandard);
    ReleaseEvent(token);
}

void releaseObject(EdsBaseRef object) {
    if (object != nullptr) releaseReference(object);
}

template <typename Function>
bool isWanted(const Handler<Function>& handler, uint32_t event) {
    constexpr uint32_t kAllOfKind = 0xFF;  // 0x200 stands for all of 0x2xx
    return handler.function != nullptr && (handler.event == event || (handler.event & kAllOfKind) == 0);
}

/** What is installed at this moment: a handler that was taken away is not called any more. */
template <typename Function>
Handler<Function> handlerOf(Camera& camera, Handler<Function> Camera::*member) {
    const std::lock_guard guard(camera.mutex);
    return camera.*member;
}

void deliverObject(Camera& camera, const Waiting& waiting) {
    const auto handler = handlerOf(camera, &Camera::onObject);
    if (isWanted(handler, waiting.event.event)) {
        handler.function(waiting.event.event, waiting.object, handler.context);
    } else {
        releaseObject(waiting.object);
    }
}

void deliverProperty(Camera& camera, const Event& event) {
    const auto handler = handlerOf(camera, &Camera::onProperty);
    if (isWanted(handler, event.event)) {
        handler.function(event.event, event.property, event.parameter, handler.context);
    }
}

void deliverState(Camera& camera, const Event& event) {
    const auto handler = handlerOf(camera, &Camera::onState);
    if (isWanted(handler, event.event)) handler.function(event.event, event.parameter, handler.context);
}

void deliver(const Waiting& waiting) {
    const std::shared_ptr<Camera> camera = Objects::instance().cameraAt(waiting.from);
    if (!camera) {
        releaseObject(waiting.object);
        return;
    }
    switch (waiting.event.kind) {
        case Event::Kind::object:
            deliverObject(*camera, waiting);
            return;
        case Event::Kind::property:
            deliverProperty(*camera, waiting.event);
            return;
        case Event::Kind::state:
            deliverState(*camera, waiting.event);
            return;
    }
}

}  // namespace

EdsError startEvents() {
    const EventQueueRef own = GetCurrentEventQueue();
    const EventTypeSpec type{kEventClass, kEventKind};
    const std::lock_guard guard(queue().mutex);
    if (!queue().isHandlerInstalled) {
        const OSStatus status =
            InstallEventHandler(GetEventDispatcherTarget(), tokenArrived, 1, &type, nullptr, nullptr);
        if (status != noErr) return EDS_ERR_INTERNAL_ERROR;
        queue().isHandlerInstalled = true;
    }
    queue().posted = own;
    queue().dropped = 0;
    return EDS_ERR_OK;
}

void stopEvents() {
    std::deque<Waiting> left;
    const std::lock_guard guard(queue().mutex);
    queue().posted = nullptr;
    left.swap(queue().events);
}

void noteEvent(const Attachment& from, Event event) {
    if (!Objects::instance().cameraAt(from)) return;  // nobody can have asked for it
    Waiting waiting{from, std::move(event), nullptr};
    if (waiting.event.picture) {
        waiting.object =
            Objects::instance().add(std::make_shared<DirectoryItem>(from, waiting.event.picture));
    }
    EdsBaseRef lost = nullptr;
    EventQueueRef target = nullptr;
    {
        const std::lock_guard guard(queue().mutex);
        target = queue().posted;
        queue().events.push_back(std::move(waiting));
        if (queue().events.size() > kMostWaiting) {
            lost = queue().events.front().object;
            queue().events.pop_front();
            ++queue().dropped;
        }
    }
    releaseObject(lost);
    if (target != nullptr) postToken(target);
}

void deliverOne() {
    Waiting waiting;
    {
        const std::lock_guard guard(queue().mutex);
        if (queue().events.empty()) return;
        waiting = std::move(queue().events.front());
        queue().events.pop_front();
    }
    deliver(waiting);
}

Backlog backlog() {
    const std::lock_guard guard(queue().mutex);
    return {queue().events.size(), queue().dropped};
}

}  // namespace sim
