// The hardware library on a kernel's own drivers: in the virtual machine, with the webcam that is made of
// software. Everything is tried twice: through the kernel's video driver, and by libusb after the driver was
// taken away.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/USB/UsbCalls.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/patience.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using e2e::eventually;
using e2e::Json;
using Bytes = std::vector<uint8_t>;

constexpr char kCommands[] = "/run/tarvo-camera.sock";
constexpr char kDriver[] = "/sys/bus/usb/drivers/uvcvideo/";
constexpr IOServiceMatching kCamera{true, 0x1209, 0x0001};

enum class Way { Driver, Libusb };

class RealBus : public UsbCalls, public ::testing::WithParamInterface<Way> {
protected:
    void SetUp() override {
        camera_.must({{"cmd", "reset"}});
        ASSERT_TRUE(eventually([] { return isShown() && hasNodes(); }));
        if (GetParam() == Way::Libusb) takeDriverAway();
    }
    void TearDown() override {
        interface_ = {};
        camera_.must({{"cmd", "reset"}});
        if (!unbound_.empty() && isShown()) tellDriver("bind");
    }

    static bool isShown() { return !services(kCamera).empty(); }
    static bool hasNodes() { return fs::exists("/dev/video0") && fs::exists("/dev/video1"); }

    void takeDriverAway() {
        for (const auto& entry : fs::directory_iterator(kDriver)) {
            const std::string name = entry.path().filename();
            if (name.ends_with(":1.0")) unbound_ = name;
        }
        ASSERT_FALSE(unbound_.empty());
        tellDriver("unbind");
        ASSERT_TRUE(eventually([] { return !hasNodes(); }));
    }
    void tellDriver(const char* what) const { std::ofstream(std::string(kDriver) + what) << unbound_; }

    /** What the camera itself has. */
    int64_t turnedTo(uint16_t control) {
        return camera_.must({{"cmd", "get"}, {"unit", control >> 8}, {"selector", control & 0xFF}})["value"];
    }
    /** The class requests that reached the camera since they were asked for last. */
    Json requests() { return camera_.must({{"cmd", "requests"}, {"clear", true}})["requests"]; }
    void refuse(uint16_t control, uint8_t request, int error) {
        camera_.must({{"cmd", "stall"},
                      {"unit", control >> 8},
                      {"selector", control & 0xFF},
                      {"request", request},
                      {"error", error}});
    }

    static Answer ask(IOUSBInterfaceInterface& interface, uint8_t code, uint16_t control,
                      uint16_t length = 8) {
        return get(interface, code, length, control, 0);
    }
    static IOReturn tell(IOUSBInterfaceInterface& interface, const Bytes& bytes, uint16_t control) {
        return put(interface, bytes, control, 0);
    }
    static Answer done(const Bytes& bytes) { return {kIOReturnSuccess, bytes}; }

    e2e::LabClient camera_{kCommands};
    std::string unbound_;
};

std::string nameOf(const ::testing::TestParamInfo<Way>& way) {
    return way.param == Way::Driver ? "driver" : "libusb";
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Ways, RealBus, ::testing::Values(Way::Driver, Way::Libusb), nameOf);

TEST_P(RealBus, settings_reach_the_camera_and_read_back) {
    struct Row {
        uint16_t control;
        Bytes bytes;
        int64_t value;
    };
    // The switches to manual come first: the driver holds back what something automatic is in charge of.
    const Row rows[] = {{0x0102, {1}, 1},
                        {0x0108, {0}, 0},
                        {0x020B, {0}, 0},
                        {0x0104, {0x2C, 0x01, 0, 0}, 300},
                        {0x0106, {0x7D, 0}, 125},
                        {0x0202, {0xD8, 0xFF}, -40},
                        {0x0203, {77, 0}, 77},
                        {0x0204, {200, 0}, 200},
                        {0x0207, {3, 0}, 3},
                        {0x0208, {255, 0}, 255},
                        {0x020A, {0xB8, 0x0B}, 3000},
                        {0x0102, {8}, 8},
                        {0x0902, {2, 0}, 2},
                        {0x0903, {0x0B, 0x01, 0, 0, 0, 0, 0, 0}, 0x010B}};
    IOUSBInterfaceInterface& interface = open();
    for (const Row& row : rows) {
        EXPECT_EQ(tell(interface, row.bytes, row.control), kIOReturnSuccess) << std::hex << row.control;
        EXPECT_EQ(turnedTo(row.control), row.value) << std::hex << row.control;
        EXPECT_EQ(ask(interface, 0x81, row.control), done(row.bytes)) << std::hex << row.control;
    }
}

TEST_P(RealBus, ranges_steps_and_lengths_are_the_camera_s) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(ask(interface, 0x82, 0x0104), done({3, 0, 0, 0}));
    EXPECT_EQ(ask(interface, 0x83, 0x0104), done({0xFF, 7, 0, 0}));
    EXPECT_EQ(ask(interface, 0x87, 0x0104), done({250, 0, 0, 0}));
    EXPECT_EQ(ask(interface, 0x84, 0x0106), done({5, 0}));
    EXPECT_EQ(ask(interface, 0x82, 0x0202), done({0xC0, 0xFF}));
    EXPECT_EQ(ask(interface, 0x85, 0x0202), done({2, 0}));
    EXPECT_EQ(ask(interface, 0x84, 0x0102), done({9}));
    EXPECT_EQ(ask(interface, 0x86, 0x0901), done({1}));
    EXPECT_EQ(ask(interface, 0x85, 0x0903), done({8, 0}));
    EXPECT_EQ(ask(interface, 0x83, 0x0903), done({0xE8, 3, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(ask(interface, 0x83, 0x0903, 2), done({0xE8, 3}));
}

TEST_P(RealBus, a_refusal_is_a_stall_whatever_its_reason_and_the_next_request_goes_well) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(tell(interface, {1, 0}, 0x0204), kIOReturnSuccess);
    for (int error = 1; error <= 8; ++error) {
        for (const uint16_t control : {uint16_t{0x0204}, uint16_t{0x0902}}) {
            refuse(control, 0x01, error);
            EXPECT_EQ(tell(interface, {2, 0}, control), kIOUSBPipeStalled) << error;
            EXPECT_EQ(interface.ClearPipeStall(1), kIOReturnSuccess);
            EXPECT_EQ(tell(interface, {3, 0}, control), kIOReturnSuccess) << error;
            EXPECT_EQ(turnedTo(control), 3);
        }
        refuse(0x0902, 0x81, error);
        EXPECT_EQ(ask(interface, 0x81, 0x0902), kStall) << error;
        EXPECT_EQ(ask(interface, 0x81, 0x0902), done({3, 0})) << error;
    }
}

TEST_P(RealBus, values_out_of_range_and_of_other_sizes_stall) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(tell(interface, {5, 0}, 0x0203), kIOReturnSuccess);
    EXPECT_EQ(tell(interface, {0, 1}, 0x0203), kIOUSBPipeStalled);
    EXPECT_EQ(tell(interface, {5}, 0x0203), kIOUSBPipeStalled);
    EXPECT_EQ(tell(interface, {2}, 0x0102), kIOUSBPipeStalled);
    EXPECT_EQ(tell(interface, {1, 0, 0}, 0x0902), kIOUSBPipeStalled);
    EXPECT_EQ(turnedTo(0x0203), 5);
}

TEST_P(RealBus, units_selectors_and_interfaces_that_are_not_there_stall) {
    IOUSBInterfaceInterface& interface = open();
    requests();
    for (const uint8_t number : std::initializer_list<uint8_t>{1, 2, 3}) {
        EXPECT_EQ(put(interface, {1, 0}, 0x0204, number), kIOUSBPipeStalled);
    }
    EXPECT_EQ(requests(), Json::array());
    for (const uint16_t control : std::initializer_list<uint16_t>{0x0109, 0x0206, 0x0302, 0x0504, 0x0904}) {
        EXPECT_EQ(ask(interface, 0x81, control), kStall) << std::hex << control;
        EXPECT_EQ(tell(interface, {1, 0}, control), kIOUSBPipeStalled) << std::hex << control;
    }
    // With a driver the descriptors are enough to know; without one the camera itself says no.
    EXPECT_EQ(requests().empty(), GetParam() == Way::Driver);
}

TEST_P(RealBus, a_burst_arrives_whole_and_in_order) {
    IOUSBInterfaceInterface& interface = open();
    requests();
    Json expected = Json::array();
    for (uint8_t value = 10; value < 40; ++value) {
        EXPECT_EQ(tell(interface, {value, 0}, 0x0203), kIOReturnSuccess);
        char line[40];
        std::snprintf(line, sizeof line, "21 01 0300 0200 2: %02x00", value);
        expected.push_back(line);
    }
    Json sets = Json::array();
    for (const Json& line : requests()) {
        if (line.get<std::string>().starts_with("21 ")) sets.push_back(line);
    }
    EXPECT_EQ(sets, expected);
}

TEST_P(RealBus, who_may_not_open_the_node_is_told_so) {
    interface_ = control();
    // Nor by its group: with device events the nodes are the group's, too.
    ASSERT_EQ(setgroups(0, nullptr), 0);
    ASSERT_EQ(setegid(65534), 0);
    ASSERT_EQ(seteuid(65534), 0);
    const IOReturn opened = interface_->USBInterfaceOpen();
    ASSERT_EQ(seteuid(0), 0);
    ASSERT_EQ(setegid(0), 0);
    EXPECT_EQ(opened, kIOReturnNotPermitted);
    EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnSuccess);
}

TEST_P(RealBus, a_camera_that_is_unplugged_while_open_is_gone_and_another_comes_back) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(tell(interface, {9, 0}, 0x0204), kIOReturnSuccess);
    camera_.must({{"cmd", "unplug"}});
    ASSERT_TRUE(eventually([] { return !isShown(); }));
    EXPECT_EQ(tell(interface, {8, 0}, 0x0204), kIOReturnNoDevice);
    EXPECT_EQ(ask(interface, 0x81, 0x0902).result, kIOReturnNoDevice);
    EXPECT_EQ(interface.USBInterfaceClose(), kIOReturnSuccess);
    camera_.must({{"cmd", "plug"}});
    ASSERT_TRUE(eventually([] { return isShown() && hasNodes(); }));
    unbound_.clear();  // it comes with its driver
    EXPECT_EQ(interface.USBInterfaceOpen(), kIOReturnNoDevice);
    EXPECT_EQ(tell(open(), {7, 0}, 0x0204), kIOReturnSuccess);
    EXPECT_EQ(turnedTo(0x0204), 7);
}

/* ---- The rule for devices ---- */

namespace {

/** Of the camera's node for requests without a driver. */
std::string rawNode() {
    for (const auto& entry : fs::directory_iterator("/sys/bus/usb/devices")) {
        std::string vendor;
        std::getline(std::ifstream(entry.path() / "idVendor"), vendor);
        if (vendor != "1209") continue;
        unsigned bus = 0;
        unsigned number = 0;
        std::ifstream(entry.path() / "busnum") >> bus;
        std::ifstream(entry.path() / "devnum") >> number;
        char path[40];
        std::snprintf(path, sizeof path, "/dev/bus/usb/%03u/%03u", bus, number);
        return path;
    }
    return {};
}

bool belongsToVideoGroup(const std::string& path) {
    const group* video = getgrnam("video");
    struct stat facts {};
    return video != nullptr && stat(path.c_str(), &facts) == 0 && facts.st_gid == video->gr_gid &&
           (facts.st_mode & 0777) == 0660;
}

}  // namespace

TEST(UdevRule, opens_a_webcam_s_node_to_the_group_video_and_no_other_device_s) {
    if (!fs::exists("/run/udev/control")) GTEST_SKIP() << "no udev in this machine: tests/vm/vm-run --udev";
    fs::create_directories("/run/udev/rules.d");
    fs::copy(TARVO_UDEV_RULE, "/run/udev/rules.d", fs::copy_options::overwrite_existing);
    ASSERT_EQ(std::system("udevadm control --reload"), 0);
    e2e::LabClient camera(kCommands);
    camera.must({{"cmd", "unplug"}});
    ASSERT_TRUE(eventually([] { return rawNode().empty(); }));
    camera.must({{"cmd", "plug"}});
    EXPECT_TRUE(eventually([] { return belongsToVideoGroup(rawNode()); }));
    EXPECT_FALSE(belongsToVideoGroup("/dev/bus/usb/001/001"));
    EXPECT_TRUE(eventually([] { return fs::exists("/dev/video0"); }));
}

}  // namespace test
