// The list of webcams.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "frameworks/QTKit/gstreamer/Errors.h"
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

TEST_F(HardwareDevices, are_the_same_again_when_they_come_back_to_their_place) {
    const FakeRef fake = webcam("fake one");
    plugIn(fake);
    const Ref<QTCaptureDevice> device = this->device("fake one");
    pullOut(fake);
    EXPECT_EQ(names(), std::vector<std::string>());
    plugIn(fake);
    EXPECT_EQ(this->device("fake one").get(), device.get());
    Chain chain = chainOf(device);
    chain.session->startRunning();
    EXPECT_TRUE(chain.taker->waitForMore(1));
}

TEST_F(HardwareDevices, have_an_id_that_is_no_place_on_a_bus_they_are_not_on) {
    const FakeRef node = webcam("fake node");
    const FakeRef pipewire = webcam("fake pipewire");
    pipewire->properties = {{"node.name", "v4l2_input.pci-0000_00_14.0"}};
    plugIn(node);
    plugIn(pipewire);
    for (const char* name : {"fake node", "fake pipewire"}) {
        const std::string id = device(name)->uniqueID();
        EXPECT_FALSE(id.starts_with("0x")) << id;
        EXPECT_FALSE(id.empty());
    }
}

TEST_F(HardwareDevices, are_listed_once_when_pipewire_shows_them_as_well) {
    plugIn(webcam("fake one", kYuyv, "video0"));
    const FakeRef shown = webcam("fake one again");
    shown->properties = {{"api.v4l2.path", pathOf("video0")}, {"node.name", "one"}};
    const FakeRef other = webcam("fake other");
    other->properties = {{"api.v4l2.path", pathOf("video7")}, {"node.name", "other"}};
    plugIn(shown);
    plugIn(other);
    EXPECT_EQ(names(), std::vector<std::string>({"fake other", "fake one"}));
    pullOutAll();
    plugIn(shown);  // V4L2's is not there: not allowed, or in a sandbox
    EXPECT_EQ(names(), std::vector<std::string>({"fake one again"}));
}

TEST_F(HardwareDevices, have_ids_of_their_own_at_one_place) {
    const FakeRef colour = webcam("fake colour");
    const FakeRef infrared = webcam("fake infrared");
    colour->properties = infrared->properties = {{"node.name", "the same"}};
    plugIn(colour);
    plugIn(infrared);
    EXPECT_EQ(devices().size(), 2u);
    EXPECT_NE(device("fake colour")->uniqueID(), device("fake infrared")->uniqueID());
    EXPECT_NE(device("fake colour").get(), device("fake infrared").get());
}

TEST_F(HardwareDevices, are_not_listed_when_nothing_of_theirs_can_be_shown) {
    plugIn(webcam("fake sensor", "video/x-bayer,format=bggr,width=64,height=48,framerate=30/1"));
    plugIn(
        webcam("fake graphics", "video/x-raw(memory:DMABuf),format=YUY2,width=64,height=48,framerate=30/1"));
    EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(HardwareDevices, are_not_listed_once_their_node_is_gone) {
    plugIn(webcam("fake one", kYuyv, "video0"));
    EXPECT_EQ(names().size(), 1u);
    std::filesystem::remove(pathOf("video0"));
    EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(HardwareDevices, cannot_be_opened_once_their_node_is_gone) {
    const CallScope scope;
    plugIn(webcam("fake one", kYuyv, "video0"));
    const Ref<QTCaptureDevice> device = this->device("fake one");
    std::filesystem::remove(pathOf("video0"));
    NSError* error = nullptr;
    EXPECT_FALSE(device->open(&error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), QTErrorDeviceWasDisconnected);
}

TEST_F(HardwareDevices, can_be_kept_by_one_program_at_a_time) {
    const CallScope scope;
    plugIn(webcam("fake one", kYuyv, "video0"));
    const Ref<QTCaptureDevice> device = this->device("fake one");
    const int other = ::open(pathOf("video0").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    NSError* error = nullptr;
    EXPECT_FALSE(device->open(&error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), capture::kErrorDeviceBusy);
    EXPECT_FALSE(device->isOpen());
    ASSERT_EQ(::flock(other, LOCK_UN), 0);
    EXPECT_TRUE(device->open(&error));
    EXPECT_NE(::flock(other, LOCK_EX | LOCK_NB), 0);
    device->close();
    EXPECT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    ::close(other);
}

}  // namespace
}  // namespace test
