#include "tests/QuickTime/ExportDialogTest.h"

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/QuickTime/TestMovies.h"

namespace e2e {

std::string hardwareSetPath() {
    return (std::filesystem::path(helperPath()).parent_path() / "../lib/tarvo/frameworks").string();
}

Bytes bytesOf(const atoms::Container& container) {
    return atoms::serialise(container).value_or(Bytes{});
}

Bytes bytesOf(const ExportChoice& choice) {
    atoms::Container container;
    atoms::writeChoice(choice, container);
    return bytesOf(container);
}

bool hasLoaded(pid_t process, const std::string& library) {
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(library) != std::string::npos) return true;
    }
    return false;
}

void ExportDialogRequests::SetUp() {
    makeMovie(movie());
}

void ExportDialogRequests::TearDown() {
    if (isStarted_) helper().stop();
}

void ExportDialogRequests::startHelper(std::map<std::string, std::string> environment,
                                       const std::string& libraries) {
    HelperOptions options;
    options.environment = std::move(environment);
    // The plain renderer: what is drawn is not looked at, and software GL takes long to start.
    options.environment.emplace("GSK_RENDERER", "cairo");
    // There is no bus here, and looking for one takes its time.
    options.environment.emplace("GTK_A11Y", "none");
    options.environment.emplace("LD_LIBRARY_PATH", libraries);
    // Libraries that GTK brings in leak a little by themselves, and so does GLib under GStreamer.
    if (kSanitized) options.environment["ASAN_OPTIONS"] = "detect_leaks=0";
    start(options);
    isStarted_ = true;
}

RawClient ExportDialogRequests::ask(const std::string& path, bool usesSaved) {
    RawClient client(helper().port());
    client.send(Message().byte(30).byte(1).text(first()).text(second()).text(path).byte(usesSaved ? 1 : 0));
    return client;
}

void ExportDialogRequests::expectAnswer(RawClient& client, int32_t result) {
    EXPECT_EQ(hex(Message().byte(30).byte(1).int32(result)), hex(client.receiveUntilClosed()));
}

bool ExportDialogRequests::areFilesWritten() const {
    return std::filesystem::exists(first()) || std::filesystem::exists(second());
}

ExportChoice ExportDialogRequests::savedChoice() {
    atoms::Container container;
    EXPECT_TRUE(atoms::parse(readFile(first()), container));
    EXPECT_EQ(hex(readFile(first())), hex(readFile(second())));
    ExportChoice choice;
    atoms::readChoice(container, choice);
    return choice;
}

pid_t ExportDialogRequests::dialogProcess() {
    const std::string process = std::to_string(helper().pid());
    std::ifstream children("/proc/" + process + "/task/" + process + "/children");
    pid_t child = 0;
    children >> child;
    return child;
}

void ExportDialogRequests::killDialog(int signal) {
    const pid_t process = dialogProcess();
    ASSERT_GT(process, 1);
    kill(process, signal);
}

void ExportDialog::SetUp() {
    if (!Desktop::isAvailable() || !isInstalled("xdotool")) {
        GTEST_SKIP() << "Xvfb or xdotool is not installed";
    }
    ExportDialogRequests::SetUp();
}

void ExportDialog::startOnDesktop(const std::string& libraries) {
    desktop_ = std::make_unique<Desktop>();
    ASSERT_NE("", desktop_->name()) << "Xvfb does not start";
    startOn(desktop_->name(), libraries);
}

void ExportDialog::startOn(const std::string& display, const std::string& libraries) {
    startHelper({{"DISPLAY", display}, {"WAYLAND_DISPLAY", ""}, {"GDK_BACKEND", "x11"}}, libraries);
}

void ExportDialog::bringDesktopBack() {
    const std::string name = desktop_->name();
    desktop_->end();
    desktop_ = std::make_unique<Desktop>();
    ASSERT_EQ(name, desktop_->name());
}

void ExportDialog::awaitDialog() {
    ASSERT_TRUE(desktop_->showsWindows(kTitle, 1)) << helper().err().text();
    // A window is there before anything in it has its place: a click would find nothing.
    ASSERT_TRUE(eventually([this] { return desktop_->isDrawn(dialog()); }));
}

SeenWindow ExportDialog::dialog() {
    const std::vector<SeenWindow> seen = desktop_->windows(kTitle);
    return seen.empty() ? SeenWindow{} : seen.front();
}

void ExportDialog::type(const std::string& text) {
    for (const char each : text)
        press(std::string(1, each));
}

void ExportDialog::expectNextDialog() {
    expectServing();
    EXPECT_EQ(0, dialogProcess());
    RawClient next = ask();
    awaitDialog();
    press("Return");
    expectAnswer(next, 0);
    EXPECT_EQ(ExportChoice{}, savedChoice());
}

std::string ExportDialogWithCameras::mixedSetPath() {
    for (const auto& library : std::filesystem::directory_iterator(simulatedSetPath())) {
        const std::string name = library.path().filename().string();
        if (name == "libQuickTime.so" || name == "libUserInterface.so") continue;
        std::filesystem::create_symlink(std::filesystem::canonical(library.path()), mixed_.path() / name);
    }
    return mixed_.path().string();
}

}  // namespace e2e
