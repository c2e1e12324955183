#include "frameworks/UserInterface/gtk/GtkDisplay.h"

#include <cerrno>

#include "X11Windows.h"

namespace {

/** Before GTK starts, whichever plug-in starts it. */
void prepareGtk() {
    if (gtk_is_initialized()) {
        return;
    }
    // The log prints numbers; GTK must not switch the process to the user's decimal comma.
    gtk_disable_setlocale();
    // What desktops group and name the windows by.
    if (g_get_prgname() == nullptr) {
        g_set_prgname(program_invocation_short_name);
    }
}

}  // namespace

GdkDisplay* openGtkDisplay() {
    static bool isPrepared = false;
    if (!isPrepared) {
        isPrepared = true;
        prepareGtk();
    }
    // After a first failure gtk_init_check() claims success, so the display is what is asked for.
    gtk_init_check();
    GdkDisplay* display = gdk_display_get_default();
    if (display == nullptr) {
        display = gdk_display_open(nullptr);
    }
    if (display != nullptr) {
        surviveLossOf(display);
    }
    return display;
}
