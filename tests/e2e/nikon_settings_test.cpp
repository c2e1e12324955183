// Settings: positions in lists of texts.
#include <gtest/gtest.h>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

using Texts = std::vector<std::string>;

constexpr int kShutterSpeed = 0x8100;
constexpr int kNumbersOfOtherType = 0x8FF1;

class NikonSettings : public NikonTest {
protected:
    int64_t startWith(const std::vector<Json>& capabilities) {
        return startCamera(withCapabilities(capabilities));
    }

    std::string noElement() {
        return "NikonMaid: There is no element in this capability. Enter '0' to exit.\n>";
    }

    /** Commands on the camera that change a value. */
    size_t sets() {
        size_t count = 0;
        for (const MaidCommand& command : commands()) {
            if (command.command == kSetCommand) ++count;
        }
        return count;
    }
};

struct Named {
    int capability;
    std::vector<int64_t> values;
    Texts texts;
};

const Named kNamed[] = {
    {0x35, {0, 3}, {"FlashMode 0", "FlashMode 3"}},
    {0x8111, {0, 1, 2, 3, 9}, {"Program", "Aperture", "Speed", "Manual", "ExposureMode 9"}},
    {0x8116, {0, 1, 2, 3}, {"Matrix", "CenterWeighted", "Spot", "MeteringMode 3"}},
    {0x8120, {0, 1, 2, 7}, {"MF", "AFs", "AFc", "FocusMode 7"}},
    {0x8122, {0, 10}, {"FocusPreferredArea :0", "FocusPreferredArea :10"}},
    {0x814E, {1, 0xBEEF}, {"0x00000001", "0x0000beef"}},
    {0x815E,
     {0, 1, 2, 3, 4, 5, 6, 7},
     {"-9 deg", "-6 deg", "-3 deg", " 0 deg", "+3 deg", "+6 deg", "+9 deg", "ColorAdjustment 7"}},
    {0x818C, {5, 4294967295}, {"5", "4294967295"}},
    {0x822E,
     {0, 1, 2, 3, 4, 5, 100, 101, 104, 105, 200, 201, 209, 210},
     {"Undefined", "Standard", "Neutral", "Vivid", "Monochrome", "Picture Control 5", "Picture Control 100",
      "Option Picture Control 1", "Option Picture Control 4", "Picture Control 105", "Picture Control 200",
      "Custom Picture Control 1", "Custom Picture Control 9", "Picture Control 210"}},
    {0x823F, {0, 1, 2, 3, 4, 5, 6}, {"Full", "25%", "33%", "50%", "66%", "100%", "LiveViewImageZoomRate 6"}},
    {0x8777, {0, 1, 2}, {"Undefined String", "Undefined String", "Undefined String"}},
};

TEST_F(NikonSettings, are_listed_by_the_texts_of_their_values) {
    std::vector<Json> capabilities;
    for (const Named& named : kNamed) {
        capabilities.push_back(numbersCapability(named.capability, named.values));
    }
    const int64_t camera = startWith(capabilities);
    for (const Named& named : kNamed) {
        EXPECT_EQ(nikon().settingOptions(camera, named.capability), named.texts)
            << std::hex << named.capability;
    }
}

TEST_F(NikonSettings, that_are_texts_are_listed_as_they_are) {
    const Texts texts = {"1/4000", "1/250", "", "30 s", "Bulb"};
    const int64_t camera = startWith({textsCapability(kShutterSpeed, texts, 3)});
    EXPECT_EQ(nikon().settingOptions(camera, kShutterSpeed), texts);
    EXPECT_EQ(nikon().getSetting(camera, kShutterSpeed), 3);
}

TEST_F(NikonSettings, are_told_and_set_by_their_position) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {3, 1, 0, 2}, 2)});
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 2);
    nikon().setSetting(camera, kExposureMode, 3);
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 3);
    EXPECT_EQ(nikon().settingOptions(camera, kExposureMode),
              (Texts{"Manual", "Aperture", "Program", "Speed"}));
}

TEST_F(NikonSettings, follow_the_photographers_dial) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {0, 1, 2, 3}, 0)});
    lab().must({{"cmd", "set"}, {"id", "nikon-1"}, {"capability", kExposureMode}, {"value", 3}});
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 3);
}

TEST_F(NikonSettings, are_read_by_a_look_at_the_list_and_set_by_one_command) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {0, 1, 2, 3})});
    lab().clearTrace();
    nikon().getSetting(camera, kExposureMode);
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x8111", "1 9 0x8111"}));
    lab().clearTrace();
    nikon().setSetting(camera, kExposureMode, 2);
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x8111", "1 6 0x8111"}));
    EXPECT_EQ(commands().back().dataType, 16);
    EXPECT_EQ(commands().back().value, 2);
    lab().clearTrace();
    nikon().settingOptions(camera, kExposureMode);
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x8111", "1 9 0x8111"}));
}

TEST_F(NikonSettings, that_are_no_enumeration_cannot_be_read_or_set) {
    const int64_t camera =
        startWith({unsignedCapability(0x8701, 5),
                   capability(0x8702, kRangeCap, kSettableList, {{"value", 1}, {"lower", 0}, {"upper", 9}})});
    lab().clearTrace();
    for (const int id : {0x8701, 0x8702, 0x8703}) {
        EXPECT_EQ(nikon().getSetting(camera, id), -1);
        EXPECT_TRUE(nikon().settingOptions(camera, id).empty());
        nikon().setSetting(camera, id, 1);
    }
    EXPECT_EQ(commandTexts(), Texts{}) << "the module need not be asked";
}

TEST_F(NikonSettings, that_cannot_be_got_cannot_be_set_either) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {0, 1}, 0, kSettable)});
    lab().clearTrace();
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), -1);
    EXPECT_TRUE(nikon().settingOptions(camera, kExposureMode).empty());
    nikon().setSetting(camera, kExposureMode, 1);
    EXPECT_EQ(commandTexts(), Texts{});
}

TEST_F(NikonSettings, that_can_only_be_got_are_set_in_vain) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {0, 1}, 0, kReadableList)});
    lab().clearTrace();
    nikon().setSetting(camera, kExposureMode, 1);
    EXPECT_EQ(sets(), 1u) << "it is the module that refuses";
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 0);
}

TEST_F(NikonSettings, without_elements_are_logged_and_have_no_options) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {})});
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), -1);
    helper().waitForOut(noElement());
    EXPECT_TRUE(nikon().settingOptions(camera, kExposureMode).empty());
    EXPECT_EQ(helper().out().count(noElement()), 1u);
}

TEST_F(NikonSettings, of_another_array_type_have_an_empty_list_and_can_be_set) {
    const int64_t camera = startWith({capability(kNumbersOfOtherType, kEnumCap, kSettableList,
                                                 {{"arrayType", 1}, {"bytes", "000102"}, {"current", 1}})});
    EXPECT_TRUE(nikon().settingOptions(camera, kNumbersOfOtherType).empty());
    helper().waitForOut("NikonMaid: Unsupported type!\n");
    EXPECT_EQ(nikon().getSetting(camera, kNumbersOfOtherType), 1);
    nikon().setSetting(camera, kNumbersOfOtherType, 2);
    EXPECT_EQ(nikon().getSetting(camera, kNumbersOfOtherType), 2);
}

TEST_F(NikonSettings, whose_elements_do_not_come_cannot_be_read) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {0, 1, 2}, 1)});
    lab().fault("MAIDEntryPoint:9", -127, {{"capability", kExposureMode}, {"times", 2}});
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), -1);
    EXPECT_TRUE(nikon().settingOptions(camera, kExposureMode).empty());
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 1);
}

TEST_F(NikonSettings, set_to_a_position_that_is_none_stay_as_they_are) {
    const int64_t camera = startWith({numbersCapability(kExposureMode, {0, 1, 2}, 1)});
    for (const int32_t position : {3, -1, INT32_MAX, INT32_MIN}) {
        nikon().setSetting(camera, kExposureMode, position);
        EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 1);
    }
}

TEST_F(NikonSettings, battery_level_is_read_where_the_camera_allows_it) {
    const int64_t camera = startWith({capability(kBattery, kIntegerCap, kGettable, {{"value", -7}})});
    EXPECT_EQ(nikon().batteryLevel(camera), -7);
    lab().fault("MAIDEntryPoint:7", -127, {{"capability", kBattery}});
    EXPECT_EQ(nikon().batteryLevel(camera), -1);
}

TEST_F(NikonSettings, battery_level_that_cannot_be_got_is_minus_one) {
    const int64_t camera = startWith({capability(kBattery, kIntegerCap, kSettable, {{"value", 50}})});
    lab().clearTrace();
    EXPECT_EQ(nikon().batteryLevel(camera), -1);
    EXPECT_EQ(commandTexts(), Texts{});
}

TEST_F(NikonSettings, bracketing_clears_its_switch_before_it_is_read) {
    const int64_t camera = startWith(
        {capability(kClearedBeforeBracketing, kBooleanCap, kGettable | kSettable, {{"value", true}}),
         unsignedCapability(kBracketing, 2)});
    lab().clearTrace();
    EXPECT_TRUE(nikon().bracketing(camera));
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x81af", "1 6 0x81af", "1 7 0x81b3"}));
    const MaidCommand set = commands()[1];
    EXPECT_EQ(set.dataType, 1);
    EXPECT_EQ(number(set.value), 0);
    lab().must({{"cmd", "set"}, {"id", "nikon-1"}, {"capability", kBracketing}, {"value", 0}});
    EXPECT_FALSE(nikon().bracketing(camera));
}

TEST_F(NikonSettings, bracketing_clears_its_switch_even_when_it_cannot_be_read) {
    const int64_t camera = startWith(
        {capability(kClearedBeforeBracketing, kBooleanCap, kGettable | kSettable, {{"value", true}}),
         unsignedCapability(kBracketing, 2, kSettable)});
    lab().clearTrace();
    EXPECT_FALSE(nikon().bracketing(camera));
    EXPECT_EQ(commandTexts(), (Texts{"1 7 0x81af", "1 6 0x81af"}));
}

TEST_F(NikonSettings, bracketing_of_a_camera_that_refuses_its_switch_is_read_all_the_same) {
    const int64_t camera =
        startWith({{{"id", kClearedBeforeBracketing}, {"remove", true}}, unsignedCapability(kBracketing, 1)});
    lab().clearTrace();
    EXPECT_TRUE(nikon().bracketing(camera));
    EXPECT_EQ(commandTexts(), Texts{"1 7 0x81b3"});
}

}  // namespace
}  // namespace e2e
