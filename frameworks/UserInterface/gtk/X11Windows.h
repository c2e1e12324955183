/* X11Windows.h: what GTK 4 leaves to the window system, for windows on X11. On other systems, and where GTK
 * was built without X11, these do nothing.
 *
 * Thread: main thread.
 * Units:  placement.h's.
 */
#pragma once

#include <gtk/gtk.h>

#include "placement.h"

/** Whether windows can be placed on this display at all. */
bool canPlaceWindows(GdkDisplay* display);

/** The main screen without panels; empty if there is none. */
ScreenArea mainScreen(GdkDisplay* display);

/** Moves a realised window. */
void moveWindow(GtkWindow* window, const WindowPlace& place);
