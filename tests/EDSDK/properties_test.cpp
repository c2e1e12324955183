// Properties: types, sizes, descriptions, and the events of their changes.
#include <cstdio>
#include <cstring>

#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

class Properties : public EdsTest {};

TEST_F(Properties, of_the_defaults_have_their_types_and_sizes) {
    EdsCameraRef reference = session({{"model", "Canon EOS 6D"}, {"firmware", "1.1.8"}});
    struct Row {
        EdsPropertyID property;
        EdsDataType type;
        EdsUInt32 size;
    };
    const Row rows[] = {
        {0x2, kEdsDataType_String, 13},  {0x4, kEdsDataType_String, 1},    {0x7, kEdsDataType_String, 6},
        {0x8, kEdsDataType_UInt32, 4},   {0xB, kEdsDataType_UInt32, 4},    {0x100, kEdsDataType_UInt32, 4},
        {0x106, kEdsDataType_Int32, 4},  {0x400, kEdsDataType_UInt32, 4},  {0x401, kEdsDataType_UInt32, 4},
        {0x402, kEdsDataType_UInt32, 4}, {0x403, kEdsDataType_UInt32, 4},  {0x404, kEdsDataType_UInt32, 4},
        {0x405, kEdsDataType_UInt32, 4}, {0x406, kEdsDataType_UInt32, 4},  {0x407, kEdsDataType_UInt32, 4},
        {0x40A, kEdsDataType_UInt32, 4}, {0x40D, kEdsDataType_String, 17}, {0x500, kEdsDataType_UInt32, 4},
        {0x501, kEdsDataType_UInt32, 4}, {0x502, kEdsDataType_Int32, 4},   {0x504, kEdsDataType_UInt32, 4},
        {0x507, kEdsDataType_UInt32, 4}, {0x508, kEdsDataType_Point, 8},   {0x50E, kEdsDataType_UInt32, 4}};
    for (const Row& row : rows) {
        EdsDataType type = 0;
        EdsUInt32 size = 0;
        EXPECT_EQ(EdsGetPropertySize(reference, row.property, 0, &type, &size), EDS_ERR_OK) << row.property;
        EXPECT_EQ(type, row.type) << std::hex << row.property;
        EXPECT_EQ(size, row.size) << std::hex << row.property;
    }
    release(reference);
}

TEST_F(Properties, that_are_texts_come_with_their_end) {
    EdsCameraRef reference = session({{"firmware", "1.1.8"}});
    char text[32];
    std::memset(text, 'x', sizeof text);
    EXPECT_EQ(EdsGetPropertyData(reference, 0x7, 0, sizeof text, text), EDS_ERR_OK);
    EXPECT_STREQ(text, "1.1.8");
    EXPECT_EQ(text[6], 'x') << "no more is written than the property has";
    EXPECT_EQ(EdsGetPropertyData(reference, 0x7, 0, 5, text), EDS_ERR_INVALID_LENGTH);
    release(reference);
}

TEST_F(Properties, that_a_camera_has_not_are_unavailable) {
    EdsCameraRef reference = session({{"properties", {{"0x405", {{"remove", true}}}}}});
    EdsDataType type = 99;
    EdsUInt32 size = 99;
    EdsInt32 value = 99;
    EdsPropertyDesc description{};
    for (const EdsPropertyID property : {0x405U, 0U, 0xFFFFFFFFU}) {
        const EdsError none = EDS_ERR_PROPERTIES_UNAVAILABLE;
        EXPECT_EQ(EdsGetPropertySize(reference, property, 0, &type, &size), none);
        EXPECT_EQ(EdsGetPropertyData(reference, property, 0, 4, &value), none);
        EXPECT_EQ(set(reference, property, 1), none);
        EXPECT_EQ(EdsGetPropertyDesc(reference, property, &description), none);
    }
    EXPECT_EQ(type, 99u);
    EXPECT_EQ(size, 99u);
    EXPECT_EQ(value, 99);
    release(reference);
}

TEST_F(Properties, are_described_by_the_values_they_may_take) {
    const Json properties = {{"0x406", {{"options", {80, "0x58", 4294967295}}}},
                             {"0x405", {{"options", Json::array()}}}};
    EdsCameraRef reference = session({{"properties", properties}});
    EdsPropertyDesc description{};
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x406, &description), EDS_ERR_OK);
    ASSERT_EQ(description.numElements, 3);
    EXPECT_EQ(description.propDesc[0], 80);
    EXPECT_EQ(description.propDesc[1], 88);
    EXPECT_EQ(description.propDesc[2], -1);
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x405, &description), EDS_ERR_OK);
    EXPECT_EQ(description.numElements, 0);
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x8, &description), EDS_ERR_NOT_SUPPORTED);
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x406, nullptr), EDS_ERR_INVALID_POINTER);
    release(reference);
}

TEST_F(Properties, of_legacy_cameras_leave_image_quality_undescribed) {
    EdsCameraRef reference = session({{"legacy", true}});
    EdsPropertyDesc description{};
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x100, &description), EDS_ERR_NOT_SUPPORTED);
    EXPECT_EQ(get(reference, 0x100), 0x130000);
    EXPECT_EQ(EdsGetPropertyDesc(reference, 0x406, &description), EDS_ERR_OK);
    release(reference);
}

TEST_F(Properties, tell_the_handler_when_they_change) {
    EdsCameraRef reference = session();
    EXPECT_EQ(set(reference, 0x406, 80), EDS_ERR_OK);
    must({{"cmd", "set"}, {"id", "canon-1"}, {"property", "0x405"}, {"value", 40}, {"options", {40}}});
    EXPECT_TRUE(pumpUntil([&] { return heard.properties.size() == 3; }));
    EXPECT_EQ(heard.properties[0].event, 0x101u);
    EXPECT_EQ(heard.properties[0].property, 0x406u);
    EXPECT_EQ(heard.properties[0].parameter, 0u);
    EXPECT_EQ(heard.properties[1].event, 0x101u);
    EXPECT_EQ(heard.properties[1].property, 0x405u);
    EXPECT_EQ(heard.properties[2].event, 0x102u);
    EXPECT_EQ(get(reference, 0x405), 40);
    release(reference);
}

TEST_F(Properties, take_any_value_unless_the_camera_is_strict) {
    EdsCameraRef reference = session();
    EXPECT_EQ(set(reference, 0x406, 12345), EDS_ERR_OK);
    EXPECT_EQ(get(reference, 0x406), 12345);
    release(reference);
    EdsTerminateSDK();
    reference = session({{"acceptAnyValue", false}});
    EXPECT_EQ(set(reference, 0x406, 12345), EDS_ERR_DEVICE_INVALID_PARAMETER);
    EXPECT_EQ(get(reference, 0x406), 96);
    release(reference);
}

TEST_F(Properties, refuse_wrong_lengths_and_missing_data) {
    EdsCameraRef reference = session();
    EdsInt32 value = 0;
    EXPECT_EQ(EdsSetPropertyData(reference, 0x406, 0, 2, &value), EDS_ERR_INVALID_LENGTH);
    EXPECT_EQ(EdsSetPropertyData(reference, 0x406, 0, 4, nullptr), EDS_ERR_INVALID_POINTER);
    EXPECT_EQ(EdsGetPropertyData(reference, 0x406, 0, 4, nullptr), EDS_ERR_INVALID_POINTER);
    EXPECT_EQ(EdsGetPropertyData(reference, 0x406, 0, 3, &value), EDS_ERR_INVALID_LENGTH);
    EXPECT_EQ(EdsGetPropertySize(reference, 0x406, 0, nullptr, nullptr), EDS_ERR_INVALID_POINTER);
    EXPECT_EQ(EdsSetPropertyData(reference, 0x2, 0, 4, "abc"), EDS_ERR_NOT_SUPPORTED);
    release(reference);
}

TEST_F(Properties, stand_in_the_trace_with_their_bytes) {
    EdsCameraRef reference = session();
    clearTrace();
    set(reference, 0x406, 0x12345678);
    get(reference, 0x406);
    EdsDataType type = 0;
    EdsUInt32 size = 0;
    EdsGetPropertySize(reference, 0x406, 0, &type, &size);
    const EdsInt32 number = 0x12345678;
    unsigned char bytes[4];
    std::memcpy(bytes, &number, sizeof bytes);
    char hex[9];
    std::snprintf(hex, sizeof hex, "%02x%02x%02x%02x", bytes[0], bytes[1], bytes[2], bytes[3]);
    const Json expected = {{"property", 0x406}, {"param", 0}, {"size", 4}, {"data", hex}};
    EXPECT_EQ(callsOf("EdsSetPropertyData").at(0)["args"], expected);
    EXPECT_EQ(callsOf("EdsGetPropertyData").at(0)["args"], expected);
    EXPECT_EQ(callsOf("EdsGetPropertySize").at(0)["args"]["property"], 0x406);
    release(reference);
}

TEST_F(Properties, meet_faults_by_their_number) {
    EdsCameraRef reference = session();
    must({{"cmd", "fault"}, {"call", "EdsSetPropertyData"}, {"property", "0x406"}, {"result", "0x81"}});
    EXPECT_EQ(set(reference, 0x405, 40), EDS_ERR_OK);
    EXPECT_EQ(set(reference, 0x406, 80), EDS_ERR_DEVICE_BUSY);
    EXPECT_EQ(get(reference, 0x406), 96) << "a faulted call is not carried out";
    EXPECT_EQ(set(reference, 0x406, 80), EDS_ERR_OK);
    release(reference);
}

}  // namespace
}  // namespace test
