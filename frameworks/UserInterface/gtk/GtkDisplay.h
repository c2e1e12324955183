/* GtkDisplay.h: GTK's start and its connection to the display, as every program with windows needs them.
 *
 * Thread: main thread, once.
 * Owns:   nothing; GTK holds the display. When it goes, GTK ends the process.
 */
#pragma once

#include <gtk/gtk.h>

/** The display's connection; null when there is no display. */
GdkDisplay* openGtkDisplay();
