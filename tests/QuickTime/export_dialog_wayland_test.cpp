// The dialog on Wayland: a compositor without a screen, and real key presses.
#include <fstream>
#include <sstream>

#include "tests/QuickTime/ExportDialogTest.h"
#include "tests/UserInterface/WaylandDesktop.h"

namespace e2e {
namespace {

/** How much a process has worked so far, in the kernel's ticks. */
long workOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    std::string skipped;
    for (int i = 0; i < 11; ++i)
        fields >> skipped;
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return user + system;
}

class ExportDialogOnWayland : public ExportDialogRequests {
protected:
    void SetUp() override {
        if (!WaylandDesktop::isAvailable()) {
            GTEST_SKIP() << "sway, wtype or setpriv is not installed";
        }
        ExportDialogRequests::SetUp();
        desktop_ = std::make_unique<WaylandDesktop>();
        ASSERT_NE("", desktop_->name()) << "sway does not start";
        startHelper(desktop_->environment(), hardwareSetPath());
    }

    void awaitDialog() {
        const WaylandWindow dialog{.title = kTitle, .program = "TarvoRemote", .hasFocus = true};
        ASSERT_TRUE(desktop_->showsWindows({dialog})) << helper().err().text();
    }
    void awaitNoDialog() { EXPECT_TRUE(desktop_->showsWindows({})); }
    void press(const std::vector<std::string>& keys) { desktop_->pressKeys(keys); }
    void expectNextDialog() {
        expectServing();
        EXPECT_EQ(0, dialogProcess());
        RawClient next = ask();
        awaitDialog();
        press({"-k", "Return"});
        expectAnswer(next, 0);
        EXPECT_EQ(ExportChoice{}, savedChoice());
    }

    std::unique_ptr<WaylandDesktop> desktop_;
};

TEST_F(ExportDialogOnWayland, comes_in_front_and_is_accepted_by_return) {
    RawClient client = ask();
    awaitDialog();
    EXPECT_FALSE(areFilesWritten());
    press({"-k", "Return"});
    expectAnswer(client, 0);
    EXPECT_EQ(ExportChoice{}, savedChoice());
    awaitNoDialog();
}

TEST_F(ExportDialogOnWayland, is_cancelled_by_escape) {
    RawClient client = ask();
    awaitDialog();
    press({"-k", "Escape"});
    expectAnswer(client, 0);
    EXPECT_FALSE(areFilesWritten());
    awaitNoDialog();
}

TEST_F(ExportDialogOnWayland, takes_choices_from_the_keyboard) {
    RawClient client = ask();
    awaitDialog();
    press({"-M", "alt", "-k", "k", "-m", "alt"});  // key frame every
    press({"-M", "ctrl", "-k", "a", "-m", "ctrl"});
    press({"48"});
    press({"-M", "alt", "-k", "s", "-m", "alt"});  // no sound
    press({"-k", "Return"});
    expectAnswer(client, 0);
    ExportChoice expected;
    expected.keyFrameInterval = 48;
    expected.hasSound = false;
    EXPECT_EQ(expected, savedChoice());
}

TEST_F(ExportDialogOnWayland, whose_compositor_goes_answers_that_and_the_helper_lives_on) {
    RawClient client = ask();
    awaitDialog();
    desktop_->end();
    expectAnswer(client, kNoWindowSystem);
    expectServing();
    RawClient next = ask();
    expectAnswer(next, kNoWindowSystem);
    EXPECT_FALSE(areFilesWritten());
    const std::string name = desktop_->name();
    desktop_->start();
    ASSERT_EQ(name, desktop_->name());
    expectNextDialog();
}

TEST_F(ExportDialogOnWayland, whose_compositor_goes_while_it_draws_answers_that_and_the_helper_lives_on) {
    RawClient client = ask();
    awaitDialog();
    // Every key draws: the focus goes round.
    std::vector<std::string> keys;
    for (int i = 0; i < 300; ++i)
        keys.insert(keys.end(), {"-k", "Tab"});
    desktop_->holdKeys(keys);
    const long before = workOf(dialogProcess());
    ASSERT_TRUE(eventually([&] { return workOf(dialogProcess()) > before + 1; }));
    desktop_->end();
    expectAnswer(client, kNoWindowSystem);
    desktop_->start();
    expectNextDialog();
}

}  // namespace
}  // namespace e2e
