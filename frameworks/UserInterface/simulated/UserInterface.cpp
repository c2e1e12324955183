#include "UserInterface.h"

#include <new>
#include <set>

#include "lab/Call.h"

/* Windows of the lab: they keep the rules of real ones and are seen in the trace alone. Main thread only. */

namespace {

std::set<WindowRef>& windows() {
    static auto* const all = new std::set<WindowRef>;
    return *all;
}

int64_t numberOf(WindowRef window) {
    return static_cast<int64_t>(reinterpret_cast<uintptr_t>(window));
}

OSStatus check(WindowRef window) {
    if (!IsMainThread()) {
        return eventInternalErr;
    }
    return windows().contains(window) ? noErr : errInvalidWindowRef;
}

OSStatus openWindow(WindowRef* out) {
    static uintptr_t last = 0;
    const auto window = reinterpret_cast<WindowRef>(++last);
    const OSStatus status = CreateWindowEventTarget(window);
    if (status == noErr) {
        windows().insert(window);
        *out = window;
    }
    return status;
}

OSStatus create(lab::Call& call, IBNibRef nib, const char* name, WindowRef* out) {
    if (out == nullptr || name == nullptr) {
        return paramErr;
    }
    if (!IsMainThread()) {
        return eventInternalErr;
    }
    NibWindow described;
    OSStatus status = findNibWindow(nib, name, &described);
    if (status == noErr) {
        status = openWindow(out);
    }
    if (status == noErr) {
        call.text("title", described.title).number("window", numberOf(*out));
    }
    return status;
}

}  // namespace

OSStatus CreateWindowFromNib(IBNibRef nib, const char* name, WindowRef* out) {
    lab::Call call("CreateWindowFromNib");
    call.text("name", name == nullptr ? "" : name);
    if (call.refused()) {
        return call.answer<OSStatus>();
    }
    try {
        return call.done(create(call, nib, name, out));
    } catch (const std::bad_alloc&) {
        return call.done(memFullErr);
    }
}

OSStatus RepositionWindow(WindowRef window, WindowRef parent, WindowPositionMethod method) {
    lab::Call call("RepositionWindow");
    call.number("window", numberOf(window)).number("method", method);
    if (call.refused()) {
        return call.answer<OSStatus>();
    }
    if (parent != nullptr || (method != kWindowCenterOnMainScreen && method != kWindowCascadeOnMainScreen)) {
        return call.done(paramErr);
    }
    return call.done(check(window));
}

OSStatus ShowWindow(WindowRef window) {
    lab::Call call("ShowWindow");
    call.number("window", numberOf(window));
    if (call.refused()) {
        return call.answer<OSStatus>();
    }
    const OSStatus status = check(window);
    if (status == noErr) {
        SetActiveWindow(window);
    }
    return call.done(status);
}

OSStatus SetFrontProcess() {
    return IsMainThread() ? noErr : eventInternalErr;
}

OSStatus DisposeWindow(WindowRef window) {
    lab::Call call("DisposeWindow");
    call.number("window", numberOf(window));
    if (call.refused()) {
        return call.answer<OSStatus>();
    }
    const OSStatus status = check(window);
    if (status == noErr) {
        windows().erase(window);
        DisposeWindowEventTarget(window);
    }
    return call.done(status);
}
