// The kernel's own virtual video devices, which are not USB and deliver other formats than webcams do.
#include <algorithm>
#include <set>

#include "tests/vm/fixture.h"

namespace vm {
namespace {

using e2e::eventually;
using e2e::Words;

const Lines kBoth{"vivid", "vivid"};
const std::string kDriver = "/sys/bus/platform/drivers/vivid/";

class HardwareVivid : public HardwareTest {
protected:
    void SetUp() override {
        ASSERT_EQ(captureNodes().size(), 2u) << "the devices are not there";
        HardwareTest::SetUp();
    }
    /** Its test picture has bars of eight colours, and text over them. */
    static bool isPicture(const Words& words) { return std::set(words.begin(), words.end()).size() >= 8; }
    static bool isOpaque(const Words& words) {
        return std::all_of(words.begin(), words.end(), [](uint32_t word) { return word >> 24 == 0xFF; });
    }
};

TEST_F(HardwareVivid, are_listed_and_have_no_controls_by_usb) {
    EXPECT_EQ(names(), kBoth);
    const int64_t camera = selectNumber(0);
    ASSERT_NE(camera, 0);
    EXPECT_FALSE(video().hasSettings(camera)) << "they are not on any bus";
    video().setSetting(camera, 4, 500000);
    EXPECT_EQ(video().setting(camera, 4), 0);
}

TEST_F(HardwareVivid, deliver_pictures_that_move) {
    const int64_t camera = selectNumber(0);
    const Words first = awaitFrame(camera, {640, 360});
    EXPECT_EQ(first.size(), 640u * 360u);
    EXPECT_TRUE(isPicture(first));
    EXPECT_TRUE(isOpaque(first));
    EXPECT_TRUE(eventually([&] { return video().imageData(camera) != first; })) << "the picture stands still";
}

TEST_F(HardwareVivid, change_their_size_on_the_way) {
    const int64_t camera = selectNumber(0);
    for (const Size wanted : {Size{320, 180}, Size{640, 360}, Size{1280, 720}, Size{320, 180}}) {
        EXPECT_TRUE(isPicture(awaitFrame(camera, wanted))) << wanted.width;
    }
}

TEST_F(HardwareVivid, deliver_both_at_once) {
    const int64_t first = selectNumber(0);
    const int64_t second = selectNumber(1);
    EXPECT_TRUE(isPicture(awaitFrame(first, {320, 180})));
    EXPECT_TRUE(isPicture(awaitFrame(second, {640, 360})));
    release(first);
    const Words before = video().imageData(second);
    EXPECT_TRUE(eventually([&] { return video().imageData(second) != before; }))
        << "the other one has stopped";
}

TEST_F(HardwareVivid, that_another_program_uses_deliver_nothing_and_say_so) {
    const OtherProgram other(captureNodes().at(0));
    // Which of the two is the first in the list is no matter: one is in use, the other is not.
    std::vector<int64_t> cameras{selectNumber(0), selectNumber(1)};
    EXPECT_TRUE(eventually([&] {
        return std::any_of(cameras.begin(), cameras.end(),
                           [&](int64_t camera) { return camera != 0 && !video().imageData(camera).empty(); });
    })) << "the one that is free delivers nothing";
    EXPECT_TRUE(std::any_of(cameras.begin(), cameras.end(), [&](int64_t camera) {
        return camera == 0 || video().imageData(camera).empty();
    }));
    expectServing();
}

/** The last one, because there is no way back: the driver makes its devices when it is loaded. */
TEST_F(HardwareVivid, zz_that_vanish_while_they_stream_are_told_of) {
    const int64_t camera = selectNumber(0);
    awaitFrame(camera, {320, 180});
    events();
    writeSystemFile(kDriver + "unbind", "vivid.0");
    expectLoss();
    EXPECT_TRUE(eventually([&] { return video().cameraCount() == 0; })) << "they stay in the list";
    release(camera);
    expectServing();
    writeSystemFile(kDriver + "bind", "vivid.0");
    ASSERT_TRUE(eventually([&] { return names() == kBoth; })) << "they do not come back";
    const int64_t again = selectNumber(0);
    EXPECT_TRUE(isPicture(awaitFrame(again, {320, 180})));
}

}  // namespace
}  // namespace vm
