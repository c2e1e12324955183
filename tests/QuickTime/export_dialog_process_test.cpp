// The dialog's process: what it is made of, and every way in which it can go.
#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/QuickTime/ExportDialogTest.h"

namespace e2e {
namespace {

TEST_F(ExportDialog, is_a_process_of_its_own_that_goes_with_it) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    EXPECT_TRUE(e2e::hasLoaded(dialogProcess(), "libgtk-4"));
    EXPECT_FALSE(hasLoaded("libgtk-4"));
    press("Escape");
    expectAnswer(client, 0);
    EXPECT_EQ(0, dialogProcess());
}

TEST_F(ExportDialog, leaves_no_descriptor_behind) {
    startOnDesktop();
    size_t before = 0;
    for (int time = 0; time < 4; ++time) {
        RawClient client = ask();
        awaitDialog();
        press("Escape");
        expectAnswer(client, 0);
        awaitNoDialog();
        client.close();
        // The first one brings the movie library in.
        if (time == 0) before = helper().descriptorCount();
    }
    EXPECT_TRUE(eventually([&] { return helper().descriptorCount() <= before; }))
        << helper().descriptorCount() << " against " << before;
}

TEST_F(ExportDialog, whose_display_goes_answers_that_and_the_helper_lives_on) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    desktop_->end();
    expectAnswer(client, kNoWindowSystem);
    expectServing();
    RawClient next = ask();
    expectAnswer(next, kNoWindowSystem);
    EXPECT_FALSE(areFilesWritten());
}

TEST_F(ExportDialog, opens_again_when_the_display_is_back) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    desktop_->end();
    expectAnswer(client, kNoWindowSystem);
    bringDesktopBack();
    expectNextDialog();
}

/** The end comes at another moment of the dialog's start each time: while it connects, builds, draws. */
TEST_F(ExportDialog, whose_display_goes_at_any_moment_answers_that_and_the_helper_lives_on) {
    startOnDesktop();
    for (int moment = 0; moment < 12; ++moment) {
        RawClient client = ask();
        ASSERT_TRUE(eventually([&] { return dialogProcess() != 0; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(25 * moment));
        desktop_->end();
        expectAnswer(client, kNoWindowSystem);
        bringDesktopBack();
    }
    EXPECT_FALSE(areFilesWritten());
    expectNextDialog();
}

TEST_F(ExportDialog, whose_display_goes_while_it_draws_answers_that_and_the_helper_lives_on) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    // Every key draws: the list opens, and its rows light up one after another.
    std::string keys = "alt+c";
    for (int i = 0; i < 200; ++i)
        keys += i % 2 == 0 ? " Down" : " Up";
    desktop_->holdKeys(dialog(), keys);
    ASSERT_TRUE(desktop_->showsWindows(kList, 1));
    desktop_->end();
    expectAnswer(client, kNoWindowSystem);
    bringDesktopBack();
    expectNextDialog();
}

TEST_F(ExportDialog, whose_process_is_killed_answers_at_once_and_the_helper_lives_on) {
    startOnDesktop();
    for (const int signal : {SIGKILL, SIGABRT, SIGTERM}) {
        RawClient client = ask();
        awaitDialog();
        killDialog(signal);
        expectAnswer(client, kNoWindowSystem);
        EXPECT_TRUE(helper().waitForErr("TarvoExportDialog: was ended by signal " + std::to_string(signal)));
        awaitNoDialog();
    }
    EXPECT_FALSE(areFilesWritten());
    expectNextDialog();
}

TEST_F(ExportDialog, goes_when_the_helper_is_killed) {
    startOnDesktop();
    RawClient client = ask();
    awaitDialog();
    helper().expectExitStatus(128 + SIGKILL);
    ASSERT_GT(helper().pid(), 1);
    kill(helper().pid(), SIGKILL);
    EXPECT_TRUE(helper().waitForExit());
    awaitNoDialog();
}

/** Another program stands in the place of the dialog's. */
class ExportDialogOfAnotherProgram : public ExportDialog {
protected:
    void startWith(const std::string& script) {
        for (const auto& library : std::filesystem::directory_iterator(hardwareSetPath())) {
            if (library.path().extension() != ".so") continue;
            std::filesystem::create_symlink(std::filesystem::canonical(library.path()),
                                            set_.path() / library.path().filename());
        }
        setProgram(script);
        startOnDesktop(set_.path().string());
    }
    void setProgram(const std::string& script) {
        const std::string text = "#!/bin/sh\n" + script + "\n";
        const std::string program = set_.file("TarvoExportDialog");
        writeFile(program, Bytes(text.begin(), text.end()));
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    }
    void setRealProgram() {
        std::filesystem::remove(set_.path() / "TarvoExportDialog");
        std::filesystem::create_symlink(std::filesystem::canonical(hardwareSetPath() + "/TarvoExportDialog"),
                                        set_.path() / "TarvoExportDialog");
    }

    TempFolder set_;
};

TEST_F(ExportDialogOfAnotherProgram, that_ends_or_makes_no_sense_is_answered_and_the_helper_lives_on) {
    startWith("exit 3");
    const auto expectRefused = [this](const std::string& script, const std::string& log) {
        setProgram(script);
        RawClient client = ask();
        expectAnswer(client, kNoWindowSystem);
        EXPECT_TRUE(helper().waitForErr("TarvoExportDialog: " + log + "\n")) << script;
        EXPECT_EQ(0, dialogProcess());
    };
    expectRefused("exit 3", "ended with status 3");
    expectRefused("echo out; echo err >&2; exit 4", "ended with status 4");
    expectRefused("printf nonsense >&3; exec sleep 60", "said what makes no sense");
    // "Accepted", but nothing was shown, or asked for.
    expectRefused("printf '\\004\\000\\000\\000' >&3; exec sleep 60", "said what makes no sense");
    expectRefused("head -c 100000 /dev/zero >&3; exec sleep 60", "said what makes no sense");
    expectRefused("exec 3>&-; exec sleep 60", "closed its connection");
    expectRefused("kill -9 $$", "was ended by signal 9 (Killed)");
    EXPECT_FALSE(areFilesWritten());
    setRealProgram();
    expectNextDialog();
}

TEST_F(ExportDialogOfAnotherProgram, that_is_missing_is_answered_and_the_helper_lives_on) {
    startWith("exit 0");
    std::filesystem::remove(set_.path() / "TarvoExportDialog");
    RawClient client = ask();
    expectAnswer(client, kNoWindowSystem);
    EXPECT_TRUE(helper().waitForErr("TarvoExportDialog: could not be started: No such file or directory\n"));
    setRealProgram();
    expectNextDialog();
}

TEST_F(ExportDialogOfAnotherProgram, that_hangs_is_given_up_and_the_helper_lives_on) {
    startWith("exec sleep 600");
    RawClient client = ask();
    ASSERT_TRUE(eventually([&] { return dialogProcess() != 0; }));
    expectServing();
    expectAnswer(client, kNoWindowSystem);
    EXPECT_TRUE(helper().waitForErr("TarvoExportDialog: has not answered in time\n"));
    setRealProgram();
    expectNextDialog();
}

TEST_F(ExportDialogWithCameras, that_dies_leaves_their_sessions_and_a_shot_under_way_alone) {
    startOnDesktop(mixedSetPath());
    const int32_t camera = openFirst();
    ASSERT_NE(0, camera);
    RawClient client = ask();
    awaitDialog();
    EXPECT_EQ(0, canon().preCapture(camera, picturePath("shot")));
    lab().command({{"cmd", "fault"}, {"call", "EdsSendCommand"}, {"delayMs", 500}});
    int32_t result = -1;
    std::thread shot([&] { result = canon().capture(camera, picturePath("shot")); });
    desktop_->end();
    expectAnswer(client, kNoWindowSystem);
    shot.join();
    EXPECT_EQ(0, result);
    EXPECT_EQ(1u, shoot(camera, picturePath("next")).size());
}

}  // namespace
}  // namespace e2e
