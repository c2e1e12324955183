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
