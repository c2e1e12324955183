#include <gtk/gtk.h>

#include <memory>
#include <optional>

#include "WindowToolkit.h"
#include "placement.h"

#ifdef GDK_WINDOWING_X11
#include <gdk/x11/gdkx.h>
#endif

namespace {

const WindowListener* listener = nullptr;

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, Unref>;

/** What we keep beside each GtkWindow; it goes with the widget. */
struct Placement {
    WindowRef reference;
    std::optional<WindowPlace> place;
};

constexpr const char* placementKey = "tarvo-placement";

Placement& placementOf(GtkWindow* window) {
    return *static_cast<Placement*>(g_object_get_data(G_OBJECT(window), placementKey));
}

GtkWindow* asGtk(ToolkitWindow* window) {
    return reinterpret_cast<GtkWindow*>(window);
}

OSStatus open() {
    // The log prints numbers; GTK must not switch the process to the user's decimal comma.
    static const bool isLocaleKept = [] {
        gtk_disable_setlocale();
        return true;
    }();
    static_cast<void>(isLocaleKept);
    // After a first failure gtk_init_check() claims success, so the display is what is asked for.
    if (gtk_init_check() && gdk_display_get_default() != nullptr) {
        return noErr;
    }
    GdkDisplay* const display = gdk_display_open(nullptr);
    return display == nullptr ? errNoWindowSystem : noErr;
}

void onDestroy(GtkWindow* window, gpointer) {
    listener->closed(placementOf(window).reference);
}

void onActiveChanged(GtkWindow* window, GParamSpec*, gpointer) {
    if (gtk_window_is_active(window)) {
        listener->activated(placementOf(window).reference);
    }
}

/** A control names its command as the action "platform.command" with the four characters as target. */
void onCommand(GSimpleAction*, GVariant* target, gpointer window) {
    gsize length = 0;
    const gchar* text = g_variant_get_string(target, &length);
    if (length != 4) {
        g_warning("A control's command has to have four characters: '%s'", text);
        return;
    }
    OSType command = 0;
    for (gsize i = 0; i < length; ++i) {
        command = (command << 8) | static_cast<unsigned char>(text[i]);
    }
    listener->commanded(placementOf(GTK_WINDOW(window)).reference, command);
}

void addCommands(GtkWindow* window) {
    const Owned<GSimpleActionGroup> group(g_simple_action_group_new());
    const Owned<GSimpleAction> command(g_simple_action_new("command", G_VARIANT_TYPE_STRING));
    g_signal_connect(command.get(), "activate", G_CALLBACK(onCommand), window);
    g_action_map_add_action(G_ACTION_MAP(group.get()), G_ACTION(command.get()));
    gtk_widget_insert_action_group(GTK_WIDGET(window), "platform", G_ACTION_GROUP(group.get()));
}

OSStatus create(const char* description, const char* name, WindowRef reference, ToolkitWindow** out) {
    const Owned<GtkBuilder> builder(gtk_builder_new());
    GError* error = nullptr;
    if (!gtk_builder_add_from_string(builder.get(), description, -1, &error)) {
        g_warning("Failed to build '%s': %s", name, error->message);
        g_error_free(error);
        return kIBCarbonRuntimeCantFindObject;
    }
    GObject* const object = gtk_builder_get_object(builder.get(), name);
    if (object == nullptr) {
        return kIBCarbonRuntimeCantFindObject;
    }
    if (!GTK_IS_WINDOW(object)) {
        return kIBCarbonRuntimeObjectNotOfRequestedType;
    }
    // GTK itself holds each of its windows until it is destroyed, so the builder may go.
    GtkWindow* const window = GTK_WINDOW(object);
    g_object_set_data_full(object, placementKey, new Placement{reference, std::nullopt},
                           [](gpointer data) { delete static_cast<Placement*>(data); });
    g_signal_connect(window, "destroy", G_CALLBACK(onDestroy), nullptr);
    g_signal_connect(window, "notify::is-active", G_CALLBACK(onActiveChanged), nullptr);
    addCommands(window);
    *out = reinterpret_cast<ToolkitWindow*>(window);
    return noErr;
}

#ifdef GDK_WINDOWING_X11

GdkMonitor* mainMonitor(GdkDisplay* display) {
    GdkMonitor* const primary = gdk_x11_display_get_primary_monitor(display);
    if (primary != nullptr) {
        return GDK_MONITOR(g_object_ref(primary));
    }
    return GDK_MONITOR(g_list_model_get_item(gdk_display_get_monitors(display), 0));
}

ScreenArea mainScreen(GdkDisplay* display) {
    const Owned<GdkMonitor> monitor(mainMonitor(display));
    if (monitor == nullptr) {
        return {0, 0, 0, 0};
    }
    GdkRectangle area{};
    gdk_x11_monitor_get_workarea(monitor.get(), &area);
    return {area.x, area.y, area.width, area.height};
}

void moveTo(GtkWindow* window, const WindowPlace& place) {
    GdkSurface* const surface = gtk_native_get_surface(GTK_NATIVE(window));
    if (surface == nullptr || !GDK_IS_X11_SURFACE(surface)) {
        return;
    }
    const int scale = gdk_surface_get_scale_factor(surface);
    XMoveWindow(gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface)),
                gdk_x11_surface_get_xid(surface), place.x * scale, place.y * scale);
}

void reposition(ToolkitWindow* toolkitWindow, WindowPositionMethod method) {
    GtkWindow* const window = asGtk(toolkitWindow);
    GdkDisplay* const display = gtk_widget_get_display(GTK_WIDGET(window));
    if (!GDK_IS_X11_DISPLAY(display)) {
        return;  // the display server places windows by itself
    }
    static unsigned cascadedWindows = 0;
    WindowSize size{};
    gtk_window_get_default_size(window, &size.width, &size.height);
    const ScreenArea screen = mainScreen(display);
    const WindowPlace place = method == kWindowCenterOnMainScreen ? centred(screen, size)
                                                                  : cascaded(screen, size, cascadedWindows++);
    placementOf(window).place = place;
    if (gtk_widget_get_mapped(GTK_WIDGET(window))) {
        moveTo(window, place);
    }
}

/** Moves the window where it was placed. GTK 4 leaves places to the window manager, which takes a wish only
 * for a window that it already manages; without a manager the wish before the window appears is what counts.
 */
void present(GtkWindow* window) {
    const std::optional<WindowPlace> place = placementOf(window).place;
    if (place) {
        gtk_widget_realize(GTK_WIDGET(window));
        moveTo(window, *place);
    }
    gtk_window_present(window);
    if (place) {
        moveTo(window, *place);
    }
}

#else

void reposition(ToolkitWindow*, WindowPositionMethod) {}

void present(GtkWindow* window) {
    gtk_window_present(window);
}

#endif

void show(ToolkitWindow* window) {
    present(asGtk(window));
}

void dispose(ToolkitWindow* window) {
    gtk_window_destroy(asGtk(window));
}

}  // namespace

const WindowToolkit* tarvoWindowToolkit(const WindowListener* newListener) {
    static constexpr WindowToolkit toolkit = {open, create, reposition, show, dispose};
    listener = newListener;
    return &toolkit;
}
