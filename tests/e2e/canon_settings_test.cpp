// Settings: reading by type, writing until the camera says so, the two that are special, and what is offered.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

using Names = std::vector<std::string>;
using Values = std::vector<int32_t>;

class CanonSettings : public CanonTest {
protected:
    int32_t sessionWith(const Json& properties) {
        return startSession(usualCamera({{"properties", properties}}));
    }

    std::vector<Json> writes(int property) {
        std::vector<Json> found;
        for (const Json& call : lab().calls("EdsSetPropertyData")) {
            if (number(call["args"]["property"]) == property) found.push_back(call);
        }
        return found;
    }
};

TEST_F(CanonSettings, of_both_integer_types_and_booleans_are_read) {
    Json properties = property(0x1001, 8, -5);
    properties.update(property(0x1002, 9, 70000));
    properties.update(property(0x1003, 1, 1));
    const int32_t handle = sessionWith(properties);
    EXPECT_EQ(canon().getSetting(handle, 0x1001), -5);
    EXPECT_EQ(canon().getSetting(handle, 0x1002), 70000);
    EXPECT_EQ(canon().getSetting(handle, 0x1003), 1);
    helper().waitForOut("CanonEds: Property 0x1001, value -5\n");
    helper().waitForOut("CanonEds: Property 0x1002, value 70000\n");
    helper().waitForOut("CanonEds: Property 0x1003, value 1\n");
}

TEST_F(CanonSettings, of_other_types_read_as_zero_and_are_told) {
    Json properties = property(0x1001, 2, "text");
    const int32_t handle = sessionWith(properties);
    lab().clearTrace();
    EXPECT_EQ(canon().getSetting(handle, 0x1001), 0);
    helper().waitForOut("CanonEds: dataType 0x2\n");
    EXPECT_TRUE(lab().calls("EdsGetPropertyData").empty());
}

TEST_F(CanonSettings, for_the_live_view_output_are_read_whatever_their_type) {
    const int32_t handle = sessionWith(property(kEvfOutputDevice, 7, 3));
    EXPECT_EQ(canon().getSetting(handle, kEvfOutputDevice) & 0xFFFF, 3);
    EXPECT_EQ(helper().out().count("dataType 0x"), 0u);
}

TEST_F(CanonSettings, that_cannot_be_read_are_zero) {
    const int32_t handle = sessionWith(property(kAv, 9, 0x30));
    EXPECT_EQ(canon().getSetting(handle, 0x7F01), 0);
    lab().fault("EdsGetPropertySize", 0x81);
    EXPECT_EQ(canon().getSetting(handle, kAv), 0);
    lab().fault("EdsGetPropertyData", 0x81);
    EXPECT_EQ(canon().getSetting(handle, kAv), 0);
    EXPECT_EQ(canon().getSetting(handle, kAv), 0x30);
}

TEST_F(CanonSettings, are_written_and_read_back) {
    const int32_t handle = sessionWith(property(kIso, 9, 0x48, {0x48, 0x50}));
    lab().clearTrace();
    EXPECT_TRUE(canon().setSetting(handle, kIso, 0x50));
    EXPECT_EQ(lab().callNames(), (Names{"EdsGetPropertySize", "EdsGetPropertyData", "EdsSetPropertyData",
                                        "EdsGetPropertyData"}));
    EXPECT_EQ(writes(kIso).at(0)["args"]["data"], "50000000");
    helper().waitForOut("CanonEds: EdsGetPropertySize dataType=9, dataSize=4\n");
    helper().waitForOut("CanonEds: Property id=0x402, was=72, setting to 80\n");
    EXPECT_EQ(canon().getSetting(handle, kIso), 0x50);
}

TEST_F(CanonSettings, that_have_the_value_already_are_not_written) {
    const int32_t handle = sessionWith(property(kIso, 9, 0x48));
    lab().clearTrace();
    EXPECT_TRUE(canon().setSetting(handle, kIso, 0x48));
    EXPECT_TRUE(writes(kIso).empty());
    helper().waitForOut("CanonEds: Property id=0x402, was=72, setting to 72\n");
}

TEST_F(CanonSettings, the_camera_does_not_know_are_refused) {
    const int32_t handle = startSession();
    EXPECT_FALSE(canon().setSetting(handle, 0x7F01, 1));
    helper().waitForOut("CanonEds: ERROR GETTING SETTING 0x7F01\n");
}

TEST_F(CanonSettings, that_cannot_be_read_are_not_written) {
    const int32_t handle = sessionWith(property(kIso, 9, 0x48));
    lab().clearTrace();
    lab().fault("EdsGetPropertyData", 0x81);
    EXPECT_FALSE(canon().setSetting(handle, kIso, 0x50));
    helper().waitForOut("CanonEds: Error getting property id=0x402, error=0x81\n");
    EXPECT_TRUE(writes(kIso).empty());
}

TEST_F(CanonSettings, that_the_camera_refuses_are_told) {
    const int32_t handle = sessionWith(property(kIso, 9, 0x48));
    lab().fault("EdsSetPropertyData", 0x86);
    EXPECT_FALSE(canon().setSetting(handle, kIso, 0x50));
    helper().waitForOut("CanonEds: Error setting property id=0x402, error=0x86\n");
    EXPECT_EQ(canon().getSetting(handle, kIso), 0x48);
}

TEST_F(CanonSettings, are_polled_until_the_camera_has_taken_them) {
    const int32_t handle = sessionWith(property(kIso, 9, 0x48));
    lab().clearTrace();
    lab().fault("EdsGetPropertyData", 0x81, {{"skip", 1}, {"times", 3}});
    EXPECT_TRUE(canon().setSetting(handle, kIso, 0x50));
    EXPECT_EQ(helper().out().count("CanonEds: SetProperty i="), 3u);
    EXPECT_EQ(helper().out().count(", id=0x402, set to 80 -> 72\n"), 3u);
    const std::vector<Json> reads = lab().calls("EdsGetPropertyData");
    ASSERT_EQ(reads.size(), 5u);
    for (size_t i = 2; i < reads.size(); ++i) {
        EXPECT_GE(reads[i]["us"].get<int64_t>() - reads[i - 1]["us"].get<int64_t>(), 10000) << "no pause";
    }
}

TEST_F(CanonSettings, that_the_camera_never_takes_are_polled_200_times_and_count_as_set) {
    const int32_t handle = sessionWith(property(kIso, 9, 0x48));
    lab().clearTrace();
    lab().fault("EdsGetPropertyData", 0x81, {{"skip", 1}, {"times", 0}});
    EXPECT_TRUE(canon().setSetting(handle, kIso, 0x50));
    EXPECT_EQ(helper().out().count("CanonEds: SetProperty i="), 200u);
    EXPECT_EQ(lab().calls("EdsGetPropertyData").size(), 201u);
}

TEST_F(CanonSettings, that_are_booleans_are_written_without_asking_after_them) {
    const int32_t handle = sessionWith(property(0x1003, 1, 0));
    lab().clearTrace();
    EXPECT_TRUE(canon().setSetting(handle, 0x1003, 1));
    EXPECT_EQ(lab().callNames(), (Names{"EdsGetPropertySize", "EdsGetPropertyData", "EdsSetPropertyData"}));
    // Written even when it is so already, and a refusal does not show.
    lab().clearTrace();
    lab().fault("EdsSetPropertyData", 0x81);
    EXPECT_TRUE(canon().setSetting(handle, 0x1003, 1));
    EXPECT_EQ(writes(0x1003).size(), 1u);
    lab().fault("EdsGetPropertyData", 0x81);
    EXPECT_FALSE(canon().setSetting(handle, 0x1003, 0));
}

TEST_F(CanonSettings, for_depth_of_field_preview_are_always_written) {
    const int32_t handle = sessionWith(property(kEvfDofPreview, 9, 0));
    lab().clearTrace();
    EXPECT_TRUE(canon().setSetting(handle, kEvfDofPreview, 0));
    EXPECT_EQ(writes(kEvfDofPreview).size(), 1u);
    EXPECT_TRUE(canon().setSetting(handle, kEvfDofPreview, 1));
    EXPECT_TRUE(canon().setSetting(handle, kEvfDofPreview, 1));
    EXPECT_EQ(writes(kEvfDofPreview).size(), 3u);
}

TEST_F(CanonSettings, for_depth_of_field_preview_that_the_camera_refused_are_not_remembered) {
    const int32_t handle = sessionWith(property(kEvfDofPreview, 9, 0));
    lab().fault("EdsSetPropertyData", 0x81, {{"property", kEvfDofPreview}});
    EXPECT_FALSE(canon().setSetting(handle, kEvfDofPreview, 1));
    lab().clearTrace();
    EXPECT_EQ(canon().startLiveView(handle), 0);
    ASSERT_EQ(writes(kEvfDofPreview).size(), 1u) << "ended, and not put back";
    EXPECT_EQ(writes(kEvfDofPreview)[0]["args"]["data"], "00000000");
}

// ---- the shutter speed is put in again at the next progress report ----------------------------------------

TEST_F(CanonSettings, for_the_shutter_speed_are_put_in_again_at_the_next_progress) {
    const int32_t handle = sessionWith(property(kTv, 9, 0x60));
    EXPECT_TRUE(canon().setSetting(handle, kTv, 0x68));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    lab().clearTrace();
    EXPECT_EQ(canon().download(handle, item), 0);
    ASSERT_EQ(writes(kTv).size(), 1u) << "once, however many reports follow";
    EXPECT_EQ(writes(kTv)[0]["args"]["data"], "68000000");
    EXPECT_EQ(helper().out().count("CanonEds: Tv set successfully\n"), 1u);
}

TEST_F(CanonSettings, for_the_shutter_speed_are_put_in_again_even_when_nothing_was_written) {
    const int32_t handle = sessionWith(property(kTv, 9, 0x60));
    lab().clearTrace();
    EXPECT_TRUE(canon().setSetting(handle, kTv, 0x60));
    EXPECT_TRUE(writes(kTv).empty());
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(writes(kTv).size(), 1u);
}

TEST_F(CanonSettings, for_a_shutter_speed_that_cannot_be_read_are_not_put_in_again) {
    const int32_t handle = sessionWith(property(kTv, 9, 0x60));
    lab().fault("EdsGetPropertyData", 0x81, {{"property", kTv}});
    EXPECT_FALSE(canon().setSetting(handle, kTv, 0x68));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_TRUE(writes(kTv).empty());
}

TEST_F(CanonSettings, for_the_shutter_speed_are_put_in_again_after_a_refusal) {
    const int32_t handle = sessionWith(property(kTv, 9, 0x60));
    lab().fault("EdsSetPropertyData", 0x81, {{"property", kTv}});
    EXPECT_FALSE(canon().setSetting(handle, kTv, 0x68));
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    // Refused at the first report, it is tried again at the second.
    lab().fault("EdsSetPropertyData", 0x81, {{"property", kTv}});
    lab().clearTrace();
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_EQ(writes(kTv).size(), 2u);
    helper().waitForOut("CanonEds: Tv set error 0x81\n");
    helper().waitForOut("CanonEds: Tv set successfully\n");
    EXPECT_EQ(number(lab().get("canon-1", kTv)), 0x68);
}

// ---- what a property may take -----------------------------------------------------------------------------

TEST_F(CanonSettings, offer_what_the_camera_describes) {
    Json many = Json::array();
    Values expected;
    for (int i = 0; i < 128; ++i) {
        many.push_back(i * 3 - 1);
        expected.push_back(i * 3 - 1);
    }
    Json properties = property(kAv, 9, 0x30, {0x28, 0x30});
    properties.update(property(kIso, 9, 2, many));
    const int32_t handle = sessionWith(properties);
    EXPECT_EQ(canon().settingOptions(handle, kAv), (Values{0x28, 0x30}));
    EXPECT_EQ(canon().settingOptions(handle, kIso), expected);
}

TEST_F(CanonSettings, the_camera_does_not_describe_offer_nothing) {
    const int32_t handle = startSession();
    EXPECT_EQ(canon().settingOptions(handle, 0x7F01), Values{});
    lab().fault("EdsGetPropertyDesc", 0x81);
    EXPECT_EQ(canon().settingOptions(handle, kImageQuality), Values{})
        << "no legacy camera, no list of its own";
}

struct LegacyQuality {
    const char* name;
    const char* model;
    Values offered;
};

const Values kRebelQualities = {0x240000, 0x130000, 0x1130000, 0x2130000, 0x120000, 0x1120000, 0x2120000};
const Values kLegacyQualities = {0x240000,  0x240013,  0x240113,  0x240213,  0x240012, 0x240112,
                                 0x240212,  0x130000,  0x1130000, 0x2130000, 0x120000, 0x1120000,
                                 0x2120000, 0x2F000F,  0x2F001F,  0x2F051F,  0x2F061F, 0x2F021F,
                                 0x1F000F,  0x51F000F, 0x61F000F, 0x21F000F};

class CanonLegacyQuality : public CanonTest, public ::testing::WithParamInterface<LegacyQuality> {};

TEST_P(CanonLegacyQuality, is_offered_by_the_kind_of_camera) {
    const int32_t handle = startSession(canonCamera("canon-1", GetParam().model, {{"legacy", true}}));
    EXPECT_EQ(canon().settingOptions(handle, kImageQuality), GetParam().offered);
    EXPECT_EQ(canon().settingOptions(handle, 0x7F01), Values{})
        << "only the image quality has a list of its own";
}

INSTANTIATE_TEST_SUITE_P(
    Canon, CanonLegacyQuality,
    ::testing::Values(LegacyQuality{"rebel", "EOS DIGITAL REBEL", kRebelQualities},
                      LegacyQuality{"rebel_with_more", "EOS DIGITAL REBEL XT", kRebelQualities},
                      LegacyQuality{"kiss", "EOS Kiss REBEL 300D", kRebelQualities},
                      LegacyQuality{"rebel_too_short", "EOS DIGITAL REBE", kLegacyQualities},
                      LegacyQuality{"rebel_not_at_the_start", "Canon EOS DIGITAL REBEL", kLegacyQualities},
                      LegacyQuality{"kiss_too_short", "EOS Kiss REBEL 300", kLegacyQualities},
                      LegacyQuality{"another", "Canon EOS 20D", kLegacyQualities}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(CanonSettings, of_a_legacy_camera_that_describes_its_quality_are_the_camera_s) {
    const int32_t handle = startSession(
        legacyCamera({{"properties", property(kImageQuality, 9, 0x240000, {0x240000, 0x130000})}}));
    EXPECT_EQ(canon().settingOptions(handle, kImageQuality), (Values{0x240000, 0x130000}));
}

// ---- legacy cameras are locked meanwhile ------------------------------------------------------------------

TEST_F(CanonSettings, of_a_legacy_camera_are_reached_under_its_lock) {
    const int32_t handle =
        startSession(legacyCamera({{"properties", property(kIso, 9, 0x48, {0x48, 0x50})}}));
    lab().clearTrace();
    canon().getSetting(handle, kIso);
    EXPECT_EQ(lab().callNames(), (Names{"EdsSendStatusCommand", "EdsGetPropertySize", "EdsGetPropertyData",
                                        "EdsSendStatusCommand"}));
    lab().clearTrace();
    EXPECT_TRUE(canon().setSetting(handle, kIso, 0x50));
    EXPECT_EQ(lab().callNames(), (Names{"EdsSendStatusCommand", "EdsGetPropertySize", "EdsGetPropertyData",
                                        "EdsSetPropertyData", "EdsGetPropertyData", "EdsSendStatusCommand"}));
    lab().clearTrace();
    canon().settingOptions(handle, kIso);
    EXPECT_EQ(lab().callNames(),
              (Names{"EdsSendStatusCommand", "EdsGetPropertyDesc", "EdsSendStatusCommand"}));
}

TEST_F(CanonSettings, of_a_legacy_camera_that_refuses_the_lock_are_read_but_not_written) {
    const int32_t handle = startSession(legacyCamera({{"properties", property(kIso, 9, 0x48)}}));
    lab().fault("EdsSendStatusCommand", 0x81);
    EXPECT_EQ(canon().getSetting(handle, kIso), 0x48);
    lab().clearTrace();
    lab().fault("EdsSendStatusCommand", 0x81);
    EXPECT_FALSE(canon().setSetting(handle, kIso, 0x50));
    EXPECT_EQ(lab().callNames(), Names{"EdsSendStatusCommand"});
    helper().waitForOut("CanonEds: NO LOCK 0x81\n", 2);
}

TEST_F(CanonSettings, of_a_legacy_camera_that_refuses_the_lock_are_offered) {
    const int32_t handle =
        startSession(legacyCamera({{"properties", property(kIso, 9, 0x48, {0x48, 0x50})}}));
    lab().fault("EdsSendStatusCommand", 0x81);
    EXPECT_EQ(canon().settingOptions(handle, kIso), (Values{0x48, 0x50}));
    helper().waitForOut("CanonEds: NO LOCK 0x81\n");
}

TEST_F(CanonSettings, of_a_legacy_camera_are_unlocked_after_every_error) {
    const int32_t handle = startSession(legacyCamera({{"properties", property(kIso, 9, 0x48)}}));
    const auto lastIsUnlock = [&] {
        const std::vector<Json> locks = lab().calls("EdsSendStatusCommand");
        return locks.size() == 2 && number(locks[1]["args"]["command"]) == 1;
    };
    for (const char* failing : {"EdsGetPropertySize", "EdsGetPropertyData", "EdsSetPropertyData"}) {
        SCOPED_TRACE(failing);
        lab().clearTrace();
        lab().fault(failing, 0x81);
        EXPECT_FALSE(canon().setSetting(handle, kIso, 0x50));
        EXPECT_TRUE(lastIsUnlock());
    }
    lab().clearTrace();
    lab().fault("EdsGetPropertyDesc", 0x81);
    canon().settingOptions(handle, kIso);
    EXPECT_TRUE(lastIsUnlock());
}

TEST_F(CanonSettings, changed_on_the_camera_are_told_to_the_host) {
    const int32_t handle = sessionWith(property(kIso, 9, 0x48, {0x48, 0x50}));
    events();
    lab().set("canon-1", kIso, 0x50);
    // Opening the session has changed other properties, which may be told now.
    const Event event = events().waitFor(
        [](const Event& each) {
            return each.kind == kPropertyEvent && each.values.size() == 4 && each.values[2] == kIso;
        },
        "change of the ISO speed");
    EXPECT_EQ(event.handle(), handle);
    EXPECT_EQ(event.values.at(1), 0x101);
    EXPECT_EQ(canon().getSetting(handle, kIso), 0x50);
}

}  // namespace
}  // namespace e2e
