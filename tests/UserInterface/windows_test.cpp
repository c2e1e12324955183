#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <thread>

#include "ChildProcess.h"
#include "Desktop.h"
#include "UserInterface.h"

namespace {

std::map<std::string, std::string> onDisplay(const std::string& display) {
    return {{"DISPLAY", display},
            {"WAYLAND_DISPLAY", ""},
            {"XDG_RUNTIME_DIR", ""},
            {"GDK_BACKEND", "x11"},
            // The plain renderer: what is drawn is not looked at, and software GL takes long to start.
            {"GSK_RENDERER", "cairo"}};
}

/** The helper's main thread in a process of its own. */
class Application : public ChildProcess {
public:
    explicit Application(const std::map<std::string, std::string>& environment)
        : ChildProcess({ownFolder() + "/window_process"}, environment) {}

    /** Opens a window and answers its reference, "" on failure. */
    std::string openWindow() {
        const std::string answer = ask("open MainWindow");
        return answer.starts_with("0 ") ? answer.substr(2) : "";
    }
};

class Windows : public testing::Test {
protected:
    void SetUp() override {
        if (!Desktop::isAvailable()) {
            GTEST_SKIP() << "Xvfb is not installed";
        }
        desktop_ = std::make_unique<Desktop>();
        ASSERT_NE("", desktop_->name()) << "Xvfb does not start";
        application_ = std::make_unique<Application>(onDisplay(desktop_->name()));
    }
    void TearDown() override {
        if (application_ != nullptr) {
            EXPECT_EQ(0, application_->finish());
        }
    }
    void endDesktop(const std::string& window) {
        desktop_->end();
        awaitNoTarget(window);
    }
    /// Until the application has noticed that the window is gone.
    void awaitNoTarget(const std::string& window) {
        std::string target = "1";
        for (int tries = 0; target == "1" && tries < 6000; ++tries) {
            target = application_->ask("target " + window);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_EQ("0", target);
    }
    /// The one that draws the windows.
    pid_t process() { return std::atoi(application_->ask("children").c_str()); }
    std::vector<SeenWindow> seen() { return desktop_->windows("MainWindow"); }

    std::unique_ptr<Desktop> desktop_;
    std::unique_ptr<Application> application_;
};

TEST_F(Windows, open_when_the_new_command_is_posted) {
    EXPECT_EQ("posted", application_->ask("post new "));
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    EXPECT_EQ(480, seen()[0].width);
    EXPECT_EQ(360, seen()[0].height);
}

TEST_F(Windows, make_the_new_command_handled) {
    EXPECT_EQ("0", application_->ask("send new "));
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 1));
}

TEST_F(Windows, do_not_open_for_other_commands) {
    for (const char* command : {"open", "New ", "quit", "NEW ", " new"}) {
        EXPECT_EQ("-9874", application_->ask(std::string("send ") + command));
    }
    // With a window there its own handler is asked first, and passes the command on.
    EXPECT_EQ("0", application_->ask("send new "));
    EXPECT_EQ("-9874", application_->ask("send open"));
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 1));
}

TEST_F(Windows, cascade_on_the_screen) {
    for (int i = 0; i < 3; ++i) {
        application_->ask("post new ");
    }
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 3));
    const std::vector<SeenWindow> windows = seen();
    for (size_t i = 1; i < windows.size(); ++i) {
        EXPECT_GT(windows[i].x, windows[i - 1].x);
        EXPECT_GT(windows[i].y, windows[i - 1].y);
    }
    EXPECT_GE(windows.front().x, 0);
    EXPECT_LE(windows.back().y + windows.back().height, Desktop::kHeight);
}

TEST_F(Windows, are_centred_when_asked_so) {
    const std::string reference = application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    EXPECT_EQ("0", application_->ask("place " + reference));
    const SeenWindow window = seen().at(0);
    const int x = (Desktop::kWidth - window.width) / 2;
    const int y = (Desktop::kHeight - window.height) / 2;
    EXPECT_TRUE(desktop_->showsWindowAt("MainWindow", x, y));
}

TEST_F(Windows, that_the_user_closes_take_their_event_target_along) {
    const std::string first = application_->openWindow();
    const std::string second = application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 2));
    EXPECT_EQ("1", application_->ask("target " + first));
    desktop_->closeWindow(seen()[0]);
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    EXPECT_EQ("0", application_->ask("target " + first));
    EXPECT_EQ("1", application_->ask("target " + second));
    EXPECT_EQ(std::to_string(errInvalidWindowRef), application_->ask("show " + first));
    EXPECT_EQ(std::to_string(errInvalidWindowRef), application_->ask("dispose " + first));
}

TEST_F(Windows, that_are_disposed_of_go_with_their_event_target) {
    const std::string window = application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    EXPECT_EQ("0", application_->ask("dispose " + window));
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 0));
    EXPECT_EQ("0", application_->ask("target " + window));
    EXPECT_EQ(std::to_string(errInvalidWindowRef), application_->ask("dispose " + window));
    EXPECT_EQ(std::to_string(errInvalidWindowRef), application_->ask("place " + window));
}

TEST_F(Windows, of_a_name_that_the_nib_does_not_have_are_refused) {
    EXPECT_EQ(std::to_string(kIBCarbonRuntimeCantFindObject) + " 0", application_->ask("open OtherWindow"));
    EXPECT_EQ(std::to_string(kIBCarbonRuntimeObjectNotOfRequestedType) + " 0",
              application_->ask("open NewWindowKey"));
    EXPECT_EQ("0", application_->ask("libraries libgtk-4")) << "no need to load it for that";
}

TEST_F(Windows, are_refused_off_the_main_thread) {
    EXPECT_EQ(std::to_string(eventInternalErr) + " 0", application_->ask("elsewhere MainWindow"));
}

TEST_F(Windows, are_drawn_by_a_process_that_starts_with_the_first_one) {
    EXPECT_EQ("", application_->ask("children"));
    EXPECT_EQ("0", application_->ask("send new "));
    EXPECT_GT(process(), 0);
    const std::string first = application_->ask("children");
    EXPECT_EQ("0", application_->ask("send new "));
    EXPECT_EQ(first, application_->ask("children"));
    EXPECT_EQ("0", application_->ask("libraries libgtk-4"));
    EXPECT_EQ("0", application_->ask("libraries libX11"));
}

TEST_F(Windows, close_when_their_process_is_killed_and_open_again_in_another_one) {
    const std::string window = application_->openWindow();
    const std::string other = application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 2));
    const pid_t first = process();
    ASSERT_GT(first, 1);
    kill(first, SIGKILL);
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 0));
    awaitNoTarget(window);
    EXPECT_EQ("0", application_->ask("target " + other));
    EXPECT_EQ(std::to_string(errInvalidWindowRef), application_->ask("show " + window));
    EXPECT_EQ("", application_->ask("children"));
    EXPECT_EQ("0", application_->ask("send new "));
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 1));
    EXPECT_NE(first, process());
}

TEST_F(Windows, go_when_the_application_is_killed) {
    application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    application_->end(SIGKILL);
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 0));
    application_.reset();
}

TEST_F(Windows, that_are_being_drawn_when_the_display_is_lost_close_and_the_application_goes_on) {
    const std::string name = desktop_->name();
    for (int time = 0; time < 5; ++time) {
        // Nobody waits until they are there.
        for (int i = 0; i < 5; ++i)
            application_->ask("post new ");
        const std::string window = application_->openWindow();
        desktop_->end();
        if (!window.empty()) awaitNoTarget(window);
        EXPECT_EQ("-9874", application_->ask("send open"));
        desktop_ = std::make_unique<Desktop>();
        ASSERT_EQ(name, desktop_->name());
    }
    EXPECT_EQ("0", application_->ask("send new "));
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 1));
}

TEST_F(Windows, give_the_new_command_by_key) {
    if (!isInstalled("xdotool")) {
        GTEST_SKIP() << "xdotool is not installed";
    }
    application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    desktop_->pressKeys(seen()[0], "ctrl+n");
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 2));
}

TEST_F(Windows, close_when_the_display_is_lost_and_the_application_goes_on) {
    const std::string window = application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    endDesktop(window);
    EXPECT_EQ(std::to_string(errNoWindowSystem), application_->ask("send new "));
    EXPECT_EQ("-9874", application_->ask("send open"));
    EXPECT_TRUE(application_->comesToRest()) << "the dead connection keeps the loop busy";
}

TEST_F(Windows, open_again_when_the_display_is_back) {
    const std::string window = application_->openWindow();
    ASSERT_TRUE(desktop_->showsWindows("MainWindow", 1));
    endDesktop(window);
    const std::string name = desktop_->name();
    desktop_ = std::make_unique<Desktop>();
    ASSERT_EQ(name, desktop_->name());
    EXPECT_EQ("0", application_->ask("send new "));
    EXPECT_TRUE(desktop_->showsWindows("MainWindow", 1));
}

TEST_F(Windows, leave_the_way_numbers_are_printed_alone) {
    // Any locale shows it, and this one is everywhere.
    auto environment = onDisplay(desktop_->name());
    environment["LC_ALL"] = "C.UTF-8";
    Application localised(environment);
    EXPECT_NE("", localised.openWindow());
    EXPECT_EQ("C", localised.ask("locale"));
    EXPECT_EQ(0, localised.finish());
}

TEST(WindowsWithoutDisplay, are_refused_and_the_application_goes_on) {
    Application application(onDisplay(""));
    const std::string refused = std::to_string(errNoWindowSystem);
    EXPECT_EQ(refused, application.ask("send new "));
    EXPECT_EQ(refused, application.ask("send new "));
    EXPECT_EQ(refused + " 0", application.ask("open MainWindow"));
    EXPECT_EQ("-9874", application.ask("send open"));
    EXPECT_EQ(0, application.finish());
}

TEST(WindowsWithoutDisplay, are_refused_when_it_cannot_be_reached) {
    Application application(onDisplay(":9999"));
    EXPECT_EQ(std::to_string(errNoWindowSystem), application.ask("send new "));
    EXPECT_EQ("posted", application.ask("post new "));
    EXPECT_EQ("-9874", application.ask("send open"));
    EXPECT_EQ(0, application.finish());
}

}  // namespace
