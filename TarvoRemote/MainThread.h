/* MainThread.h: the helper as a desktop application: what its main thread does all its life.
 *
 * Socket work runs on tasks. What needs a user interface comes here as posted events: commands, which open
 * the main window, and requests for the movie-export dialog.
 *
 * Thread: main thread, and it alone runs the handlers.
 * Owns:   the interface resources and the handlers, until the process ends.
 */
#pragma once

#include <cstdint>

#include "platform/Events.h"
#include "platform/Tasks.h"

constexpr OSType kExportEventClass = fourCC("tarv");
constexpr uint32_t kExportEventKind = fourCC("qtex");
constexpr OSType kExportParameterName = fourCC("tarv");
constexpr OSType kExportParameterType = fourCC("qtex");

/** What an export event carries: three pointers and a byte, padded to whole pointers (16 bytes where a
 * pointer has four). The strings are from malloc, any may be null, and go to whoever handles the event. */
struct ExportRequest {
    char* settingsPath;
    char* secondSettingsPath;
    char* moviePath;
    uint8_t useSavedSettings;
};
static_assert(sizeof(ExportRequest) == 4 * sizeof(void*));

/** Shows the export dialog, answers the host and frees the request's strings. */
using ExportSettingsHandler = void (*)(const ExportRequest& request);

/** Says who handles export requests; null: nobody, and their strings are freed unread. */
void setExportSettingsHandler(ExportSettingsHandler handler);

OSStatus AppEventHandler(EventHandlerCallRef call, EventRef event, void* userData);
OSStatus WindowEventHandler(EventHandlerCallRef call, EventRef event, void* userData);
OSStatus QtAppEventHandler(EventHandlerCallRef call, EventRef event, void* userData);

/** The callback that every window gets, made on first use. */
EventHandlerUPP GetWindowEventHandlerUPP();

/** Opens the resources, installs the handlers, enters the movie toolbox, starts the server as a task and runs
 * the application's event loop. Returns the resources' error, or 0 when the loop ends. */
int runMainThread(TaskProc startServer);
