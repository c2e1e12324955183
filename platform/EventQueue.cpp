#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "platform/Event.h"

/* How posting and waiting fit together: the events lie in our own deques under our own mutex, so what a
 * poster wrote is visible to the receiver by that mutex alone. GLib only puts the owner to sleep and wakes
 * it: a wake-up that comes between a look at the deques and the sleep is kept by the context, and the owner
 * looks again after each one, so none is lost and an idle queue never wakes. */

namespace {

struct ContextUnref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
using Context = std::unique_ptr<GMainContext, ContextUnref>;

class Queue {
public:
    explicit Queue(Context context) : context_(std::move(context)) {}

    OSStatus post(EventRef event, EventPriority priority);
    void postQuit();
    /// True when `status` answers the receiver: an event, or that it is to quit.
    bool take(size_t numTypes, const EventTypeSpec* list, bool pullEvent, EventRef* out, OSStatus* status);
    void end();
    GMainContext* context() const { return context_.get(); }

private:
    using Lane = std::deque<EventRef>;

    const Context context_;
    std::mutex lock_;
    /// By priority, the oldest first. A null stands for a request to quit.
    std::array<Lane, kEventPriorityHigh + 1> lanes_;
    bool hasEnded_ = false;
};

OSStatus Queue::post(EventRef event, EventPriority priority) {
    {
        const std::lock_guard guard(lock_);
        if (hasEnded_) {
            return paramErr;
        }
        if (event->isQueued.exchange(true)) {
            return eventAlreadyPostedErr;
        }
        try {
            lanes_[static_cast<size_t>(priority)].push_back(event);
        } catch (const std::bad_alloc&) {
            event->isQueued = false;
            return memFullErr;
        }
        RetainEvent(event);
    }
    g_main_context_wakeup(context_.get());
    return noErr;
}

void Queue::postQuit() {
    {
        const std::lock_guard guard(lock_);
        lanes_[kEventPriorityStandard].push_back(nullptr);
    }
    g_main_context_wakeup(context_.get());
}

bool isWanted(EventRef event, size_t numTypes, const EventTypeSpec* list) {
    return numTypes == 0 || std::any_of(list, list + numTypes, [event](const EventTypeSpec& type) {
               return type.eventClass == event->eventClass && type.eventKind == event->kind;
           });
}

bool Queue::take(size_t numTypes, const EventTypeSpec* list, bool pullEvent, EventRef* out,
                 OSStatus* status) {
    const std::lock_guard guard(lock_);
    for (auto lane = lanes_.rbegin(); lane != lanes_.rend(); ++lane) {
        const auto found = std::find_if(lane->begin(), lane->end(), [&](EventRef event) {
            return event == nullptr || isWanted(event, numTypes, list);
        });
        if (found == lane->end()) {
            continue;
        }
        EventRef event = *found;
        *status = event == nullptr ? eventLoopQuitErr : noErr;
        if (event != nullptr) {
            *out = event;
        }
        if (event == nullptr || pullEvent) {
            lane->erase(found);
            if (event != nullptr) {
                event->isQueued = false;
            }
        }
        return true;
    }
    return false;
}

void Queue::end() {
    std::array<Lane, kEventPriorityHigh + 1> left;
    {
        const std::lock_guard guard(lock_);
        hasEnded_ = true;
        left.swap(lanes_);
    }
    for (const Lane& lane : left) {
        for (EventRef event : lane) {
            if (event != nullptr) {
                event->isQueued = false;
                ReleaseEvent(event);
            }
        }
    }
}

/** The queues of living threads, by number. Numbers are not used again, so a reference kept beyond its
 * thread finds nothing instead of another thread's queue. */
class LiveQueues {
public:
    uintptr_t add(std::shared_ptr<Queue> queue) {
        const std::lock_guard guard(lock_);
        queues_.emplace(++last_, std::move(queue));
        return last_;
    }
    void remove(uintptr_t number) {
        const std::lock_guard guard(lock_);
        queues_.erase(number);
    }
    std::shared_ptr<Queue> find(uintptr_t number) {
        const std::lock_guard guard(lock_);
        const auto found = queues_.find(number);
        return found == queues_.end() ? nullptr : found->second;
    }

private:
    std::mutex lock_;
    std::map<uintptr_t, std::shared_ptr<Queue>> queues_;
    uintptr_t last_ = 0;
};

LiveQueues& liveQueues() {
    // Never destroyed: the process may exit on one thread while others still post.
    static auto* const queues = new LiveQueues;
    return *queues;
}

uintptr_t mainQueueNumber() {
    static const uintptr_t number =
        liveQueues().add(std::make_shared<Queue>(Context(g_main_context_ref(g_main_context_default()))));
    return number;
}

/** A thread's hold on its queue. The context is pushed as the thread's default, so that libraries which look
 * for "the current loop" find the one that this thread really runs. */
class OwnQueue {
public:
    OwnQueue() {
        if (IsMainThread()) {
            number_ = mainQueueNumber();
            queue_ = liveQueues().find(number_);
            return;
        }
        GMainContext* context = g_main_context_get_thread_default();
        if (context != nullptr) {
            g_main_context_ref(context);
        } else {
            context = g_main_context_new();
            g_main_context_push_thread_default(context);
            isPushed_ = true;
        }
        queue_ = std::make_shared<Queue>(Context(context));
        number_ = liveQueues().add(queue_);
    }
    ~OwnQueue();
    OwnQueue(const OwnQueue&) = delete;
    OwnQueue& operator=(const OwnQueue&) = delete;

    uintptr_t number() const { return number_; }
    Queue& queue() const { return *queue_; }

private:
    uintptr_t number_ = 0;
    std::shared_ptr<Queue> queue_;
    bool isPushed_ = false;
};

// Outlives OwnQueue within the thread's tear-down, since it needs none.
thread_local bool isThreadEnding = false;

OwnQueue::~OwnQueue() {
    isThreadEnding = true;
    if (IsMainThread()) {
        return;
    }
    liveQueues().remove(number_);
    queue_->end();
    if (isPushed_) {
        g_main_context_pop_thread_default(queue_->context());
    }
}

OwnQueue* ownQueue() {
    if (isThreadEnding) {
        return nullptr;
    }
    thread_local OwnQueue own;
    return &own;
}

EventQueueRef asReference(uintptr_t number) {
    return reinterpret_cast<EventQueueRef>(number);
}

/** Ends a sleep of a context at a moment, however often the sleeper wakes before. */
class Alarm {
public:
    Alarm(GMainContext* context, double seconds) : source_(g_source_new(&functions, sizeof(GSource))) {
        g_source_set_ready_time(source_, moment(seconds));
        g_source_attach(source_, context);
    }
    ~Alarm() {
        g_source_destroy(source_);
        g_source_unref(source_);
    }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    bool hasRung() const { return g_get_monotonic_time() >= g_source_get_ready_time(source_); }

private:
    static gint64 moment(double seconds) {
        // Beyond a century there is nothing to tell from forever, and the sum must not overflow.
        constexpr double century = 100.0 * 366 * 24 * 3600;
        return g_get_monotonic_time() + static_cast<gint64>(std::ceil(std::min(seconds, century) * 1e6));
    }
    static gboolean ring(GSource*, GSourceFunc, gpointer) { return G_SOURCE_CONTINUE; }

    inline static GSourceFuncs functions = {nullptr, nullptr, ring, nullptr, nullptr, nullptr};
    GSource* source_;
};

}  // namespace

bool IsMainThread() {
    thread_local const bool isMain = gettid() == getpid();
    return isMain;
}

EventQueueRef GetCurrentEventQueue() {
    const OwnQueue* own = ownQueue();
    return own == nullptr ? nullptr : asReference(own->number());
}

EventQueueRef GetMainEventQueue() {
    return asReference(mainQueueNumber());
}

OSStatus PostEventToQueue(EventQueueRef queue, EventRef event, EventPriority priority) {
    if (event == nullptr || priority < kEventPriorityLow || priority > kEventPriorityHigh) {
        return paramErr;
    }
    const std::shared_ptr<Queue> found = liveQueues().find(reinterpret_cast<uintptr_t>(queue));
    return found == nullptr ? paramErr : found->post(event, priority);
}

OSStatus ReceiveNextEvent(size_t numTypes, const EventTypeSpec* list, double timeoutSeconds, bool pullEvent,
                          EventRef* out) {
    if (out == nullptr || (numTypes > 0 && list == nullptr) || std::isnan(timeoutSeconds)) {
        return paramErr;
    }
    const OwnQueue* own = ownQueue();
    if (own == nullptr) {
        return eventInternalErr;
    }
    Queue& queue = own->queue();
    OSStatus status = noErr;
    if (queue.take(numTypes, list, pullEvent, out, &status)) {
        return status;
    }
    if (timeoutSeconds < 0) {
        do {
            g_main_context_iteration(queue.context(), TRUE);
        } while (!queue.take(numTypes, list, pullEvent, out, &status));
        return status;
    }
    const Alarm alarm(queue.context(), timeoutSeconds);
    do {
        g_main_context_iteration(queue.context(), TRUE);
        if (queue.take(numTypes, list, pullEvent, out, &status)) {
            return status;
        }
    } while (!alarm.hasRung());
    return eventLoopTimedOutErr;
}

void RunApplicationEventLoop() {
    if (!IsMainThread()) {
        return;
    }
    for (;;) {
        EventRef event = nullptr;
        if (ReceiveNextEvent(0, nullptr, kEventDurationForever, true, &event) != noErr) {
            return;
        }
        SendEventToEventTarget(event, GetEventDispatcherTarget());
        ReleaseEvent(event);
        // A steady stream of events must not keep the windows from being drawn.
        g_main_context_iteration(nullptr, FALSE);
    }
}

void QuitApplicationEventLoop() {
    liveQueues().find(mainQueueNumber())->postQuit();
}
