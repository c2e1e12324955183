#include "frameworks/UserInterface/gtk/GtkDisplay.h"

#include <cstdlib>

namespace {

/** What we show is drawn without it as quickly, and drivers crash when their display goes while they start.
 */
void doWithoutGl() {
    constexpr unsigned kMinorWithOwnVariable = 14;
    if (gtk_get_minor_version() >= kMinorWithOwnVariable) {
        setenv("GDK_DISABLE", "gl", 0);
    } else {
        setenv("GDK_DEBUG", "gl-disable", 0);
    }
}

}  // namespace

GdkDisplay* openGtkDisplay() {
    doWithoutGl();
    // The texts are English, and so are their numbers.
    gtk_disable_setlocale();
    return gtk_init_check() ? gdk_display_get_default() : nullptr;
}
