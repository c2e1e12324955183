/* window_process: the helper's main thread without its server. In the server's place stands a task that reads
 * commands from standard input, has the main thread carry them out, and writes one line of answer for each.
 *
 *   post COMMAND            posts a command event          -> posted
 *   send COMMAND            sends one to the dispatcher    -> its status
 *   open NAME               a window, placed and shown     -> status, reference
 *   elsewhere NAME          the same, off the main thread  -> status
 *   show|dispose|place REF  what the name says             -> status
 *   target REF              does it have an event target?  -> 1 or 0
 *   libraries TEXT          is a library of that name in?  -> 1 or 0
 *   children                               -> the processes that it has started
 *   locale                  whose habits numbers are printed by
 *   quit                    ends the loop
 *
 * COMMAND is the rest of the line, four characters.
 */
#include <unistd.h>

#include <clocale>
#include <fstream>
#include <future>
#include <iostream>
#include <map>
#include <string>

#include "TarvoRemote/MainThread.h"
#include "UserInterface.h"

namespace {

constexpr OSType kTestClass = fourCC("wind");
constexpr OSType kRequestName = fourCC("rqst");

struct Request {
    std::string verb;
    std::string argument;
    std::promise<std::string> answer;
};

EventRef makeCommand(const std::string& text) {
    OSType code = 0;
    for (const char letter : text) {
        code = (code << 8) | static_cast<unsigned char>(letter);
    }
    const HICommand command{.attributes = 0, .commandID = code, .menu = 0, .menuItemIndex = 0};
    EventRef event = nullptr;
    CreateEvent(nullptr, kEventClassCommand, kEventCommandProcess, 0, 0, &event);
    SetEventParameter(event, kEventParamDirectObject, typeHICommand, sizeof(command), &command);
    return event;
}

std::string postCommand(const std::string& text) {
    EventRef event = makeCommand(text);
    const OSStatus status = PostEventToQueue(GetMainEventQueue(), event, kEventPriorityStandard);
    ReleaseEvent(event);
    return status == noErr ? "posted" : std::to_string(status);
}

std::string sendCommand(const std::string& text) {
    EventRef event = makeCommand(text);
    const OSStatus status = SendEventToEventTarget(event, GetEventDispatcherTarget());
    ReleaseEvent(event);
    return std::to_string(status);
}

std::string openWindow(const std::string& name) {
    IBNibRef nib = nullptr;
    WindowRef window = nullptr;
    OSStatus status = CreateNibReference("main", &nib);
    if (status == noErr) {
        status = CreateWindowFromNib(nib, name.c_str(), &window);
    }
    if (status == noErr) {
        status = RepositionWindow(window, nullptr, kWindowCascadeOnMainScreen);
    }
    if (status == noErr) {
        status = ShowWindow(window);
    }
    return std::to_string(status) + " " + std::to_string(reinterpret_cast<uintptr_t>(window));
}

bool isLoaded(const std::string& library) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(library) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string children() {
    const std::string self = std::to_string(getpid());
    std::ifstream list("/proc/" + self + "/task/" + self + "/children");
    std::string line;
    std::getline(list, line);
    return line;
}

WindowRef windowNamed(const std::string& reference) {
    return reinterpret_cast<WindowRef>(std::stoull(reference));
}

std::string placeWindow(const std::string& reference) {
    return std::to_string(RepositionWindow(windowNamed(reference), nullptr, kWindowCenterOnMainScreen));
}

using Command = std::string (*)(const std::string& argument);
const std::map<std::string, Command> kCommands = {
    {"post", postCommand},
    {"send", sendCommand},
    {"open", openWindow},
    {"place", placeWindow},
    {"show", [](const std::string& window) { return std::to_string(ShowWindow(windowNamed(window))); }},
    {"dispose", [](const std::string& window) { return std::to_string(DisposeWindow(windowNamed(window))); }},
    {"target",
     [](const std::string& window) -> std::string {
         return GetWindowEventTarget(windowNamed(window)) == nullptr ? "0" : "1";
     }},
    {"libraries", [](const std::string& name) -> std::string { return isLoaded(name) ? "1" : "0"; }},
    {"children", [](const std::string&) { return children(); }},
    {"locale", [](const std::string&) -> std::string { return std::setlocale(LC_ALL, nullptr); }},
};

std::string carryOut(const Request& request) {
    const auto command = kCommands.find(request.verb);
    return command == kCommands.end() ? "no such command" : command->second(request.argument);
}

OSStatus onRequest(EventHandlerCallRef, EventRef event, void*) {
    Request* request = nullptr;
    GetEventParameter(event, kRequestName, typeWildCard, nullptr, sizeof(request), nullptr, &request);
    request->answer.set_value(carryOut(*request));
    return noErr;
}

std::string onMainThread(Request& request) {
    Request* const address = &request;
    EventRef event = nullptr;
    CreateEvent(nullptr, kTestClass, 1, 0, 0, &event);
    SetEventParameter(event, kRequestName, kRequestName, sizeof(address), static_cast<const void*>(&address));
    PostEventToQueue(GetMainEventQueue(), event, kEventPriorityStandard);
    ReleaseEvent(event);
    return request.answer.get_future().get();
}

OSStatus readCommands(void*) {
    const EventTypeSpec types[] = {{kTestClass, 1}};
    InstallEventHandler(GetEventDispatcherTarget(), onRequest, 1, types, nullptr, nullptr);
    for (std::string line; std::getline(std::cin, line) && line != "quit";) {
        const size_t blank = line.find(' ');
        Request request;
        request.verb = line.substr(0, blank);
        request.argument = blank == std::string::npos ? "" : line.substr(blank + 1);
        const std::string answer =
            request.verb == "elsewhere" ? openWindow(request.argument) : onMainThread(request);
        std::cout << answer << std::endl;
    }
    QuitApplicationEventLoop();
    return noErr;
}

}  // namespace

int main() {
    return runMainThread(readCommands);
}
