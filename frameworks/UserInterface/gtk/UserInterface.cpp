#include "UserInterface.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "WindowMessages.h"
#include "platform/Companion.h"

namespace {

/// GTK's start takes a fraction of a second; a display server that hangs keeps it for ever.
constexpr double kPatienceSeconds = 15;

/** All that the library keeps. Main thread only. */
struct Windows {
    /// By number, so that a reference to a closed window finds nothing.
    std::set<WindowRef> open;
    uintptr_t lastReference = 0;
    std::unique_ptr<Companion> companion;
    /// What the companion said to the window that is being made.
    std::optional<OSStatus> created;
};

Windows& windows() {
    static auto* const all = new Windows;
    return *all;
}

uint64_t numberOf(WindowRef window) {
    return reinterpret_cast<uintptr_t>(window);
}

bool isOpen(WindowRef window) {
    return windows().open.contains(window);
}

void windowClosed(WindowRef window) {
    windows().open.erase(window);
    DisposeWindowEventTarget(window);
}

void allWindowsClosed() {
    while (!windows().open.empty())
        windowClosed(*windows().open.begin());
}

/** Commands go the way of all events. */
void windowCommanded(OSType command) {
    EventRef event = nullptr;
    if (CreateEvent(nullptr, kEventClassCommand, kEventCommandProcess, 0, 0, &event) != noErr) {
        return;
    }
    const HICommand record{.attributes = 0, .commandID = command, .menu = 0, .menuItemIndex = 0};
    if (SetEventParameter(event, kEventParamDirectObject, typeHICommand, sizeof(record), &record) == noErr) {
        PostEventToQueue(GetMainEventQueue(), event, kEventPriorityStandard);
    }
    ReleaseEvent(event);
}

template <class Value>
std::optional<Value> only(MessageReader& message) {
    Value value{};
    if (!message(value) || !message.isAtEnd()) {
        return std::nullopt;
    }
    return value;
}

bool windowNews(MessageReader& message, void (*heed)(WindowRef window)) {
    const auto number = only<uint64_t>(message);
    const auto window = reinterpret_cast<WindowRef>(static_cast<uintptr_t>(number.value_or(0)));
    if (isOpen(window)) {
        heed(window);
    }
    return number.has_value();
}

bool hear(MessageReader& message) {
    uint32_t news = 0;
    if (!message.readKind(news)) {
        return false;
    }
    switch (static_cast<WindowNews>(news)) {
        case WindowNews::created:
            windows().created = only<int32_t>(message);
            return windows().created.has_value();
        case WindowNews::closed:
            return windowNews(message, windowClosed);
        case WindowNews::activated:
            return windowNews(message, SetActiveWindow);
        case WindowNews::commanded: {
            const auto command = only<uint32_t>(message);
            if (command) {
                windowCommanded(*command);
            }
            return command.has_value();
        }
        default:
            return false;
    }
}

template <class... Values>
void ask(WindowRequest request, WindowRef window, const Values&... values) {
    MessageWriter message(static_cast<uint32_t>(request));
    message(numberOf(window), values...);
    if (windows().companion != nullptr) {
        windows().companion->send(message);
    }
}

/** Has the window built by the companion, which is started if there is none. */
OSStatus build(WindowRef window, IBNibRef nib, const char* name) {
    std::unique_ptr<Companion>& companion = windows().companion;
    if (companion == nullptr || !companion->isRunning()) {
        const std::string program = fileBeside(reinterpret_cast<const void*>(&build), "TarvoWindows");
        companion = std::make_unique<Companion>(program, Companion::Listener{hear, allWindowsClosed});
    }
    windows().created.reset();
    ask(WindowRequest::create, window, std::string(name), std::string(nibText(nib)));
    companion->serveUntil([] { return windows().created.has_value(); }, kPatienceSeconds);
    const OSStatus status = windows().created.value_or(errNoWindowSystem);
    if (status == errNoWindowSystem) {
        companion.reset();
    }
    return status;
}

OSStatus createWindow(IBNibRef nib, const char* name, WindowRef* out) {
    const auto window = reinterpret_cast<WindowRef>(++windows().lastReference);
    OSStatus status = CreateWindowEventTarget(window);
    if (status != noErr) {
        return status;
    }
    // Among the open ones from now on: the user may close it as soon as it is there.
    windows().open.insert(window);
    status = build(window, nib, name);
    if (status != noErr) {
        windowClosed(window);
        return status;
    }
    *out = window;
    return noErr;
}

OSStatus statusOf(WindowRef window) {
    if (!IsMainThread()) {
        return eventInternalErr;
    }
    return isOpen(window) ? noErr : errInvalidWindowRef;
}

}  // namespace

OSStatus CreateWindowFromNib(IBNibRef nib, const char* name, WindowRef* out) {
    if (out == nullptr) {
        return paramErr;
    }
    if (!IsMainThread()) {
        return eventInternalErr;
    }
    try {
        NibWindow described;
        const OSStatus status = findNibWindow(nib, name, &described);
        return status != noErr ? status : createWindow(nib, name, out);
    } catch (const std::bad_alloc&) {
        return memFullErr;
    }
}

OSStatus RepositionWindow(WindowRef window, WindowRef parent, WindowPositionMethod method) {
    if (parent != nullptr || (method != kWindowCenterOnMainScreen && method != kWindowCascadeOnMainScreen)) {
        return paramErr;
    }
    const OSStatus status = statusOf(window);
    if (status == noErr) {
        ask(WindowRequest::reposition, window, static_cast<uint32_t>(method));
    }
    return status;
}

OSStatus ShowWindow(WindowRef window) {
    const OSStatus status = statusOf(window);
    if (status == noErr) {
        ask(WindowRequest::show, window);
        SetActiveWindow(window);
    }
    return status;
}

OSStatus SetFrontProcess() {
    if (!IsMainThread()) {
        return eventInternalErr;
    }
    // A copy: the windows close when the companion turns out to be gone.
    const std::set<WindowRef> open = windows().open;
    for (WindowRef window : open) {
        ask(WindowRequest::show, window);
    }
    return noErr;
}

OSStatus DisposeWindow(WindowRef window) {
    const OSStatus status = statusOf(window);
    if (status == noErr) {
        ask(WindowRequest::dispose, window);
        windowClosed(window);
    }
    return status;
}
