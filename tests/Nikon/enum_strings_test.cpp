// The texts of settings: every row of the table, its edges, and what has no text.
#include <gtest/gtest.h>

#include <string>

#include "Nikon/EnumStrings.h"

namespace {

std::string textOf(uint32_t capability, uint32_t value) {
    char buffer[kEnumStringSize];
    EXPECT_EQ(GetEnumString(capability, value, buffer), buffer);
    return buffer;
}

struct Expected {
    uint32_t capability;
    uint32_t value;
    const char* text;
};

constexpr Expected kExpected[] = {
    {0x35, 0, "FlashMode 0"},
    {53, 7, "FlashMode 7"},
    {0x8111, 0, "Program"},
    {0x8111, 1, "Aperture"},
    {0x8111, 2, "Speed"},
    {0x8111, 3, "Manual"},
    {0x8111, 4, "ExposureMode 4"},
    {0x8116, 0, "Matrix"},
    {0x8116, 1, "CenterWeighted"},
    {0x8116, 2, "Spot"},
    {0x8116, 3, "MeteringMode 3"},
    {0x8120, 0, "MF"},
    {0x8120, 1, "AFs"},
    {0x8120, 2, "AFc"},
    {0x8120, 3, "FocusMode 3"},
    {0x8122, 0, "FocusPreferredArea :0"},
    {0x8122, 10, "FocusPreferredArea :10"},
    {0x814E, 0, "0x00000000"},
    {0x814E, 0xABCDEF01, "0xabcdef01"},
    {0x815E, 0, "-9 deg"},
    {0x815E, 1, "-6 deg"},
    {0x815E, 2, "-3 deg"},
    {0x815E, 3, " 0 deg"},
    {0x815E, 4, "+3 deg"},
    {0x815E, 5, "+6 deg"},
    {0x815E, 6, "+9 deg"},
    {0x815E, 7, "ColorAdjustment 7"},
    {0x818C, 0, "0"},
    {0x818C, 250, "250"},
    {0x822E, 0, "Undefined"},
    {0x822E, 1, "Standard"},
    {0x822E, 2, "Neutral"},
    {0x822E, 3, "Vivid"},
    {0x822E, 4, "Monochrome"},
    {0x822E, 5, "Picture Control 5"},
    {0x822E, 100, "Picture Control 100"},
    {0x822E, 101, "Option Picture Control 1"},
    {0x822E, 102, "Option Picture Control 2"},
    {0x822E, 103, "Option Picture Control 3"},
    {0x822E, 104, "Option Picture Control 4"},
    {0x822E, 105, "Picture Control 105"},
    {0x822E, 200, "Picture Control 200"},
    {0x822E, 201, "Custom Picture Control 1"},
    {0x822E, 205, "Custom Picture Control 5"},
    {0x822E, 209, "Custom Picture Control 9"},
    {0x822E, 210, "Picture Control 210"},
    {0x823F, 0, "Full"},
    {0x823F, 1, "25%"},
    {0x823F, 2, "33%"},
    {0x823F, 3, "50%"},
    {0x823F, 4, "66%"},
    {0x823F, 5, "100%"},
    {0x823F, 6, "LiveViewImageZoomRate 6"},
    {0, 0, "Undefined String"},
    {0x8112, 1, "Undefined String"},
    {0xFFFFFFFF, 0xFFFFFFFF, "Undefined String"},
};

TEST(EnumStrings, name_or_number_every_value) {
    for (const Expected& expected : kExpected) {
        EXPECT_EQ(textOf(expected.capability, expected.value), expected.text)
            << std::hex << expected.capability << " " << expected.value;
    }
}

TEST(EnumStrings, number_values_without_a_sign) {
    EXPECT_EQ(textOf(0x35, 0xFFFFFFFF), "FlashMode 4294967295");
    EXPECT_EQ(textOf(0x8111, 0x80000000), "ExposureMode 2147483648");
    EXPECT_EQ(textOf(0x818C, 0xFFFFFFFF), "4294967295");
    EXPECT_EQ(textOf(0x822E, 0xFFFFFFFF), "Picture Control 4294967295");
}

}  // namespace
