/* The program TarvoWindows: the windows of libUserInterface.so. */
#include <gtk/gtk.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "UserInterface.h"
#include "WindowMessages.h"
#include "X11Windows.h"
#include "frameworks/UserInterface/gtk/GtkDisplay.h"
#include "frameworks/UserInterface/gtk/Starter.h"
#include "placement.h"

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, Unref>;

/** What we keep beside each GtkWindow; it goes with the widget. */
struct Placement {
    uint64_t reference;
    std::optional<WindowPlace> place;
};

constexpr const char* placementKey = "tarvo-placement";

Placement& placementOf(GtkWindow* window) {
    return *static_cast<Placement*>(g_object_get_data(G_OBJECT(window), placementKey));
}

/** The open windows, by reference. */
std::map<uint64_t, GtkWindow*>& windows() {
    static auto* const all = new std::map<uint64_t, GtkWindow*>;
    return *all;
}

template <class... Values>
void tell(WindowNews news, const Values&... values) {
    MessageWriter message(static_cast<uint32_t>(news));
    message(values...);
    tellStarter(message);
}

/** Told before the window vanishes: whoever sees it gone may rely on it. */
gboolean onCloseRequest(GtkWindow* window, gpointer) {
    tell(WindowNews::closed, placementOf(window).reference);
    return FALSE;
}

void onDestroy(GtkWindow* window, gpointer) {
    windows().erase(placementOf(window).reference);
}

void onActiveChanged(GtkWindow* window, GParamSpec*, gpointer) {
    if (gtk_window_is_active(window)) {
        tell(WindowNews::activated, placementOf(window).reference);
    }
}

/** A control names its command as the action "platform.command" with the four characters as target. */
void onCommand(GSimpleAction*, GVariant* target, gpointer) {
    gsize length = 0;
    const gchar* text = g_variant_get_string(target, &length);
    if (length != 4) {
        g_warning("A control's command has to have four characters: '%s'", text);
        return;
    }
    uint32_t command = 0;
    for (gsize i = 0; i < length; ++i) {
        command = (command << 8) | static_cast<unsigned char>(text[i]);
    }
    tell(WindowNews::commanded, command);
}

void addCommands(GtkWindow* window) {
    const Owned<GSimpleActionGroup> group(g_simple_action_group_new());
    const Owned<GSimpleAction> command(g_simple_action_new("command", G_VARIANT_TYPE_STRING));
    g_signal_connect(command.get(), "activate", G_CALLBACK(onCommand), nullptr);
    g_action_map_add_action(G_ACTION_MAP(group.get()), G_ACTION(command.get()));
    gtk_widget_insert_action_group(GTK_WIDGET(window), "platform", G_ACTION_GROUP(group.get()));
}

OSStatus create(uint64_t reference, const std::string& name, const std::string& description) {
    const Owned<GtkBuilder> builder(gtk_builder_new());
    GError* error = nullptr;
    if (!gtk_builder_add_from_string(builder.get(), description.c_str(), -1, &error)) {
        g_warning("Failed to build '%s': %s", name.c_str(), error->message);
        g_error_free(error);
        return kIBCarbonRuntimeCantFindObject;
    }
    GObject* const object = gtk_builder_get_object(builder.get(), name.c_str());
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
    g_signal_connect(window, "close-request", G_CALLBACK(onCloseRequest), nullptr);
    g_signal_connect(window, "destroy", G_CALLBACK(onDestroy), nullptr);
    g_signal_connect(window, "notify::is-active", G_CALLBACK(onActiveChanged), nullptr);
    addCommands(window);
    windows().emplace(reference, window);
    return noErr;
}

void reposition(GtkWindow* window, uint32_t method) {
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
void show(GtkWindow* window) {
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

bool readCreate(MessageReader& message, uint64_t reference) {
    std::string name;
    std::string description;
    if (!message(name, description) || !message.isAtEnd()) {
        return false;
    }
    // GTK opens the display only now, so that its absence is an answer as any other.
    static const bool hasDisplay = openGtkDisplay() != nullptr;
    tell(WindowNews::created, hasDisplay ? create(reference, name, description) : errNoWindowSystem);
    return hasDisplay;
}

bool carryOut(MessageReader& message) {
    uint32_t request = 0;
    uint64_t reference = 0;
    uint32_t method = 0;
    if (!message.readKind(request) || !message(reference)) {
        return false;
    }
    if (request == static_cast<uint32_t>(WindowRequest::create)) {
        return readCreate(message, reference);
    }
    const bool hasMethod = request == static_cast<uint32_t>(WindowRequest::reposition);
    if ((hasMethod && !message(method)) || !message.isAtEnd()) {
        return false;
    }
    const auto found = windows().find(reference);
    if (found == windows().end()) {
        return true;  // the user has closed it meanwhile
    }
    switch (static_cast<WindowRequest>(request)) {
        case WindowRequest::reposition:
            reposition(found->second, method);
            return true;
        case WindowRequest::show:
            show(found->second);
            return true;
        case WindowRequest::dispose:
            gtk_window_destroy(found->second);
            return true;
        default:
            return false;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (!joinStarterAs(argc, argv) || !hearStarter(carryOut)) {
        return EXIT_FAILURE;
    }
    heedStarter(carryOut);
    for (;;) {
        g_main_context_iteration(nullptr, TRUE);
    }
}
