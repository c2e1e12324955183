/* UserInterface.h: the helper's windows, built from the compiled-in descriptions (platform/Resources.h).
 *
 * Thread: main thread only; other threads are refused with eventInternalErr. The windows live on the
 *         application's event loop.
 * Owns:   a window belongs to whoever created it, until DisposeWindow; but the user may close it before. A
 *         reference to a closed window is refused, never followed. A window's event target goes with it.
 * Errors: 0, those of the nibs, paramErr, or a status below; outputs are untouched on failure.
 */
#pragma once

#include "platform/Events.h"
#include "platform/Resources.h"

#define USERINTERFACE_EXPORT __attribute__((visibility("default")))

constexpr OSStatus errInvalidWindowRef = -5600;  ///< the window is closed, or never was one
/** No display to show windows on, or the libraries to do so are not installed. Everything else goes on, and a
 * later call tries again. */
constexpr OSStatus errNoWindowSystem = -5699;

enum WindowPositionMethod : uint32_t {
    kWindowCenterOnMainScreen = 1,
    kWindowCascadeOnMainScreen = 4,
};

extern "C" {

/** Builds the window of that name from the nib, still hidden, with an event target of its own. */
USERINTERFACE_EXPORT OSStatus CreateWindowFromNib(IBNibRef nib, const char* name, WindowRef* out);

/** Places the window. Cascading puts each next one a little further right and down, and starts again before
 * one would leave the screen. `parent` must be null: these methods know none. Where the display server places
 * windows by itself (Wayland), this has no effect. */
USERINTERFACE_EXPORT OSStatus RepositionWindow(WindowRef window, WindowRef parent,
                                               WindowPositionMethod method);

/** Shows the window in front of the others and makes it the active one. */
USERINTERFACE_EXPORT OSStatus ShowWindow(WindowRef window);

/** Brings the application's windows before those of others; without any there is nothing to bring. */
USERINTERFACE_EXPORT OSStatus SetFrontProcess();

/** Closes the window and releases it with its event target. */
USERINTERFACE_EXPORT OSStatus DisposeWindow(WindowRef window);

}  // extern "C"
