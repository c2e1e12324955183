#include "TarvoRemote/MainThread.h"

#include <cstdlib>
#include <iterator>

#include "QuickTime.h"
#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "UserInterface.h"
#include "platform/Resources.h"

namespace {

constexpr size_t kServerStack = 2048;
constexpr OSType kNewWindowCommand = fourCC("new ");

constexpr EventTypeSpec kAppEvents[] = {{kEventClassCommand, kEventCommandProcess}};
constexpr EventTypeSpec kWindowEvents[] = {{kEventClassCommand, kEventCommandProcess}};
constexpr EventTypeSpec kExportEvents[] = {{kExportEventClass, kExportEventKind}};

IBNibRef sNibRef = nullptr;
EventHandlerUPP sHandler = nullptr;
ExportSettingsHandler exportSettings = nullptr;

/** All zero, which is no command, for an event that carries none. */
HICommand commandOf(EventRef event) {
    HICommand command{};
    GetEventParameter(event, kEventParamDirectObject, typeHICommand, nullptr, sizeof(command), nullptr,
                      &command);
    return command;
}

OSStatus openMainWindow() {
    WindowRef window = nullptr;
    const OSStatus status = CreateWindowFromNib(sNibRef, "MainWindow", &window);
    if (status != noErr) {
        return status;
    }
    InstallEventHandler(GetWindowEventTarget(window), GetWindowEventHandlerUPP(), std::size(kWindowEvents),
                        kWindowEvents, window, nullptr);
    RepositionWindow(window, nullptr, kWindowCascadeOnMainScreen);
    ShowWindow(window);
    return noErr;
}

}  // namespace

void setExportSettingsHandler(ExportSettingsHandler handler) {
    exportSettings = handler;
}

OSStatus AppEventHandler(EventHandlerCallRef /*call*/, EventRef event, void* /*userData*/) {
    if (GetEventClass(event) != kEventClassCommand) {
        return eventNotHandledErr;
    }
    const HICommand command = commandOf(event);
    if (GetEventKind(event) != kEventCommandProcess || command.commandID != kNewWindowCommand) {
        return eventNotHandledErr;
    }
    return openMainWindow();
}

OSStatus WindowEventHandler(EventHandlerCallRef /*call*/, EventRef /*event*/, void* /*userData*/) {
    // No command is the window's own; all go on to the application.
    return eventNotHandledErr;
}

EventHandlerUPP GetWindowEventHandlerUPP() {
    if (sHandler == nullptr) {
        sHandler = WindowEventHandler;
    }
    return sHandler;
}

OSStatus QtAppEventHandler(EventHandlerCallRef /*call*/, EventRef event, void* /*userData*/) {
    rdebug(MODULE_QUICKTIME, "\n-------------------------------------\n");
    rdebug(MODULE_QUICKTIME, "QtAppEventHandler GOT MESSAGE\n");
    ExportRequest request{};
    size_t size = 0;
    if (GetEventParameter(event, kExportParameterName, kExportParameterType, nullptr, sizeof(request), &size,
                          &request) != noErr ||
        size != sizeof(request)) {
        return noErr;
    }
    if (exportSettings != nullptr) {
        exportSettings(request);
    } else {
        std::free(request.settingsPath);
        std::free(request.secondSettingsPath);
        std::free(request.moviePath);
    }
    return noErr;
}

int runMainThread(TaskProc startServer) {
    const OSStatus status = CreateNibReference("main", &sNibRef);
    if (status != noErr) {
        return status;
    }
    InstallEventHandler(GetApplicationEventTarget(), AppEventHandler, std::size(kAppEvents), kAppEvents,
                        nullptr, nullptr);
    InstallEventHandler(GetApplicationEventTarget(), QtAppEventHandler, std::size(kExportEvents),
                        kExportEvents, nullptr, nullptr);
    EnterMovies();
    MPCreateTask(startServer, nullptr, kServerStack, nullptr, nullptr, nullptr, 0, nullptr);
    RunApplicationEventLoop();
    return 0;
}
