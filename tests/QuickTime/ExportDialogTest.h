/* ExportDialogTest.h: a test with the real helper, the real dialog and a screen to show it on.
 *
 * Owns: the movie and both settings files, in a folder of their own; the screen.
 */
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <map>
#include <memory>
#include <string>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "tests/UserInterface/Desktop.h"
#include "tests/e2e/support/canon_fixture.h"

namespace e2e {

using atoms::ExportChoice;

inline constexpr const char* kTitle = "Export Settings: film.mov";
/// Lists that hang open are windows of the program's own name.
inline constexpr const char* kList = "TarvoRemote";
inline constexpr int kFileNotFound = -43;
inline constexpr int kNotAMovie = -2048;
inline constexpr int kNoWindowSystem = -5699;

std::string hardwareSetPath();
Bytes bytesOf(const atoms::Container& container);
Bytes bytesOf(const ExportChoice& choice);
bool hasLoaded(pid_t process, const std::string& library);

/** Requests and what comes of them, on whatever screen. */
class ExportDialogRequests : public CanonTest {
protected:
    void SetUp() override;
    void TearDown() override;

    /** On the screen that the environment names. */
    void startHelper(std::map<std::string, std::string> environment, const std::string& libraries);

    std::string movie() const { return folder_.file("film.mov"); }
    std::string first() const { return folder_.file("first.settings"); }
    std::string second() const { return folder_.file("second.settings"); }

    RawClient ask(bool usesSaved = false) { return ask(movie(), usesSaved); }
    RawClient ask(const std::string& path, bool usesSaved);
    void expectAnswer(RawClient& client, int32_t result);

    bool areFilesWritten() const;
    /** What both files hold. */
    ExportChoice savedChoice();
    bool hasLoaded(const std::string& library) { return e2e::hasLoaded(helper().pid(), library); }
    /** The process that shows the dialog; 0 when there is none. One that nobody has reaped counts. */
    pid_t dialogProcess();
    void killDialog(int signal);

    TempFolder folder_;

private:
    bool isStarted_ = false;
};

class ExportDialog : public ExportDialogRequests {
protected:
    void SetUp() override;

    void startOnDesktop() { startOnDesktop(hardwareSetPath()); }
    void startOnDesktop(const std::string& libraries);
    void startOn(const std::string& display, const std::string& libraries);
    /** Another desktop of the same name, in the place of the one that has ended. */
    void bringDesktopBack();

    /** Until it can be seen and used. */
    void awaitDialog();
    void awaitNoDialog() { ASSERT_TRUE(desktop_->showsWindows(kTitle, 0)); }
    SeenWindow dialog();
    void press(const std::string& keys) { desktop_->pressKeys(dialog(), keys); }
    void type(const std::string& text);
    /** After whatever went wrong: the helper serves, has nothing left over, and shows the next dialog. */
    void expectNextDialog();

    std::unique_ptr<Desktop> desktop_;
};

/** Cameras of the lab beside the real dialog. */
class ExportDialogWithCameras : public ExportDialog {
protected:
    std::string mixedSetPath();

    TempFolder mixed_;
};

}  // namespace e2e
