#include "placement.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr ScreenArea kScreen{100, 50, 1000, 800};
constexpr WindowSize kWindow{480, 360};

bool isOnScreen(const WindowPlace& place, const ScreenArea& screen, const WindowSize& window) {
    return place.x >= screen.x && place.y >= screen.y && place.x + window.width <= screen.x + screen.width &&
           place.y + window.height <= screen.y + screen.height;
}

TEST(Placement, centres_on_the_screen_wherever_it_lies) {
    const WindowPlace place = centred(kScreen, kWindow);
    EXPECT_EQ(100 + 260, place.x);
    EXPECT_EQ(50 + 220, place.y);
}

TEST(Placement, cascades_right_and_down) {
    const WindowPlace first = cascaded(kScreen, kWindow, 0);
    const WindowPlace second = cascaded(kScreen, kWindow, 1);
    EXPECT_GT(second.x, first.x);
    EXPECT_GT(second.y, first.y);
}

TEST(Placement, keeps_every_window_of_a_long_cascade_on_the_screen) {
    for (unsigned n = 0; n < 1000; ++n) {
        EXPECT_TRUE(isOnScreen(cascaded(kScreen, kWindow, n), kScreen, kWindow)) << n;
    }
}

TEST(Placement, starts_the_cascade_again) {
    const WindowPlace first = cascaded(kScreen, kWindow, 0);
    unsigned n = 1;
    while (n < 1000 && cascaded(kScreen, kWindow, n).x != first.x) {
        ++n;
    }
    EXPECT_GT(n, 2U);
    EXPECT_LT(n, 1000U);
}

TEST(Placement, uses_the_corner_of_a_screen_that_is_too_small) {
    for (const WindowSize& large : {WindowSize{1000, 800}, WindowSize{2000, 2000}, WindowSize{990, 300}}) {
        for (unsigned n = 0; n < 3; ++n) {
            EXPECT_EQ(kScreen.x, cascaded(kScreen, large, n).x);
            EXPECT_EQ(kScreen.y, cascaded(kScreen, large, n).y);
        }
    }
    const WindowPlace place = centred(kScreen, {2000, 2000});
    EXPECT_EQ(kScreen.x, place.x);
    EXPECT_EQ(kScreen.y, place.y);
}

}  // namespace
