#include "frameworks/UserInterface/gtk/GtkDisplay.h"

GdkDisplay* openGtkDisplay() {
    // The texts are English, and so are their numbers.
    gtk_disable_setlocale();
    return gtk_init_check() ? gdk_display_get_default() : nullptr;
}
