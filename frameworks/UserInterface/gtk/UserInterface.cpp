#include "UserInterface.h"

#include <dlfcn.h>

#include <cstdio>
#include <map>
#include <new>

#include "WindowToolkit.h"

namespace {

/// By number, so that a reference to a closed window finds nothing. Main thread only.
std::map<WindowRef, ToolkitWindow*>& windows() {
    static auto* const all = new std::map<WindowRef, ToolkitWindow*>;
    return *all;
}

WindowRef nextReference() {
    static uintptr_t last = 0;
    return reinterpret_cast<WindowRef>(++last);
}

void windowClosed(WindowRef window) {
    windows().erase(window);
    DisposeWindowEventTarget(window);
}

/** Commands go the way of all events, so that a handler never runs in the middle of the toolkit's own work
 * on the window that gave the command. */
void windowCommanded(WindowRef /*window*/, OSType command) {
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

const WindowToolkit* loadToolkit() {
    static constexpr WindowListener listener = {windowClosed, SetActiveWindow, windowCommanded};
    // Found beside this library by its run path. Never unloaded: GTK's types cannot be.
    void* const plugIn = dlopen("libTarvoWindows-gtk.so", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (plugIn == nullptr) {
        std::fprintf(stderr, "UserInterface: Failed to load the window library: %s\n", dlerror());
        return nullptr;
    }
    using Entry = decltype(&tarvoWindowToolkit);
    const auto entry = reinterpret_cast<Entry>(dlsym(plugIn, kWindowToolkitSymbol));
    return entry == nullptr ? nullptr : entry(&listener);
}

/** Null while there is no way to show windows. */
const WindowToolkit* openToolkit() {
    static const WindowToolkit* toolkit = nullptr;
    if (toolkit == nullptr) {
        toolkit = loadToolkit();
    }
    return toolkit != nullptr && toolkit->open() == noErr ? toolkit : nullptr;
}

OSStatus buildWindow(const WindowToolkit& toolkit, IBNibRef nib, const char* name, WindowRef* out) {
    const WindowRef window = nextReference();
    ToolkitWindow* built = nullptr;
    OSStatus status = CreateWindowEventTarget(window);
    if (status != noErr) {
        return status;
    }
    status = toolkit.create(nibText(nib), name, window, &built);
    if (status != noErr) {
        DisposeWindowEventTarget(window);
        return status;
    }
    windows().emplace(window, built);
    *out = window;
    return noErr;
}

/** Finds the toolkit's window behind a reference. */
OSStatus resolve(WindowRef window, ToolkitWindow** out) {
    if (!IsMainThread()) {
        return eventInternalErr;
    }
    const auto found = windows().find(window);
    if (found == windows().end()) {
        return errInvalidWindowRef;
    }
    *out = found->second;
    return noErr;
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
        if (status != noErr) {
            return status;
        }
        const WindowToolkit* toolkit = openToolkit();
        return toolkit == nullptr ? errNoWindowSystem : buildWindow(*toolkit, nib, name, out);
    } catch (const std::bad_alloc&) {
        return memFullErr;
    }
}

OSStatus RepositionWindow(WindowRef window, WindowRef parent, WindowPositionMethod method) {
    if (parent != nullptr || (method != kWindowCenterOnMainScreen && method != kWindowCascadeOnMainScreen)) {
        return paramErr;
    }
    ToolkitWindow* built = nullptr;
    const OSStatus status = resolve(window, &built);
    if (status == noErr) {
        openToolkit()->reposition(built, method);
    }
    return status;
}

OSStatus ShowWindow(WindowRef window) {
    ToolkitWindow* built = nullptr;
    const OSStatus status = resolve(window, &built);
    if (status == noErr) {
        openToolkit()->show(built);
        SetActiveWindow(window);
    }
    return status;
}

OSStatus SetFrontProcess() {
    if (!IsMainThread()) {
        return eventInternalErr;
    }
    for (const auto& [window, built] : windows()) {
        openToolkit()->show(built);
    }
    return noErr;
}

OSStatus DisposeWindow(WindowRef window) {
    ToolkitWindow* built = nullptr;
    const OSStatus status = resolve(window, &built);
    if (status == noErr) {
        openToolkit()->dispose(built);
    }
    return status;
}
