// The dialog as a screen reader finds it.
#include <algorithm>

#include "tests/QuickTime/ExportDialogTest.h"
#include "tests/UserInterface/AccessibilityBus.h"

namespace e2e {
namespace {

class ExportDialogForScreenReaders : public ExportDialog {
protected:
    void SetUp() override {
        ExportDialog::SetUp();
        if (IsSkipped()) return;
        if (!AccessibilityBus::isAvailable()) {
            GTEST_SKIP() << "dbus-daemon or at-spi2-core is not installed";
        }
        bus_ = std::make_unique<AccessibilityBus>();
        ASSERT_NE("", bus_->address()) << "the accessibility bus does not start";
        desktop_ = std::make_unique<Desktop>();
        ASSERT_NE("", desktop_->name()) << "Xvfb does not start";
        auto environment = bus_->environment();
        environment["DISPLAY"] = desktop_->name();
        environment["WAYLAND_DISPLAY"] = "";
        environment["GDK_BACKEND"] = "x11";
        startHelper(environment, hardwareSetPath());
    }
    void TearDown() override {
        ExportDialog::TearDown();
        bus_.reset();
    }

    std::vector<AccessibleThing> things() const { return bus_->thingsOf("TarvoRemote"); }
    bool shows(const std::string& role, const std::string& name) const {
        const std::vector<AccessibleThing> all = things();
        return std::any_of(all.begin(), all.end(), [&](const AccessibleThing& each) {
            return each.role == role && each.name == name;
        });
    }
    /** The names of what the keyboard reaches, in its order; the rows of lists that are closed aside. */
    std::vector<std::string> controls() const {
        std::vector<std::string> names;
        for (const AccessibleThing& each : things()) {
            const bool isRow = each.role == "widget" || each.role == "list item";
            if (each.canHaveFocus && !isRow) names.push_back(each.name);
        }
        return names;
    }

    std::unique_ptr<AccessibilityBus> bus_;
};

TEST_F(ExportDialogForScreenReaders, names_its_window_and_every_control) {
    RawClient client = ask();
    awaitDialog();
    EXPECT_TRUE(eventually([this] { return shows("window", kTitle); }));
    const std::vector<std::string> expected{"Picture",
                                            "Codec: H.264",
                                            "Size: As in the movie (320 \u00D7 240)",
                                            "Frames a second: As in the movie (25)",
                                            "Quality",
                                            "Quality",  // the scale beside its switch
                                            "Data rate, kbit/s",
                                            "Data rate in kilobits a second",
                                            "Key frame every",
                                            "Sound",
                                            "Format: AAC",
                                            "Sample rate: As in the movie (44.1 kHz)",
                                            "Channels: As in the movie (stereo)",
                                            "Bit rate: Usual (128 kbit/s)",
                                            "Prepare for streaming",
                                            "Cancel",
                                            "OK"};
    EXPECT_EQ(expected, controls());
    press("Escape");
    expectAnswer(client, 0);
}

TEST_F(ExportDialogForScreenReaders, tells_what_has_changed) {
    RawClient client = ask();
    awaitDialog();
    press("alt+s");  // no sound
    EXPECT_TRUE(eventually([this] {
        const std::vector<AccessibleThing> all = things();
        return std::any_of(all.begin(), all.end(), [](const AccessibleThing& each) {
            return each.role == "status" && each.name.ends_with("no sound");
        });
    }));
    press("alt+c");
    ASSERT_TRUE(desktop_->showsWindows(kList, 1));
    press("Down");
    press("Return");
    ASSERT_TRUE(desktop_->showsWindows(kList, 0));
    EXPECT_TRUE(eventually([this] { return controls().at(1) == "Codec: ProRes 422"; })) << controls().at(1);
    press("Escape");
    expectAnswer(client, 0);
}

}  // namespace
}  // namespace e2e
