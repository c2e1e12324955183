// A video device on its own, without the libraries that show it.
#include "lab/video/Camera.h"

#include <gtest/gtest.h>

#include "lab/Call.h"
#include "lab/Scenario.h"
#include "lab/World.h"
#include "tests/lab/support.h"

namespace test {
namespace {

using lab::video::Camera;
using lab::video::UsbOutcome;

std::shared_ptr<Camera> camera(const char* id = "v-1") {
    return std::dynamic_pointer_cast<Camera>(lab::World::instance().find(id));
}

void layOne(const Json& fields) {
    Json device = {{"id", "v-1"}, {"family", "video"}};
    device.update(fields);
    lay(Json::array({device}));
}

TEST(VideoCamera, is_described_by_defaults) {
    layOne(Json::object());
    const lab::video::CameraSetup& setup = camera()->setup();
    EXPECT_EQ(setup.name, "v-1");
    EXPECT_EQ(setup.uniqueId, "v-1");
    EXPECT_EQ(setup.media, std::vector<lab::video::Medium>{lab::video::Medium::video});
    EXPECT_EQ(setup.size, (lab::video::Size{640, 480}));
    EXPECT_EQ(setup.fps, 30);
    EXPECT_EQ(setup.rowSurplus, 0u);
    EXPECT_TRUE(setup.frames.empty());
    EXPECT_FALSE(setup.usb.has_value());
}

TEST(VideoCamera, of_the_default_scenario_are_three) {
    unsetenv("TARVO_LAB");
    must({{"cmd", "reset"}});
    ASSERT_TRUE(camera("webcam-1")->setup().usb.has_value());
    EXPECT_EQ(camera("webcam-1")->setup().usb->location, 0x1A110000u);
    EXPECT_EQ(camera("webcam-1")->setup().usb->vendor, 0x046Du);
    EXPECT_EQ(camera("builtin-1")->setup().name, "Built-in iSight");
    EXPECT_EQ(camera("microphone-1")->setup().media[0], lab::video::Medium::sound);
}

TEST(VideoCamera, belongs_to_one_plugging_of_its_cable) {
    const Json control = {{"unit", 1}, {"selector", 4}, {"size", 1}, {"cur", 7}};
    layOne({{"uvc", {{"controls", Json::array({control})}}}});
    const auto device = camera();
    const lab::video::Link first = *device->link();
    const int owner = 0;
    EXPECT_TRUE(device->reserve(first));
    EXPECT_TRUE(device->countFrame(first, {1, 1}));
    EXPECT_EQ(device->openInterface(first, &owner), UsbOutcome::ok);
    must({{"cmd", "set"}, {"id", "v-1"}, {"property", "1:4"}, {"value", 9}});
    EXPECT_TRUE(device->detach());
    EXPECT_FALSE(device->detach());
    EXPECT_FALSE(device->link().has_value());
    EXPECT_TRUE(device->attach());
    EXPECT_FALSE(device->attach());
    EXPECT_NE(*device->link(), first);
    EXPECT_FALSE(device->reserve(first));
    EXPECT_FALSE(device->countFrame(first, {1, 1}));
    EXPECT_EQ(device->checkInterface(first, &owner), UsbOutcome::gone);
    EXPECT_FALSE(device->isReserved(*device->link()));
    EXPECT_EQ(device->openInterface(*device->link(), &owner), UsbOutcome::ok);
    // The frames are the device's, the controls come back as they were described.
    EXPECT_EQ(device->nextFrame(), 1u);
    EXPECT_EQ(must({{"cmd", "get"}, {"id", "v-1"}, {"property", "1:4"}})["value"], 7);
}

TEST(VideoCamera, is_not_given_up_by_an_owner_who_has_lost_it) {
    layOne(Json::object());
    const auto device = camera();
    const int older = 0;
    const int newer = 0;
    ASSERT_TRUE(device->reserve(*device->link(), &older));
    ASSERT_TRUE(device->reserve(*device->link(), &newer));
    device->free(*device->link(), &older);
    EXPECT_TRUE(device->isReserved(*device->link()));
    device->free(*device->link(), &newer);
    EXPECT_FALSE(device->isReserved(*device->link()));
}

TEST(VideoCamera, counts_no_frames_while_it_is_not_reserved) {
    layOne(Json::object());
    const auto device = camera();
    EXPECT_FALSE(device->countFrame(*device->link(), {1, 1}));
    EXPECT_TRUE(device->reserve(*device->link()));
    for (int i = 0; i < 300; ++i) {
        EXPECT_TRUE(device->countFrame(*device->link(), {4, 2}));
    }
    device->countMissed(3);
    const Json state = deviceState("v-1");
    EXPECT_EQ(state["frames"], 300);
    EXPECT_EQ(state["missedFrames"], 3);
    EXPECT_EQ(state["frameSize"], Json::array({4, 2}));
    ASSERT_EQ(state["frameTimes"].size(), 256u);
    EXPECT_EQ(state["frameTimes"][0][0], 44);
    EXPECT_EQ(state["frameTimes"][255][0], 299);
    EXPECT_LE(state["frameTimes"][0][1], state["frameTimes"][255][1]);
}

TEST(VideoCamera, refuses_commands_that_make_no_sense) {
    layOne(Json::object());
    EXPECT_EQ(refused({{"cmd", "get"}, {"id", "v-1"}, {"property", "1:4"}}), "v-1 has no property 1:4");
    EXPECT_EQ(refused({{"cmd", "get"}, {"id", "v-1"}}), "property: is missing");
    EXPECT_EQ(refused({{"cmd", "set"}, {"id", "v-1"}, {"property", "fps"}}), "value: is missing");
    EXPECT_EQ(refused({{"cmd", "set"}, {"id", "v-1"}, {"property", "fps"}, {"value", -1}}),
              "value: out of range: -1");
    EXPECT_EQ(refused({{"cmd", "set"}, {"id", "v-1"}, {"property", "fps"}, {"value", "fast"}}),
              "value: expected a number, found the text \"fast\"");
    EXPECT_EQ(camera()->fps(), 30);
    EXPECT_EQ(refused({{"cmd", "event"}, {"id", "v-1"}, {"error", "bad"}}),
              "error: expected a whole number or a text like \"0x406\", found the text \"bad\"");
}

TEST(SmallCalls, appear_only_where_a_fault_took_effect) {
    layOne(Json::object());
    EXPECT_FALSE(lab::faultAt("Small", "v-1").has_value());
    must({{"cmd", "fault"}, {"call", "Small"}, {"device", "v-1"}, {"result", 5}, {"skip", 1}});
    EXPECT_FALSE(lab::faultAt("Small", "v-2").has_value());
    EXPECT_FALSE(lab::faultAt("Other", "v-1").has_value());
    EXPECT_FALSE(lab::faultAt("Small", "v-1").has_value());
    EXPECT_EQ(lab::faultAt("Small", "v-1"), 5);
    EXPECT_FALSE(lab::faultAt("Small", "v-1").has_value());
    must({{"cmd", "fault"}, {"call", "Small"}, {"delayMs", 1}});
    EXPECT_FALSE(lab::faultAt("Small", "v-1").has_value());
    const Json calls = callsOf("Small");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0]["result"], 5);
    EXPECT_EQ(calls[0]["device"], "v-1");
    EXPECT_EQ(calls[1]["result"], nullptr);
}

}  // namespace
}  // namespace test
