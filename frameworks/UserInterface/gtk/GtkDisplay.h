/* GtkDisplay.h: GTK's start and its connection to the display, as every plug-in with windows needs them.
 *
 * Thread: main thread.
 * Owns:   nothing; GTK holds the display.
 */
#pragma once

#include <gtk/gtk.h>

/** The display's connection, opened if that is not done yet; null when there is no display. */
GdkDisplay* openGtkDisplay();
