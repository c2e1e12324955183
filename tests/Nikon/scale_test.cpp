// From pixels of one picture to those of another, in 32 bits.
#include <gtest/gtest.h>

#include "Nikon/LiveViewScale.h"

namespace nikon {
namespace {

int32_t scaled(int32_t value, uint16_t numerator, uint16_t denominator) {
    int32_t result = 12345;
    EXPECT_TRUE(scale(value, numerator, denominator, &result));
    return result;
}

TEST(Scale, divides_toward_zero) {
    EXPECT_EQ(scaled(320, 4288, 640), 2144);
    EXPECT_EQ(scaled(7, 10, 3), 23);
    EXPECT_EQ(scaled(-7, 10, 3), -23);
    EXPECT_EQ(scaled(0, 65535, 1), 0);
    EXPECT_EQ(scaled(100, 0, 640), 0);
}

TEST(Scale, wraps_at_32_bits) {
    EXPECT_EQ(scaled(65535, 65535, 1), -131071);
    EXPECT_EQ(scaled(INT32_MAX, 2, 1), -2);
    EXPECT_EQ(scaled(INT32_MIN, 2, 1), 0);
    EXPECT_EQ(scaled(INT32_MIN, 1, 1), INT32_MIN);
    EXPECT_EQ(scaled(INT32_MIN, 3, 65535), INT32_MIN / 65535);
}

TEST(Scale, by_nothing_leaves_the_result_alone) {
    int32_t result = 7;
    EXPECT_FALSE(scale(100, 640, 0, &result));
    EXPECT_EQ(result, 7);
}

}  // namespace
}  // namespace nikon
