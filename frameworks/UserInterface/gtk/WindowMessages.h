/* WindowMessages.h: what libUserInterface.so and its companion, the program TarvoWindows, say to each other.
 *
 * GTK ends the process when the display goes; and it takes tens of milliseconds and as many megabytes, while
 * the helper mostly never opens a window. So the windows live in a program of their own, which is started at
 * the first one.
 *
 * A window goes by its WindowRef, in 64 bits. A message about one that is closed by then means nothing: both
 * sides may say so at the same time.
 */
#pragma once

#include <cstdint>

/** To the companion. */
enum class WindowRequest : uint32_t {
    create = 1,  // window, name, description; the only one that is answered
    reposition,  // window, method (uint32_t)
    show,        // window
    dispose,     // window
};

/** From the companion. */
enum class WindowNews : uint32_t {
    created = 101,  // status (int32_t): noErr, a nib's error, or errNoWindowSystem and the companion ends
    closed,         // window; by the user
    activated,      // window; the user turned to it
    commanded,      // command (uint32_t), given by a control or a key
};
