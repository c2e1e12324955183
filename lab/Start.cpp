// The world begins when the library is loaded, before main: a host may ask and change it from the very start.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "lab/Call.h"
#include "lab/ControlSocket.h"
#include "lab/Scenario.h"
#include "lab/World.h"

namespace lab {

namespace {

constexpr int kBadSurroundings = 2;

/** One line, whatever is in the message; then the end, before anything else of the process has begun. */
[[noreturn]] void giveUp(const char* name, const std::string& problem) {
    std::string line = std::string(name) + ": " + problem;
    for (char& c : line) {
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    }
    line += '\n';
    std::fputs(line.c_str(), stderr);  // unbuffered
    _exit(kBadSurroundings);
}

void startWorld() {
    Setup setup;
    std::string problem;
    if (!readStartScenario(setup, problem)) giveUp("TARVO_LAB", problem);
    World::instance().replace(std::move(setup));
    const char* socket = std::getenv("TARVO_LAB_SOCKET");
    if (socket == nullptr || *socket == '\0') return;
    observe();
    problem = startControlSocket(socket);
    if (!problem.empty()) giveUp("TARVO_LAB_SOCKET", std::string(socket) + ": " + problem);
}

__attribute__((constructor)) void start() {
    try {
        startWorld();
    } catch (const std::exception& error) {
        giveUp("TARVO_LAB", error.what());
    }
}

}  // namespace

}  // namespace lab
