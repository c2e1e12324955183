/* PlugIns.h: the two libraries that libQuickTime.so loads when it needs them, from its own folder.
 *
 * Thread: main thread.
 * Owns:   loaded plug-ins stay: GLib's types cannot be unloaded.
 * Errors: null, with the reason on standard error.
 */
#pragma once

#include "frameworks/QuickTime/gstreamer/MovieToolkit.h"
#include "frameworks/QuickTime/gtk/DialogToolkit.h"

const MovieToolkit* movieToolkit();
const DialogToolkit* dialogToolkit();
