#include "AccessibilityBus.h"

#include <gio/gio.h>

#include <csignal>
#include <cstdint>

namespace {

constexpr int kPatienceMs = 10'000;
constexpr const char* kAccessible = "org.a11y.atspi.Accessible";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kRegistry = "org.a11y.atspi.Registry";
constexpr const char* kRoot = "/org/a11y/atspi/accessible/root";

// Bits of the states as the bus numbers them.
constexpr int kFocusable = 11;

struct VariantUnref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
using Value = std::unique_ptr<GVariant, VariantUnref>;

/** An object on the bus: who has it, and its path. */
struct Place {
    std::string owner;
    std::string path;
};

class Objects {
public:
    explicit Objects(GDBusConnection* bus) : bus_(bus) {}

    Value call(const Place& at, const char* interface, const char* method, GVariant* arguments) const {
        return Value(g_dbus_connection_call_sync(bus_, at.owner.c_str(), at.path.c_str(), interface, method,
                                                 arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, kPatienceMs,
                                                 nullptr, nullptr));
    }
    std::vector<Place> children(const Place& at) const {
        const Value answer = call(at, kAccessible, "GetChildren", nullptr);
        std::vector<Place> places;
        if (answer == nullptr) return places;
        const Value list(g_variant_get_child_value(answer.get(), 0));
        for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
            const char* owner = nullptr;
            const char* path = nullptr;
            g_variant_get_child(list.get(), i, "(&s&o)", &owner, &path);
            places.push_back({owner, path});
        }
        return places;
    }
    std::string name(const Place& at) const {
        const Value answer = call(at, kProperties, "Get", g_variant_new("(ss)", kAccessible, "Name"));
        if (answer == nullptr) return {};
        const Value boxed(g_variant_get_child_value(answer.get(), 0));
        const Value text(g_variant_get_variant(boxed.get()));
        return g_variant_get_string(text.get(), nullptr);
    }
    std::string role(const Place& at) const {
        const Value answer = call(at, kAccessible, "GetRoleName", nullptr);
        const char* text = "";
        if (answer != nullptr) g_variant_get(answer.get(), "(&s)", &text);
        return text;
    }
    uint64_t states(const Place& at) const {
        const Value answer = call(at, kAccessible, "GetState", nullptr);
        if (answer == nullptr) return 0;
        const Value list(g_variant_get_child_value(answer.get(), 0));
        uint64_t bits = 0;
        for (gsize i = 0; i < g_variant_n_children(list.get()) && i < 2; ++i) {
            guint32 word = 0;
            g_variant_get_child(list.get(), i, "u", &word);
            bits |= uint64_t{word} << (32 * i);
        }
        return bits;
    }

private:
    GDBusConnection* bus_;
};

bool has(uint64_t states, int bit) {
    return ((states >> bit) & 1) != 0;
}

void collect(const Objects& objects, const Place& at, std::vector<AccessibleThing>& found) {
    for (const Place& child : objects.children(at)) {
        const uint64_t states = objects.states(child);
        found.push_back({objects.role(child), objects.name(child), has(states, kFocusable)});
        collect(objects, child, found);
    }
}

GDBusConnection* connectTo(const std::string& address) {
    return g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
}

}  // namespace

struct AccessibilityBus::Connection {
    explicit Connection(GDBusConnection* connected) : bus(connected) {}
    ~Connection() { g_object_unref(bus); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    GDBusConnection* bus;
};

bool AccessibilityBus::isAvailable() {
    return isInstalled("dbus-daemon") && g_file_test("/usr/libexec/at-spi-bus-launcher", G_FILE_TEST_EXISTS);
}

AccessibilityBus::AccessibilityBus() {
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1",
                                 "--address=unix:path=" + folder_.file("session")},
        std::map<std::string, std::string>{{"XDG_RUNTIME_DIR", folder_.path().string()}, {"DISPLAY", ""}});
    const std::string session = daemon_->readLine();
    GDBusConnection* const bus = session.empty() ? nullptr : connectTo(session);
    if (bus == nullptr) return;
    const Connection toSession(bus);
    const Value answer =
        Objects(bus).call({"org.a11y.Bus", "/org/a11y/bus"}, "org.a11y.Bus", "GetAddress", nullptr);
    const char* accessibility = nullptr;
    if (answer != nullptr) g_variant_get(answer.get(), "(&s)", &accessibility);
    GDBusConnection* const behind = accessibility == nullptr ? nullptr : connectTo(accessibility);
    if (behind == nullptr) return;
    connection_ = std::make_unique<Connection>(behind);
    address_ = session;
}

AccessibilityBus::~AccessibilityBus() {
    connection_.reset();
    daemon_->end(SIGTERM);  // the bus behind it goes with it
}

std::map<std::string, std::string> AccessibilityBus::environment() const {
    return {{"DBUS_SESSION_BUS_ADDRESS", address_}, {"GTK_A11Y", "atspi"}};
}

std::vector<AccessibleThing> AccessibilityBus::thingsOf(const std::string& program) const {
    const Objects objects(connection_->bus);
    std::vector<AccessibleThing> found;
    for (const Place& application : objects.children({kRegistry, kRoot})) {
        if (objects.name(application) == program) collect(objects, application, found);
    }
    return found;
}
