#include "frameworks/UserInterface/gtk/Starter.h"

#include <glib-unix.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/Companion.h"

namespace {

MessageSocket& starter() {
    static auto* const socket = new MessageSocket;
    return *socket;
}

gboolean onMessage(gint, GIOCondition, gpointer read) {
    // Nobody is left to show anything for, and a library may be in the middle of something: no tear-down.
    if (!hearStarter(*static_cast<std::function<bool(MessageReader&)>*>(read))) _exit(EXIT_SUCCESS);
    return G_SOURCE_CONTINUE;
}

}  // namespace

bool joinStarterAs(int argumentCount, char** arguments) {
    starter() = joinStarter();
    if (!starter().isOpen() || argumentCount != 2) {
        std::fprintf(stderr, "This program is started by the camera helper when it shows a window.\n");
        return false;
    }
    // What desktops group and name the windows by.
    g_set_prgname(arguments[1]);
    return true;
}

void tellStarter(const MessageWriter& message) {
    if (!starter().send(message)) _exit(EXIT_FAILURE);
}

bool hearStarter(const std::function<bool(MessageReader&)>& read) {
    std::vector<uint8_t> bytes;
    if (starter().receive(bytes) != MessageSocket::Arrival::message) return false;
    MessageReader reader(bytes);
    return read(reader);
}

void heedStarter(std::function<bool(MessageReader&)> read) {
    auto* const kept = new std::function(std::move(read));
    g_unix_fd_add(starter().descriptor(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), onMessage,
                  kept);
}
