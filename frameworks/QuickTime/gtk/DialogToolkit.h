/* DialogToolkit.h: what libQuickTime.so and its GTK plug-in agree on. GTK comes in with the plug-in, at the
 * first dialog.
 *
 * Thread: main thread.
 * Owns:   everything in a request is lent for the call.
 */
#pragma once

#include "QuickTime.h"
#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"

struct ExportDialogRequest {
    const movies::MovieFacts& movie;
    double seconds;  // of the movie, that are to be exported
    const movies::Formats& formats;
    atoms::ExportChoice& choice;  // preset; what the user chose, once accepted
};

struct DialogToolkit {
    /// Connects to the display, if that is not done yet: 0 or kQTNoWindowSystem.
    OSErr (*open)();
    /// Returns when the user has closed the dialog, or the display is lost (kQTNoWindowSystem).
    OSErr (*run)(ExportDialogRequest& request, bool* isCancelled);
};

/** The plug-in's only symbol. */
extern "C" QUICKTIME_EXPORT const DialogToolkit* tarvoDialogToolkit();
constexpr const char* kDialogToolkitSymbol = "tarvoDialogToolkit";
