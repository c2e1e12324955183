#include <gtk/gtk.h>

#include <memory>
#include <optional>

#include "WindowToolkit.h"
#include "X11Windows.h"
#include "frameworks/UserInterface/gtk/GtkDisplay.h"
#include "placement.h"

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
    return openGtkDisplay() != nullptr ? noErr : errNoWindowSystem;
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

void reposition(ToolkitWindow* toolkitWindow, WindowPositionMethod method) {
    GtkWindow* const window = asGtk(toolkitWindow);
    GdkDisplay* const display = gtk_widget_get_display(GTK_WIDGET(window));
    if (!canPlaceWindows(display)) {
        return;
    }
    static unsigned cascadedWindows = 0;
    WindowSize size{};
    gtk_window_get_default_size(window, &size.width, &size.height);
    const ScreenArea screen = mainScreen(display);
    const WindowPlace place = method == kWindowCenterOnMainScreen ? centred(screen, size)
                                                                  : cascaded(screen, size, cascadedWindows++);
    placementOf(window).place = place;
    if (gtk_widget_get_mapped(GTK_WIDGET(window))) {
        moveWindow(window, place);
    }
}

/** A window manager takes a wish for a place only from windows that it already manages; without a manager
 * the place before the window appears is what counts. So it is moved twice. */
void show(ToolkitWindow* toolkitWindow) {
    GtkWindow* const window = asGtk(toolkitWindow);
    const std::optional<WindowPlace> place = placementOf(window).place;
    if (place) {
        gtk_widget_realize(GTK_WIDGET(window));
        moveWindow(window, *place);
    }
    gtk_window_present(window);
    if (place) {
        moveWindow(window, *place);
    }
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
