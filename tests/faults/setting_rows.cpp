// Rows of the calls that read and write the camera's settings.
#include "tests/faults/row.h"

namespace e2e::faults {

namespace {

constexpr const char* kLock = "EdsSendStatusCommand 0x0";
constexpr const char* kUnlock = "EdsSendStatusCommand 0x1";

/** Properties that no body has, of types that none of its own have. */
constexpr int kSwitch = 0xC01;
constexpr int kOwner = 0xC02;
constexpr int kBooleanType = 1;
constexpr int kTextType = 2;

constexpr int32_t kUsualIso = 0x48;
constexpr int32_t kOtherIso = 0x58;

Json ownProperties() {
    Json properties = property(kSwitch, kBooleanType, 0);
    properties.update(property(kOwner, kTextType, "nobody"));
    properties.update(property(kIso, 9, kUsualIso, {kUsualIso, kOtherIso}));
    return {{"properties", properties}};
}

std::function<Bytes(const Stage&)> reading(int id) {
    return [id](const Stage& stage) -> Bytes { return Message().int32(stage.session).int32(id); };
}

std::function<Bytes(const Stage&)> writing(int id, int32_t value) {
    return [id, value](const Stage& stage) -> Bytes {
        return Message().int32(stage.session).int32(id).int32(value);
    };
}

void withDofPreview(Stage& stage) {
    withSession(stage);
    EXPECT_TRUE(stage.canon().setSetting(stage.session, kEvfDofPreview, 1));
}

const std::vector<int32_t> kLegacyQualities = {
    0x240000,  0x240013,  0x240113, 0x240213,  0x240012,  0x240112, 0x240212, 0x130000,
    0x1130000, 0x2130000, 0x120000, 0x1120000, 0x2120000, 0x2F000F, 0x2F001F, 0x2F051F,
    0x2F061F,  0x2F021F,  0x1F000F, 0x51F000F, 0x61F000F, 0x21F000F};
const std::vector<int32_t> kRebelQualities = {0x240000, 0x130000,  0x1130000, 0x2130000,
                                              0x120000, 0x1120000, 0x2120000};

std::vector<Row> getRows() {
    return {
        {
            .name = "GetSetting",
            .method = 16,
            .cameras = modernBody(ownProperties()),
            .prepare = withSession,
            .arguments = reading(kIso),
            .usual = value(kUsualIso),
            .calls = {{"EdsGetPropertySize 0x402", value(0), value(0), Labels{}},
                      {"EdsGetPropertyData 0x402", value(0), value(0)}},
        },
        {
            .name = "GetSetting_of_the_output_device",
            .method = 16,
            .cameras = modernBody(),
            .prepare =
                [](Stage& stage) {
                    withSession(stage);
                    stage.startLiveView();
                },
            .arguments = reading(kEvfOutputDevice),
            .usual = value(2),
            .calls = {{"EdsGetPropertySize 0x500", value(0), value(0), Labels{}},
                      {"EdsGetPropertyData 0x500", value(0), value(0)}},
        },
        {
            .name = "GetSetting_of_a_boolean",
            .method = 16,
            .cameras = modernBody({{"properties", property(kSwitch, kBooleanType, 1)}}),
            .prepare = withSession,
            .arguments = reading(kSwitch),
            .usual = value(1),
            .calls = {{"EdsGetPropertySize 0xc01", value(0), value(0), Labels{}},
                      {"EdsGetPropertyData 0xc01", value(0), value(0)}},
        },
        {
            .name = "GetSetting_of_a_text",
            .method = 16,
            .cameras = modernBody(ownProperties()),
            .prepare = withSession,
            .arguments = reading(kOwner),
            .usual = value(0),
            .calls = {{"EdsGetPropertySize 0xc02", value(0), value(0)}},
        },
        {
            .name = "GetSetting_of_a_legacy_camera",
            .method = 16,
            .cameras = legacyBody(ownProperties()),
            .prepare = withSession,
            .arguments = reading(kIso),
            .usual = value(kUsualIso),
            // It is read without the lock as well.
            .calls = {{kLock, usual, value(0),
                       Labels{"EdsGetPropertySize 0x402", "EdsGetPropertyData 0x402"}},
                      {"EdsGetPropertySize 0x402", value(0), value(0), Labels{kUnlock}},
                      {"EdsGetPropertyData 0x402", value(0), value(0)},
                      {kUnlock, usual, usual}},
        },
    };
}

std::vector<Row> setRows() {
    return {
        {
            .name = "SetSetting",
            .method = 22,
            .cameras = modernBody(ownProperties()),
            .prepare = withSession,
            .arguments = writing(kIso, kOtherIso),
            .usual = boolean(true),
            // Whether the camera shows the new value afterwards changes nothing.
            .calls = {{"EdsGetPropertySize 0x402", boolean(false), boolean(false), Labels{}},
                      {"EdsGetPropertyData 0x402", boolean(false), boolean(false), Labels{}},
                      {"EdsSetPropertyData 0x402=58000000", boolean(false), boolean(false), Labels{}},
                      {"EdsGetPropertyData 0x402", usual, usual, Labels{"EdsGetPropertyData 0x402"}}},
        },
        {
            .name = "SetSetting_to_the_present_value",
            .method = 22,
            .cameras = modernBody(ownProperties()),
            .prepare = withSession,
            .arguments = writing(kIso, kUsualIso),
            .usual = boolean(true),
            .calls = {{"EdsGetPropertySize 0x402", boolean(false), boolean(false), Labels{}},
                      {"EdsGetPropertyData 0x402", boolean(false), boolean(false)}},
        },
        {
            .name = "SetSetting_of_a_boolean",
            .method = 22,
            .cameras = modernBody(ownProperties()),
            .prepare = withSession,
            .arguments = writing(kSwitch, 1),
            .usual = boolean(true),
            // What comes of the write is not looked at.
            .calls = {{"EdsGetPropertySize 0xc01", boolean(false), boolean(false), Labels{}},
                      {"EdsGetPropertyData 0xc01", boolean(false), boolean(false), Labels{}},
                      {"EdsSetPropertyData 0xc01=01000000", usual, usual}},
        },
        {
            .name = "SetSetting_of_the_preview_to_its_present_value",
            .method = 22,
            .cameras = modernBody(),
            .prepare = withDofPreview,
            .arguments = writing(kEvfDofPreview, 1),
            .usual = boolean(true),
            .calls = {{"EdsGetPropertySize 0x504", boolean(false), boolean(false), Labels{}},
                      {"EdsGetPropertyData 0x504", boolean(false), boolean(false), Labels{}},
                      {"EdsSetPropertyData 0x504=01000000", boolean(false), boolean(false), Labels{}},
                      // The value is the camera's already, so one look at it is enough even when it fails.
                      {"EdsGetPropertyData 0x504", usual, usual}},
        },
        {
            .name = "SetSetting_of_a_legacy_camera",
            .method = 22,
            .cameras = legacyBody(ownProperties()),
            .prepare = withSession,
            .arguments = writing(kIso, kOtherIso),
            .usual = boolean(true),
            .calls = {{kLock, boolean(false), boolean(false), Labels{}},
                      {"EdsGetPropertySize 0x402", boolean(false), boolean(false), Labels{kUnlock}},
                      {"EdsGetPropertyData 0x402", boolean(false), boolean(false), Labels{kUnlock}},
                      {"EdsSetPropertyData 0x402=58000000", boolean(false), boolean(false), Labels{kUnlock}},
                      {"EdsGetPropertyData 0x402", usual, usual, Labels{"EdsGetPropertyData 0x402", kUnlock}},
                      {kUnlock, usual, usual}},
        },
    };
}

std::vector<Row> optionRows() {
    return {
        {
            .name = "GetSettingOptions",
            .method = 17,
            .cameras = modernBody(ownProperties()),
            .prepare = withSession,
            .arguments = reading(kIso),
            .usual = ints({kUsualIso, kOtherIso}),
            .calls = {{"EdsGetPropertyDesc 0x402", ints({}), ints({})}},
        },
        {
            .name = "GetSettingOptions_of_image_quality",
            .method = 17,
            .cameras = modernBody({{"properties", property(kImageQuality, 9, kJpegQuality, {kJpegQuality})}}),
            .prepare = withSession,
            .arguments = reading(kImageQuality),
            .usual = ints({kJpegQuality}),
            .calls = {{"EdsGetPropertyDesc 0x100", ints({}), ints({})}},
        },
        {
            .name = "GetSettingOptions_of_a_legacy_camera",
            .method = 17,
            .cameras = legacyBody(ownProperties()),
            .prepare = withSession,
            .arguments = reading(kIso),
            .usual = ints({kUsualIso, kOtherIso}),
            .calls = {{kLock, usual, ints({}), Labels{"EdsGetPropertyDesc 0x402"}},
                      {"EdsGetPropertyDesc 0x402", ints({}), ints({})},
                      {kUnlock, usual, usual}},
        },
        {
            .name = "GetSettingOptions_of_image_quality_of_a_legacy_camera",
            .method = 17,
            .cameras = legacyBody({{"properties", property(kImageQuality, 9, 0x130000, {0x130000})}}),
            .prepare = withSession,
            .arguments = reading(kImageQuality),
            .usual = ints({0x130000}),
            .calls = {{kLock, usual, ints(kLegacyQualities), Labels{"EdsGetPropertyDesc 0x100"}},
                      {"EdsGetPropertyDesc 0x100", ints(kLegacyQualities), ints(kLegacyQualities)},
                      {kUnlock, usual, usual}},
        },
        {
            .name = "GetSettingOptions_of_image_quality_of_a_rebel",
            .method = 17,
            .cameras = {canonCamera("canon-1", "EOS DIGITAL REBEL", {{"legacy", true}})},
            .prepare = withSession,
            .arguments = reading(kImageQuality),
            .usual = ints(kRebelQualities),
            .calls = {{kLock, usual, usual, Labels{"EdsGetPropertyDesc 0x100"}},
                      {"EdsGetPropertyDesc 0x100", usual, usual},
                      {kUnlock, usual, usual}},
        },
    };
}

}  // namespace

std::vector<Row> settingRows() {
    std::vector<Row> rows = getRows();
    for (const std::vector<Row>& more : {setRows(), optionRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
}

}  // namespace e2e::faults
