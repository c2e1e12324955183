#include "TarvoRemote/MainThread.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "UserInterface.h"

namespace {

struct Releaser {
    void operator()(EventRef event) const { ReleaseEvent(event); }
};
using OwnedEvent = std::unique_ptr<std::remove_pointer_t<EventRef>, Releaser>;

OwnedEvent makeEvent(OSType eventClass, uint32_t kind) {
    EventRef event = nullptr;
    EXPECT_EQ(noErr, CreateEvent(nullptr, eventClass, kind, 0, 0, &event));
    return OwnedEvent(event);
}

OwnedEvent makeCommand(const char (&command)[5], OSType eventClass = kEventClassCommand,
                       uint32_t kind = kEventCommandProcess) {
    OwnedEvent event = makeEvent(eventClass, kind);
    const HICommand record{.attributes = 0, .commandID = fourCC(command), .menu = 0, .menuItemIndex = 0};
    SetEventParameter(event.get(), kEventParamDirectObject, typeHICommand, sizeof(record), &record);
    return event;
}

OSStatus askApplication(const OwnedEvent& event) {
    return AppEventHandler(nullptr, event.get(), nullptr);
}

TEST(AppEventHandler, leaves_all_but_the_new_command_to_others) {
    EXPECT_EQ(-9874, askApplication(makeCommand("open")));
    EXPECT_EQ(-9874, askApplication(makeCommand("new ", fourCC("menu"))));
    EXPECT_EQ(-9874, askApplication(makeCommand("new ", kEventClassCommand, 2)));
    EXPECT_EQ(-9874, askApplication(makeEvent(kEventClassCommand, kEventCommandProcess)));
}

TEST(AppEventHandler, answers_the_new_command_with_the_error_of_the_window) {
    // No nib was opened, so there is none to make the window from.
    EXPECT_EQ(paramErr, askApplication(makeCommand("new ")));
}

TEST(WindowEventHandler, handles_no_command) {
    EXPECT_EQ(WindowEventHandler, GetWindowEventHandlerUPP());
    EXPECT_EQ(GetWindowEventHandlerUPP(), GetWindowEventHandlerUPP());
    for (const OwnedEvent& event : {makeCommand("new "), makeCommand("clos"), makeEvent(fourCC("menu"), 5)}) {
        EXPECT_EQ(-9874, WindowEventHandler(nullptr, event.get(), nullptr));
    }
}

/** What the handler was given, and how often. */
ExportRequest given;
int timesGiven;

void takeRequest(const ExportRequest& request) {
    given = request;
    ++timesGiven;
}

class ExportEvent : public testing::Test {
protected:
    void SetUp() override {
        given = {};
        timesGiven = 0;
        setExportSettingsHandler(takeRequest);
    }
    void TearDown() override { setExportSettingsHandler(nullptr); }

    /// What the handler logs; its status is always 0.
    static std::string handle(const OwnedEvent& event) {
        testing::internal::CaptureStderr();
        const OSStatus status = QtAppEventHandler(nullptr, event.get(), nullptr);
        std::string log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(0, status);
        return log;
    }
    static OwnedEvent makeRequest(const ExportRequest& request, size_t size = sizeof(ExportRequest)) {
        OwnedEvent event = makeEvent(kExportEventClass, kExportEventKind);
        SetEventParameter(event.get(), kExportParameterName, kExportParameterType, size, &request);
        return event;
    }
    static constexpr const char* kLog =
        "QuickTime: \n-------------------------------------\n"
        "QuickTime: QtAppEventHandler GOT MESSAGE\n";
};

TEST_F(ExportEvent, gives_its_four_values_to_the_handler) {
    std::string first = "/settings";
    std::string second = "/second";
    std::string movie = "/movie";
    EXPECT_EQ(kLog, handle(makeRequest({first.data(), second.data(), movie.data(), 1})));
    EXPECT_EQ(1, timesGiven);
    EXPECT_EQ(first.data(), given.settingsPath);
    EXPECT_EQ(second.data(), given.secondSettingsPath);
    EXPECT_EQ(movie.data(), given.moviePath);
    EXPECT_EQ(1, given.useSavedSettings);
}

TEST_F(ExportEvent, without_its_parameter_is_only_logged) {
    EXPECT_EQ(kLog, handle(makeEvent(kExportEventClass, kExportEventKind)));
    EXPECT_EQ(0, timesGiven);
}

TEST_F(ExportEvent, of_another_size_is_only_logged) {
    EXPECT_EQ(kLog, handle(makeRequest({nullptr, nullptr, nullptr, 1}, sizeof(void*))));
    EXPECT_EQ(0, timesGiven);
}

TEST_F(ExportEvent, that_nobody_handles_is_freed) {
    // The leak checker sees it otherwise.
    setExportSettingsHandler(nullptr);
    EXPECT_EQ(kLog, handle(makeRequest({strdup("/settings"), nullptr, strdup("/movie"), 0})));
    EXPECT_EQ(0, timesGiven);
}

OSStatus quitAtOnce(void* parameter) {
    EXPECT_EQ(nullptr, parameter);
    EXPECT_FALSE(IsMainThread());
    QuitApplicationEventLoop();
    return noErr;
}

OSStatus postExportAndQuit(void*) {
    std::string path = "/movie";
    EventRef event = nullptr;
    CreateEvent(nullptr, kExportEventClass, kExportEventKind, 0, 0, &event);
    const ExportRequest request{nullptr, nullptr, path.data(), 0};
    SetEventParameter(event, kExportParameterName, kExportParameterType, sizeof(request), &request);
    PostEventToQueue(GetMainEventQueue(), event, kEventPriorityStandard);
    ReleaseEvent(event);
    QuitApplicationEventLoop();
    return noErr;
}

TEST(MainThread, runs_until_the_loop_is_asked_to_end) {
    EXPECT_EQ(0, runMainThread(quitAtOnce));
}

TEST(MainThread, serves_export_requests_that_tasks_post) {
    timesGiven = 0;
    setExportSettingsHandler([](const ExportRequest&) {
        EXPECT_TRUE(IsMainThread());
        ++timesGiven;
    });
    EXPECT_EQ(0, runMainThread(postExportAndQuit));
    setExportSettingsHandler(nullptr);
    EXPECT_EQ(1, timesGiven);
}

}  // namespace
