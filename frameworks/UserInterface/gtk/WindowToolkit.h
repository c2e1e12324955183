/* WindowToolkit.h: what libUserInterface.so and its GTK plug-in agree on.
 *
 * Loading GTK takes tens of milliseconds and as many megabytes. The helper announces its port long before
 * and mostly never opens a window, so GTK comes in with the plug-in, at the first window.
 *
 * Thread: main thread, in both directions.
 * Owns:   the plug-in owns the toolkit's windows; the library knows them by address until `closed`.
 */
#pragma once

#include "UserInterface.h"

struct ToolkitWindow;

/** What the plug-in reports. None of these may call back into the toolkit. */
struct WindowListener {
    /// The window is gone, closed by the user or by `dispose`; its address is void from now on.
    void (*closed)(WindowRef window);
    /// The user turned to the window.
    void (*activated)(WindowRef window);
    /// The user gave a command by a control or a key of the window.
    void (*commanded)(WindowRef window, OSType command);
};

struct WindowToolkit {
    /// Connects to the display, if that is not done yet: noErr or errNoWindowSystem.
    OSStatus (*open)();
    /// Builds the window; `window` is what the listener gets to hear. noErr or a nib's error.
    OSStatus (*create)(const char* description, const char* name, WindowRef window, ToolkitWindow** out);
    void (*reposition)(ToolkitWindow* window, WindowPositionMethod method);
    void (*show)(ToolkitWindow* window);
    void (*dispose)(ToolkitWindow* window);
};

/** The plug-in's only symbol. `listener` must stay. */
extern "C" USERINTERFACE_EXPORT const WindowToolkit* tarvoWindowToolkit(const WindowListener* listener);
constexpr const char* kWindowToolkitSymbol = "tarvoWindowToolkit";
