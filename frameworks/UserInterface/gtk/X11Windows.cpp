#include "X11Windows.h"

#include <gdk/x11/gdkx.h>

namespace {

GdkMonitor* mainMonitor(GdkDisplay* display) {
    GdkMonitor* const primary = gdk_x11_display_get_primary_monitor(display);
    if (primary != nullptr) {
        return GDK_MONITOR(g_object_ref(primary));
    }
    return static_cast<GdkMonitor*>(g_list_model_get_item(gdk_display_get_monitors(display), 0));
}

/** The connection is dead: calls on it answer at once and do nothing, but its descriptor stays readable, so
 * it must leave the loop soon. */
gboolean closeLostDisplay(gpointer lost) {
    GList* const windows = gtk_window_list_toplevels();
    g_list_foreach(
        windows, [](gpointer window, gpointer) { g_object_ref(window); }, nullptr);
    for (GList* each = windows; each != nullptr; each = each->next) {
        if (gtk_widget_get_display(GTK_WIDGET(each->data)) == lost) {
            gtk_window_destroy(GTK_WINDOW(each->data));
        }
    }
    g_list_free_full(windows, g_object_unref);
    gdk_display_close(GDK_DISPLAY(lost));
    return G_SOURCE_REMOVE;
}

}  // namespace

bool canPlaceWindows(GdkDisplay* display) {
    return GDK_IS_X11_DISPLAY(display);
}

ScreenArea mainScreen(GdkDisplay* display) {
    GdkMonitor* const monitor = mainMonitor(display);
    if (monitor == nullptr) {
        return {0, 0, 0, 0};
    }
    GdkRectangle area{};
    gdk_x11_monitor_get_workarea(monitor, &area);
    g_object_unref(monitor);
    return {area.x, area.y, area.width, area.height};
}

void moveWindow(GtkWindow* window, const WindowPlace& place) {
    GdkSurface* const surface = gtk_native_get_surface(GTK_NATIVE(window));
    if (surface == nullptr || !GDK_IS_X11_SURFACE(surface)) {
        return;
    }
    const int scale = gdk_surface_get_scale_factor(surface);
    XMoveWindow(gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface)),
                gdk_x11_surface_get_xid(surface), place.x * scale, place.y * scale);
}

void surviveLossOf(GdkDisplay* display) {
    if (!GDK_IS_X11_DISPLAY(display)) {
        return;
    }
    // GDK's own handler would end the process before the second one is asked.
    XSetIOErrorHandler([](Display*) { return 0; });
    XSetIOErrorExitHandler(
        gdk_x11_display_get_xdisplay(display),
        [](Display*, void* lost) { g_idle_add_full(G_PRIORITY_HIGH, closeLostDisplay, lost, nullptr); },
        display);
}
