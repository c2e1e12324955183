// Modules and cameras: loading, counting, selecting, releasing, and the order of the commands.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

using Texts = std::vector<std::string>;

constexpr int32_t kNoCamera = 65535;

class NikonCameras : public NikonTest {
protected:
    /** A body on which selection changes both of its values. */
    static Json selectable(const Json& more = Json::object()) {
        return withCapabilities(
            {unsignedCapability(kClearedOnSelection, 1), unsignedCapability(kSetOnSelection, 0)}, more);
    }

    static Json numbered(int number) {
        return nikonCamera("nikon-" + std::to_string(number), {{"cameraType", 100 + number}});
    }

    /** Where in the order a command stands; a failure when it does not. */
    static size_t placeOf(const Texts& texts, const std::string& text, size_t from = 0) {
        const auto begin = texts.begin() + static_cast<std::ptrdiff_t>(std::min(from, texts.size()));
        const auto found = std::find(begin, texts.end(), text);
        EXPECT_NE(found, texts.end()) << text;
        return static_cast<size_t>(found - texts.begin());
    }
};

// ---- Loading --------------------------------------------------------------------------------------------

TEST_F(NikonCameras, have_a_module_of_every_type) {
    start(nikonScenario({}));
    for (int type = 0; type < 16; ++type) {
        const int64_t module = startModule(type);
        EXPECT_EQ(nikon().cameraCount(module), 0) << type;
        EXPECT_EQ(nikon().terminateSdk(module), 0) << type;
    }
}

TEST_F(NikonCameras, appear_in_the_module_of_their_type) {
    std::vector<Json> bodies;
    for (int type = 0; type < 16; ++type) {
        bodies.push_back(
            nikonCamera("nikon-" + std::to_string(type), {{"moduleType", type}, {"cameraType", type}}));
    }
    start(nikonScenario(bodies));
    for (int type = 0; type < 16; ++type) {
        const int64_t module = startModule(type);
        EXPECT_EQ(nikon().cameraCount(module), 1);
        EXPECT_EQ(nikon().cameraType(module, 0), type);
    }
}

TEST_F(NikonCameras, module_is_opened_in_order) {
    start();
    startModule();
    const Texts made = commandTexts();
    const Texts expected = {" 1 0x0", " 3 0x0", " 4 0x", " 6 0x2", " 6 0x3", " 6 0x3", " 6 0x8101"};
    ASSERT_EQ(made.size(), expected.size()) << ::testing::PrintToString(made);
    for (size_t i = 0; i < made.size(); ++i) {
        EXPECT_TRUE(made[i].starts_with(expected[i])) << i << ": " << made[i];
    }
    const std::vector<MaidCommand> all = commands();
    EXPECT_EQ(all.front().dataType, 17);
    EXPECT_EQ(all.back().dataType, 3);
    EXPECT_EQ(number(all.back().value), 1);
}

TEST_F(NikonCameras, module_that_takes_no_mode_is_not_given_one) {
    start(nikonScenario({usualNikon()}, {{"capabilities", {unsignedCapability(kModuleMode, 0, kGettable)}}}));
    startModule();
    EXPECT_EQ(commandTexts().back(), " 6 0x3");
}

TEST_F(NikonCameras, module_that_is_not_there_is_logged_with_its_path) {
    start();
    EXPECT_EQ(nikon().initializeSdk("/nowhere", 8), 0);
    helper().waitForOut("NikonMaid: Failed in loading /nowhere/Type0001 Module.bundle.\n");
    EXPECT_EQ(nikon().initializeSdk("", 0), 0);
    helper().waitForOut("NikonMaid: Failed in loading /D1 Module.bundle.\n");
}

TEST_F(NikonCameras, module_of_an_unknown_type_is_the_directory_itself) {
    start();
    for (const int type : {16, -1, 1000}) {
        const size_t from = helper().out().size();
        EXPECT_EQ(nikon().initializeSdk(moduleDirectory(), type), 0);
        helper().waitForOut("NikonMaid: Failed in loading " + moduleDirectory() + ".\n", 1, from);
    }
    // Unless that is a bundle by itself.
    const int64_t module = nikon().initializeSdk(moduleDirectory() + "/Type0001 Module.bundle", 99);
    EXPECT_NE(module, 0);
    EXPECT_EQ(nikon().cameraCount(module), 1);
}

TEST_F(NikonCameras, directory_that_leaves_no_room_for_the_names_loads_nothing) {
    start();
    for (const size_t length : {1001u, 1003u, 1023u, 1024u, 1025u, 2048u}) {
        const std::string directory = "/" + std::string(length - 1, 'd');
        const size_t from = helper().out().size();
        EXPECT_EQ(nikon().initializeSdk(directory, 8), 0);
        helper().waitForOut("NikonMaid: Failed in loading /dd", 1, from);
        EXPECT_LT(helper().out().since(from).size(), 1200u);
    }
    expectServing();
}

struct StartFailure {
    const char* call;
    int64_t skip;
    const char* message;
};

TEST_F(NikonCameras, module_whose_start_fails_is_logged_and_can_be_started_again) {
    constexpr StartFailure kFailures[] = {
        {"MAIDEntryPoint:1", 0, "Module object can't be opened.\n"},
        {"MAIDEntryPoint:3", 0, "Failed in enumeration of capabilities.\n"},
        {"MAIDEntryPoint:4", 0, "Failed in enumeration of capabilities.\n"},
        {"MAIDEntryPoint:6", 0, "Failed in setting a call back function.\n"},
        {"MAIDEntryPoint:6", 1, "Failed in setting a call back function.\n"},
        {"MAIDEntryPoint:6", 2, "Failed in setting a call back function.\n"},
        {"MAIDEntryPoint:6", 3, "Failed in setting kNkMAIDCapability_ModuleMode.\n"},
    };
    start();
    for (const StartFailure& failure : kFailures) {
        SCOPED_TRACE(std::string(failure.call) + " after " + std::to_string(failure.skip));
        const size_t from = helper().out().size();
        lab().fault(failure.call, -117, {{"skip", failure.skip}});
        EXPECT_EQ(nikon().initializeSdk(moduleDirectory(), kModuleType), 0);
        helper().waitForOut(std::string("NikonMaid: ") + failure.message, 1, from);
        lab().clearFaults();
        const int64_t module = startModule();
        EXPECT_EQ(nikon().cameraCount(module), 1);
        EXPECT_EQ(nikon().terminateSdk(module), 0);
    }
}

TEST_F(NikonCameras, module_may_be_loaded_twice) {
    start(nikonScenario({numbered(1)}));
    const int64_t first = startModule();
    const int64_t second = startModule();
    EXPECT_NE(first, second);
    EXPECT_EQ(nikon().cameraCount(first), 1);
    EXPECT_EQ(nikon().cameraCount(second), 1);
    EXPECT_EQ(nikon().terminateSdk(first), 0);
    EXPECT_EQ(nikon().cameraType(second, 0), 101);
    EXPECT_EQ(nikon().terminateSdk(second), 0);
}

// ---- Counting and telling -------------------------------------------------------------------------------

TEST_F(NikonCameras, are_counted) {
    start(nikonScenario({numbered(1), numbered(2), numbered(3)}));
    const int64_t module = startModule();
    EXPECT_EQ(nikon().cameraCount(module), 3);
    lab().detach("nikon-2");
    EXPECT_EQ(nikon().cameraCount(module), 2);
    lab().attach(numbered(4));
    EXPECT_EQ(nikon().cameraCount(module), 3);
}

TEST_F(NikonCameras, that_are_not_there_count_zero) {
    start(nikonScenario({}));
    const int64_t module = startModule();
    EXPECT_EQ(nikon().cameraCount(module), 0);
    EXPECT_EQ(nikon().cameraType(module, 0), kNoCamera);
    EXPECT_EQ(nikon().selectCamera(module, 0), 0);
}

TEST_F(NikonCameras, that_cannot_be_counted_count_zero) {
    start();
    const int64_t module = startModule();
    lab().fault("MAIDEntryPoint:7", -127, {{"capability", kChildren}});
    EXPECT_EQ(nikon().cameraCount(module), 0);
    EXPECT_EQ(nikon().cameraCount(module), 1);
}

TEST_F(NikonCameras, are_told_apart_by_their_types) {
    start(nikonScenario({numbered(1), numbered(2), numbered(3)}));
    const int64_t module = startModule();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(nikon().cameraType(module, i), 101 + i);
    }
    EXPECT_EQ(helper().out().count("NikonMaid: Source object is opened.\n"), 3u);
    // The second time they are open.
    EXPECT_EQ(nikon().cameraType(module, 1), 102);
    EXPECT_EQ(helper().out().count("NikonMaid: Source object is opened.\n"), 3u);
}

TEST_F(NikonCameras, at_an_index_that_is_none_are_not_found) {
    start(nikonScenario({numbered(1), numbered(2)}));
    const int64_t module = startModule();
    for (const int32_t index : {-1, 2, 3, 1000, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(nikon().cameraType(module, index), kNoCamera) << index;
        EXPECT_EQ(nikon().selectCamera(module, index), 0) << index;
    }
    EXPECT_EQ(nikon().cameraType(module, 1), 102);
}

TEST_F(NikonCameras, that_cannot_be_opened_are_of_type_zero) {
    start();
    const int64_t module = startModule();
    lab().fault("MAIDEntryPoint:1", -117, {{"times", 2}});
    EXPECT_EQ(nikon().cameraType(module, 0), 0);
    helper().waitForOut("NikonMaid: Source object can't be opened.\n");
    EXPECT_EQ(nikon().selectCamera(module, 0), 0);
    helper().waitForOut("NikonMaid: Source object can't be opened.\n", 2);
    EXPECT_NE(nikon().selectCamera(module, 0), 0);
}

TEST_F(NikonCameras, that_do_not_tell_their_type_can_be_selected) {
    start();
    const int64_t module = startModule();
    lab().fault("MAIDEntryPoint:7", -127, {{"capability", kCameraType}, {"times", 2}});
    EXPECT_EQ(nikon().cameraType(module, 0), kNoCamera);
    EXPECT_NE(nikon().selectCamera(module, 0), 0);
}

TEST_F(NikonCameras, whose_capabilities_change_while_they_are_listed_are_listed_anew) {
    start();
    const int64_t module = startModule();
    lab().clearTrace();
    lab().delay("MAIDEntryPoint:4", std::chrono::milliseconds(2000));
    nikon().send(4, Message().int64(module).int32(0));
    nikon().expectHeader(4);
    // Until the command has come and is being held up; those before it are underway for a moment, too.
    EXPECT_TRUE(eventually([&] { return lab().must({{"cmd", "state"}})["faults"].empty(); }));
    lab().must({{"cmd", "set"}, {"id", "nikon-1"}, {"capabilities", {{{"id", 53}, {"visibility", 1}}}}});
    nikon().expectHeader(4);
    EXPECT_EQ(nikon().receiveInt(), kModuleType + 1);
    Texts listing;
    for (const MaidCommand& command : commands()) {
        const bool isListing = command.command == kCountCommand || command.command == kListCommand;
        if (!isListing || command.object != "1") continue;
        listing.push_back(std::to_string(command.command) + ": " + std::to_string(command.result));
    }
    ASSERT_GE(listing.size(), 4u);
    listing.resize(4);
    EXPECT_EQ(listing, (Texts{"3: 0", "4: -124", "3: 0", "4: 0"}));
}

// ---- Selecting and releasing ----------------------------------------------------------------------------

TEST_F(NikonCameras, are_selected_by_two_settings_in_order) {
    start(nikonScenario({selectable()}));
    const int64_t module = startModule();
    nikon().cameraType(module, 0);
    lab().clearTrace();
    ASSERT_NE(nikon().selectCamera(module, 0), 0);
    EXPECT_EQ(commandTexts(), (Texts{" 7 0x7", " 9 0x7", "1 7 0x81d7", "1 7 0x823d", "1 6 0x823d",
                                     "1 7 0x823c", "1 6 0x823c"}));
    const std::vector<MaidCommand> all = commands();
    EXPECT_EQ(number(all[4].value), 0);
    EXPECT_EQ(number(all[6].value), 1);
}

TEST_F(NikonCameras, that_are_set_for_it_already_are_sent_nothing_at_selection) {
    start(nikonScenario({withCapabilities(
        {unsignedCapability(kClearedOnSelection, 0), unsignedCapability(kSetOnSelection, 1)})}));
    const int64_t module = startModule();
    nikon().cameraType(module, 0);
    lab().clearTrace();
    ASSERT_NE(nikon().selectCamera(module, 0), 0);
    EXPECT_EQ(commandTexts(), (Texts{" 7 0x7", " 9 0x7", "1 7 0x81d7", "1 7 0x823d", "1 7 0x823c"}));
}

TEST_F(NikonCameras, that_refuse_the_settings_are_selected_all_the_same) {
    start(nikonScenario({selectable()}));
    const int64_t module = startModule();
    lab().fault("MAIDEntryPoint:6", -117, {{"capability", kClearedOnSelection}});
    lab().fault("MAIDEntryPoint:6", -117, {{"capability", kSetOnSelection}});
    EXPECT_NE(nikon().selectCamera(module, 0), 0);
}

TEST_F(NikonCameras, are_closed_when_they_are_released_and_can_be_selected_again) {
    const int64_t camera = startCamera();
    lab().clearTrace();
    nikon().releaseCamera(camera);
    EXPECT_EQ(commandTexts().back(), "1 2 0x0");
    helper().waitForOut("NikonMaid: In release camera\n");
    const int64_t again = nikon().selectCamera(module(), 0);
    EXPECT_NE(again, 0);
    EXPECT_FALSE(nikon().isLiveView(again));
    nikon().releaseCamera(again);
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
}

TEST_F(NikonCameras, selected_twice_have_two_handles) {
    const int64_t first = startCamera();
    const int64_t second = nikon().selectCamera(module(), 0);
    EXPECT_NE(second, 0);
    EXPECT_NE(first, second);
    nikon().setLiveView(first, true);
    EXPECT_TRUE(nikon().isLiveView(second));
    EXPECT_TRUE(nikon().isLiveView(first));
}

TEST_F(NikonCameras, selected_twice_become_inactive_when_one_handle_is_released) {
    for (const bool secondFirst : {true, false}) {
        const int64_t first = startCamera();
        const int64_t second = nikon().selectCamera(module(), 0);
        nikon().releaseCamera(secondFirst ? second : first);
        const int64_t left = secondFirst ? first : second;
        lab().clearTrace();
        EXPECT_EQ(nikon().getSetting(left, kExposureMode), 0);
        EXPECT_EQ(nikon().batteryLevel(left), 0);
        EXPECT_EQ(nikon().capture(left, picturePath("x")), 0);
        EXPECT_TRUE(nikon().liveViewImage(left).empty());
        EXPECT_EQ(commandTexts(), Texts{});
        nikon().releaseCamera(left);
        EXPECT_NE(nikon().selectCamera(module(), 0), 0);
    }
}

TEST_F(NikonCameras, are_selected_side_by_side) {
    start(nikonScenario({numbered(1), numbered(2)}));
    const int64_t module = startModule();
    const int64_t one = nikon().selectCamera(module, 0);
    const int64_t two = nikon().selectCamera(module, 1);
    nikon().setLiveView(two, true);
    EXPECT_FALSE(nikon().isLiveView(one));
    nikon().releaseCamera(one);
    EXPECT_TRUE(nikon().isLiveView(two));
    nikon().releaseCamera(two);
}

// ---- Ends -----------------------------------------------------------------------------------------------

TEST_F(NikonCameras, that_went_away_stay_inactive_until_they_are_released) {
    const int64_t camera = startCamera();
    events();
    lab().detach("nikon-1");
    // A module tells only while it is let work.
    EXPECT_TRUE(eventually([&] { return nikon().batteryLevel(camera) == 0; }));
    const Event told =
        events().waitFor([](const Event& event) { return event.kind == kStateEvent; }, "status");
    EXPECT_EQ(told.module, 20);
    EXPECT_EQ(told.last(), 0);
    lab().clearTrace();
    EXPECT_EQ(nikon().capture(camera, picturePath("x")), 0);
    EXPECT_EQ(nikon().preCapture(camera, picturePath("x")), 0);
    EXPECT_EQ(nikon().checkForImages(camera), 0);
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 0);
    EXPECT_FALSE(nikon().bracketing(camera));
    EXPECT_EQ(commandTexts(), Texts{});
    nikon().releaseCamera(camera);
    EXPECT_EQ(nikon().cameraCount(module()), 0);
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
}

TEST_F(NikonCameras, that_come_back_can_be_selected_again) {
    const int64_t camera = startCamera(numbered(1));
    lab().detach("nikon-1");
    EXPECT_TRUE(eventually([&] { return nikon().batteryLevel(camera) == 0; }));
    nikon().releaseCamera(camera);
    lab().must({{"cmd", "attach"}, {"id", "nikon-1"}});
    EXPECT_EQ(nikon().cameraCount(module()), 1);
    const int64_t again = nikon().selectCamera(module(), 0);
    ASSERT_NE(again, 0);
    EXPECT_EQ(nikon().cameraType(module(), 0), 101);
    EXPECT_TRUE(nikon().setLiveView(again, true));
}

TEST_F(NikonCameras, are_ended_with_their_module_and_released_after_it) {
    const int64_t camera = startCamera();
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
    lab().clearTrace();
    EXPECT_EQ(nikon().batteryLevel(camera), 0);
    EXPECT_EQ(nikon().capture(camera, picturePath("x")), 0);
    nikon().releaseCamera(camera);
    EXPECT_EQ(commandTexts(), Texts{});
    expectServing();
}

TEST_F(NikonCameras, are_closed_three_levels_deep) {
    // An item that stays in the camera keeps its objects open.
    const int64_t camera =
        startCamera(usualNikon({{"shots", nikonShots({{nikonItem(kJpegType, 100, {{"remove", false}})}})}}));
    ASSERT_EQ(nikon().capture(camera, picturePath("a")), 0);
    lab().clearTrace();
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
    Texts closed;
    for (const MaidCommand& command : commands()) {
        if (command.command == kCloseCommand) closed.push_back(command.object);
    }
    ASSERT_EQ(closed.size(), 4u) << ::testing::PrintToString(closed);
    EXPECT_TRUE(closed[0].starts_with("1/") && closed[0].ends_with("/1")) << closed[0];
    EXPECT_EQ(closed[1], closed[0].substr(0, closed[0].size() - 2));
    EXPECT_EQ(closed[2], "1");
    EXPECT_EQ(closed[3], "");
}

TEST_F(NikonCameras, module_that_does_not_close_can_be_closed_again) {
    startCamera();
    lab().fault("MAIDEntryPoint:2", -117);
    EXPECT_EQ(nikon().terminateSdk(module()), 1);
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
    EXPECT_EQ(nikon().cameraCount(module()), 0) << "closed";
    const int64_t again = startModule();
    EXPECT_EQ(nikon().cameraCount(again), 1);
}

TEST_F(NikonCameras, that_were_not_closed_with_their_module_can_be_used_until_they_are_released) {
    const int64_t camera = startCamera();
    const int64_t again = nikon().selectCamera(module(), 0);
    lab().fault("MAIDEntryPoint:2", -117);
    EXPECT_EQ(nikon().terminateSdk(module()), 1);
    EXPECT_EQ(nikon().batteryLevel(camera), 100);
    EXPECT_EQ(nikon().batteryLevel(again), 100);
    EXPECT_EQ(nikon().capture(camera, picturePath("x")), 0);
    EXPECT_EQ(pictures().names(), Texts{"x.jpg"});
    lab().clearTrace();
    nikon().releaseCamera(camera);
    placeOf(commandTexts(), "1 2 0x0");
    EXPECT_EQ(nikon().batteryLevel(again), 0) << "closed with it";
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
}

TEST_F(NikonCameras, that_were_closed_before_their_module_would_not_be_are_inactive) {
    const int64_t camera = startCamera();
    lab().fault("MAIDEntryPoint:2", -117, {{"skip", 1}});
    EXPECT_EQ(nikon().terminateSdk(module()), 1);
    EXPECT_EQ(nikon().batteryLevel(camera), 0);
    const int64_t again = nikon().selectCamera(module(), 0);
    EXPECT_NE(again, 0);
    EXPECT_EQ(nikon().batteryLevel(again), 100);
    nikon().releaseCamera(camera);
    EXPECT_EQ(nikon().batteryLevel(again), 100) << "the old handle ends nothing of the new one";
    EXPECT_EQ(nikon().terminateSdk(module()), 0);
}

TEST_F(NikonCameras, release_tells_the_log_whatever_the_handle) {
    start();
    nikon().releaseCamera(0);
    helper().waitForOut("NikonMaid: In release camera\n");
    nikon().releaseCamera(12345);
    helper().waitForOut("NikonMaid: In release camera\n", 2);
}

}  // namespace
}  // namespace e2e
