/* PlugIns.h: the library that libQuickTime.so loads when it needs it, from its own folder.
 *
 * Thread: main thread.
 * Owns:   a loaded plug-in stays: GLib's types cannot be unloaded.
 * Errors: null, with the reason on standard error.
 */
#pragma once

#include "frameworks/QuickTime/gstreamer/MovieToolkit.h"

const MovieToolkit* movieToolkit();
