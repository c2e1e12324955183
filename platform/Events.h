/* Events.h: events, the event queue of each thread, event handlers, and the application's event loop.
 *
 * Thread: every thread has one queue of its own, made when the thread first asks for it. Anyone may post to
 *         any queue; only the owner receives from it. The main thread's queue stands on GLib's default main
 *         context, which GTK shares; any other thread's on a thread-default context of its own. Handlers run
 *         on the thread that sends the event. Window and application handlers run on the main thread only.
 * Owns:   events are counted: CreateEvent and RetainEvent give a reference, ReleaseEvent takes one back.
 *         A queue holds a reference of its own to what is posted to it. References to queues, targets and
 *         handlers are numbers in disguise, never used again: one that outlived its object is refused.
 * Units:  times and timeouts in seconds.
 * Errors: statuses below and in Types.h; outputs are untouched on failure unless said otherwise.
 */
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Export.h"
#include "platform/Types.h"

using EventRef = struct OpaqueEvent*;
using EventQueueRef = struct OpaqueEventQueue*;
using EventTargetRef = struct OpaqueEventTarget*;
using EventHandlerRef = struct OpaqueEventHandler*;
using EventHandlerCallRef = struct OpaqueEventHandlerCall*;
using WindowRef = struct OpaqueWindow*;

/** Answers eventNotHandledErr to let older handlers see the event; anything else ends its way. */
using EventHandlerUPP = OSStatus (*)(EventHandlerCallRef call, EventRef event, void* userData);

struct EventTypeSpec {
    OSType eventClass;
    uint32_t eventKind;
};

enum EventPriority : int16_t { kEventPriorityLow = 0, kEventPriorityStandard = 1, kEventPriorityHigh = 2 };

constexpr double kEventDurationForever = -1.0;
constexpr double kEventDurationNoWait = 0.0;

constexpr OSStatus eventAlreadyPostedErr = -9860;      ///< the event waits in a queue already
constexpr OSStatus eventInternalErr = -9868;           ///< wrong thread, or the thread is ending
constexpr OSStatus eventParameterNotFoundErr = -9870;  ///< no parameter of that name and type
constexpr OSStatus eventParameterSizeErr = -9871;      ///< the buffer is smaller than the parameter
constexpr OSStatus eventNotHandledErr = -9874;
constexpr OSStatus eventLoopTimedOutErr = -9875;
constexpr OSStatus eventLoopQuitErr = -9876;

constexpr OSType kEventClassCommand = fourCC("cmds");
constexpr uint32_t kEventCommandProcess = 1;
constexpr OSType kEventParamDirectObject = fourCC("----");
constexpr OSType typeHICommand = fourCC("hcmd");
constexpr OSType typeWindowRef = fourCC("wind");
constexpr OSType typeWildCard = fourCC("****");

/** What a command event carries as its direct object. The record has no gaps. There are no menus here: a
 * menu is a number, 0 for none. */
#pragma pack(push, 2)
struct HICommand {
    uint32_t attributes;
    OSType commandID;
    uint32_t menu;
    uint16_t menuItemIndex;
};
#pragma pack(pop)
static_assert(sizeof(HICommand) == 14);

/* ---- Events ---------------------------------------------------------------------------------------- */

/** Makes an event with one reference. `allocator` must be null; `when` 0 means now; `attributes` are kept.
 * noErr, paramErr or memFullErr. */
TARVO_PLATFORM_API OSStatus CreateEvent(void* allocator, OSType eventClass, uint32_t kind, double when,
                                        uint32_t attributes, EventRef* out);
/** Both do nothing with null. RetainEvent answers its argument. */
TARVO_PLATFORM_API EventRef RetainEvent(EventRef event);
TARVO_PLATFORM_API void ReleaseEvent(EventRef event);

/** 0 for null. */
TARVO_PLATFORM_API OSType GetEventClass(EventRef event);
TARVO_PLATFORM_API uint32_t GetEventKind(EventRef event);
/** Seconds since the machine started. */
TARVO_PLATFORM_API double GetEventTime(EventRef event);

/** Copies `size` bytes into the event under a name, replacing an earlier value of that name. */
TARVO_PLATFORM_API OSStatus SetEventParameter(EventRef event, OSType name, OSType type, size_t size,
                                              const void* data);

/** Copies a parameter out. `type` must be the one it was set with, or typeWildCard.
 *
 * `actualType`, `actualSize` and `out` may each be null; with `out` null only type and size are told. A
 * buffer that is too small gets eventParameterSizeErr, nothing in it, and the size needed in `actualSize`.
 */
TARVO_PLATFORM_API OSStatus GetEventParameter(EventRef event, OSType name, OSType type, OSType* actualType,
                                              size_t bufferSize, size_t* actualSize, void* out);

/* ---- Queues ---------------------------------------------------------------------------------------- */

/** The calling thread's queue, made on first use; it ends with the thread. Null while the thread ends. */
TARVO_PLATFORM_API EventQueueRef GetCurrentEventQueue();
/** The main thread's queue; it lasts as long as the process. */
TARVO_PLATFORM_API EventQueueRef GetMainEventQueue();
TARVO_PLATFORM_API bool IsMainThread();

/** Appends the event behind those of its priority and wakes the owner. Any thread.
 *
 * paramErr: no such queue, its thread has ended, or no such priority; eventAlreadyPostedErr.
 */
TARVO_PLATFORM_API OSStatus PostEventToQueue(EventQueueRef queue, EventRef event, EventPriority priority);

/** Waits for the next event of the calling thread's queue: highest priority first, then oldest first.
 *
 * `numTypes` 0 means any event; others stay in the queue. While it waits it serves the thread's other GLib
 * sources. With `pullEvent` the event leaves the queue and its reference is the caller's; without, it stays
 * and is only lent. eventLoopTimedOutErr, or eventLoopQuitErr once for each QuitApplicationEventLoop.
 */
TARVO_PLATFORM_API OSStatus ReceiveNextEvent(size_t numTypes, const EventTypeSpec* list,
                                             double timeoutSeconds, bool pullEvent, EventRef* out);

/* ---- Handlers -------------------------------------------------------------------------------------- */

/** Where received events are sent. Its own handlers come first; on the main thread the event then goes to
 * the window that it names (or, if it names none, the active one) and to the application. */
TARVO_PLATFORM_API EventTargetRef GetEventDispatcherTarget();
TARVO_PLATFORM_API EventTargetRef GetApplicationEventTarget();
/** Null once the window is gone. */
TARVO_PLATFORM_API EventTargetRef GetWindowEventTarget(WindowRef window);

/** For the window library: gives a window its target, takes it away with all its handlers, and tells which
 * window the user works in (null: none). */
TARVO_PLATFORM_API OSStatus CreateWindowEventTarget(WindowRef window);
TARVO_PLATFORM_API void DisposeWindowEventTarget(WindowRef window);
TARVO_PLATFORM_API void SetActiveWindow(WindowRef window);

/** Installs a handler for the listed types on a target. `out` may be null. paramErr or memFullErr. */
TARVO_PLATFORM_API OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler,
                                                size_t numTypes, const EventTypeSpec* list, void* userData,
                                                EventHandlerRef* out);
/** No call of the handler starts after this. One that runs on another thread may still be running. */
TARVO_PLATFORM_API OSStatus RemoveEventHandler(EventHandlerRef handler);

/** Offers the event to the target's handlers, newest first, until one answers something else than
 * eventNotHandledErr, and returns that. A window's events go on to the application. */
TARVO_PLATFORM_API OSStatus SendEventToEventTarget(EventRef event, EventTargetRef target);
/** For a handler: lets the rest of the chain go first and returns what it answered. */
TARVO_PLATFORM_API OSStatus CallNextEventHandler(EventHandlerCallRef call, EventRef event);

/* ---- The application's loop ------------------------------------------------------------------------ */

/** Receives and dispatches the main thread's events until asked to quit. Main thread only; elsewhere it
 * returns at once. */
TARVO_PLATFORM_API void RunApplicationEventLoop();
/** Ends the innermost loop once what was posted before with the same or higher priority is served; a loop
 * that has not started yet ends likewise. Any thread. */
TARVO_PLATFORM_API void QuitApplicationEventLoop();
