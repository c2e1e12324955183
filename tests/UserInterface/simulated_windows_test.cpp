#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ChildProcess.h"
#include "UserInterface.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/temp_folder.h"

namespace {

using e2e::Json;
using e2e::LabClient;

/** The helper's main thread on the simulated set, with the lab's socket. */
class SimulatedWindows : public testing::Test {
protected:
    SimulatedWindows()
        : application_({ownFolder() + "/window_process"},
                       {{"LD_LIBRARY_PATH", ownFolder() + "/../../lib/tarvo/simulated"},
                        {"TARVO_LAB_SOCKET", folder_.file("lab.sock")},
                        {"TARVO_LAB", ""},
                        {"DISPLAY", ""},
                        {"WAYLAND_DISPLAY", ""}}) {}
    void SetUp() override { EXPECT_EQ("1", application_.ask("libraries simulated/libUserInterface.so")); }
    void TearDown() override { EXPECT_EQ(0, application_.finish()); }

    e2e::TempFolder folder_;
    ChildProcess application_;
};

TEST_F(SimulatedWindows, are_seen_in_the_trace_when_the_new_command_comes) {
    LabClient lab(folder_.file("lab.sock"));
    EXPECT_EQ("0", application_.ask("send new "));
    EXPECT_EQ(
        (std::vector<std::string>{"EnterMovies", "CreateWindowFromNib", "RepositionWindow", "ShowWindow"}),
        lab.callNames());
    const Json created = lab.calls("CreateWindowFromNib").at(0);
    EXPECT_EQ("MainWindow", created["args"]["name"]);
    EXPECT_EQ("MainWindow", created["args"]["title"]);
    EXPECT_EQ(0, e2e::number(created["result"]));
    const int64_t window = e2e::number(created["args"]["window"]);
    EXPECT_EQ(window, e2e::number(lab.calls("RepositionWindow").at(0)["args"]["window"]));
    EXPECT_EQ(kWindowCascadeOnMainScreen, e2e::number(lab.calls("RepositionWindow").at(0)["args"]["method"]));
    EXPECT_EQ(window, e2e::number(lab.calls("ShowWindow").at(0)["args"]["window"]));
}

TEST_F(SimulatedWindows, do_not_open_for_other_commands) {
    LabClient lab(folder_.file("lab.sock"));
    EXPECT_EQ("-9874", application_.ask("send open"));
    EXPECT_EQ("0", application_.ask("send new "));
    EXPECT_EQ("-9874", application_.ask("send open"));
    EXPECT_EQ(1U, lab.calls("CreateWindowFromNib").size());
}

TEST_F(SimulatedWindows, that_cannot_be_made_answer_the_command_with_the_error) {
    LabClient lab(folder_.file("lab.sock"));
    lab.fault("CreateWindowFromNib", -4711);
    EXPECT_EQ("-4711", application_.ask("send new "));
    EXPECT_EQ(0U, lab.calls("ShowWindow").size());
    EXPECT_EQ("0", application_.ask("send new "));
}

TEST_F(SimulatedWindows, keep_the_rules_of_real_ones) {
    LabClient lab(folder_.file("lab.sock"));
    const std::string invalid = std::to_string(errInvalidWindowRef);
    const std::string opened = application_.ask("open MainWindow");
    ASSERT_TRUE(opened.starts_with("0 ")) << opened;
    const std::string window = opened.substr(2);
    EXPECT_EQ("1", application_.ask("target " + window));
    EXPECT_EQ("0", application_.ask("place " + window));
    EXPECT_EQ("0", application_.ask("dispose " + window));
    EXPECT_EQ("0", application_.ask("target " + window));
    EXPECT_EQ(invalid, application_.ask("dispose " + window));
    EXPECT_EQ(invalid, application_.ask("show " + window));
    EXPECT_EQ(invalid, application_.ask("place " + window));
    EXPECT_EQ(std::to_string(kIBCarbonRuntimeCantFindObject) + " 0", application_.ask("open OtherWindow"));
    EXPECT_EQ(std::to_string(eventInternalErr) + " 0", application_.ask("elsewhere MainWindow"));
    EXPECT_EQ(4U, lab.calls("DisposeWindow").size() + lab.calls("ShowWindow").size());
}

TEST_F(SimulatedWindows, that_are_late_delay_the_command_alone) {
    LabClient lab(folder_.file("lab.sock"));
    lab.delay("CreateWindowFromNib", std::chrono::milliseconds(20));
    EXPECT_EQ("0", application_.ask("send new "));
    EXPECT_EQ(1U, lab.calls("ShowWindow").size());
}

}  // namespace
