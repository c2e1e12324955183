#include "X11Windows.h"

#include <gdk/x11/gdkx.h>
#include <poll.h>

namespace {

GdkMonitor* mainMonitor(GdkDisplay* display) {
    GdkMonitor* const primary = gdk_x11_display_get_primary_monitor(display);
    if (primary != nullptr) {
        return GDK_MONITOR(g_object_ref(primary));
    }
    return static_cast<GdkMonitor*>(g_list_model_get_item(gdk_display_get_monitors(display), 0));
}

/* Neither GDK nor Xlib can go on in the middle of a call whose connection breaks: GDK ends the process, and
 * where it is kept from that, it aborts or spins. But windows are idle nearly all the time, and then we can
 * look first: the source below stands before all of GDK's in the loop, sees the connection's end and takes
 * the windows and the display down in good order. Only then are Xlib's errors let pass, as every request in
 * it fails. */

struct DisplayWatch {
    GSource source;
    GPollFD connection;
    GdkDisplay* display;
};

constexpr gushort kConnectionEnds = POLLHUP | POLLERR | POLLRDHUP;

DisplayWatch& asWatch(GSource* source) {
    return *reinterpret_cast<DisplayWatch*>(source);
}

/** Asked before each sleep of the loop, ahead of GDK, which would read from the connection here. */
gboolean hasEnded(GSource* source, gint* timeout) {
    *timeout = -1;
    pollfd connection{asWatch(source).connection.fd, static_cast<short>(kConnectionEnds), 0};
    return poll(&connection, 1, 0) > 0;
}

/** Asked after each sleep. */
gboolean wasWoken(GSource* source) {
    return (asWatch(source).connection.revents & kConnectionEnds) != 0;
}

void destroyWindowsOn(GdkDisplay* display) {
    GList* const windows = gtk_window_list_toplevels();
    g_list_foreach(
        windows, [](gpointer window, gpointer) { g_object_ref(window); }, nullptr);
    for (GList* each = windows; each != nullptr; each = each->next) {
        if (gtk_widget_get_display(GTK_WIDGET(each->data)) == display) {
            gtk_window_destroy(GTK_WINDOW(each->data));
        }
    }
    g_list_free_full(windows, g_object_unref);
}

gboolean closeLostDisplay(GSource* source, GSourceFunc, gpointer) {
    GdkDisplay* const display = asWatch(source).display;
    XIOErrorHandler const usual = XSetIOErrorHandler([](Display*) { return 0; });
    XSetIOErrorExitHandler(
        gdk_x11_display_get_xdisplay(display), [](Display*, void*) {}, nullptr);
    destroyWindowsOn(display);
    gdk_display_close(display);
    XSetIOErrorHandler(usual);
    return G_SOURCE_REMOVE;
}

GSourceFuncs watchFunctions = {hasEnded, wasWoken, closeLostDisplay, nullptr, nullptr, nullptr};

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
    constexpr const char* watchKey = "tarvo-watch";
    if (!GDK_IS_X11_DISPLAY(display) || g_object_get_data(G_OBJECT(display), watchKey) != nullptr) {
        return;
    }
    GSource* const source = g_source_new(&watchFunctions, sizeof(DisplayWatch));
    DisplayWatch& watch = asWatch(source);
    watch.display = display;
    watch.connection = {ConnectionNumber(gdk_x11_display_get_xdisplay(display)), kConnectionEnds, 0};
    g_source_add_poll(source, &watch.connection);
    g_source_set_priority(source, G_PRIORITY_HIGH);
    g_source_attach(source, nullptr);
    g_source_unref(source);  // the loop's now
    g_object_set_data(G_OBJECT(display), watchKey, source);
}
