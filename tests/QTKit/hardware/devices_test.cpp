// The list of webcams.
#include "tests/QTKit/hardware/fixture.h"

namespace test {
namespace {

class HardwareDevices : public HardwareTest {};

TEST_F(HardwareDevices, come_and_go_with_their_cables) {
    EXPECT_EQ(names(), std::vector<std::string>());
    const FakeRef one = webcam("fake one");
    plugIn(one);
    EXPECT_EQ(names(), std::vector<std::string>({"fake one"}));
    pullOut(one);
    EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(HardwareDevices, keep_their_order_whoever_comes_first) {
    plugIn(webcam("fake c", kYuyv, "node3"));
    plugIn(webcam("fake a", kYuyv, "node1"));
    plugIn(webcam("fake b", kYuyv, "node2"));
    EXPECT_EQ(names(), std::vector<std::string>({"fake a", "fake b", "fake c"}));
}

TEST_F(HardwareDevices, are_one_object_while_somebody_keeps_it) {
    plugIn(webcam("fake one"));
    const Ref<QTCaptureDevice> first = device("fake one");
    EXPECT_EQ(device("fake one").get(), first.get());
    EXPECT_TRUE(first->hasMediaType(QTMediaType::Video));
    EXPECT_FALSE(first->hasMediaType(QTMediaType::Muxed));
    EXPECT_FALSE(first->hasMediaType(QTMediaType::Sound));
}

}  // namespace
}  // namespace test
