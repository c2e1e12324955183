// Numbers and names of the places where USB devices are plugged in.
#include "platform/UsbLocation.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "tests/host/TempFolder.h"

namespace {

namespace fs = std::filesystem;

using Ports = std::vector<uint32_t>;

uint32_t of(uint32_t bus, const Ports& ports) {
    return usbLocation(bus, ports).value_or(0);
}

/** A tree of files in the shape of sysfs, gone with the object. */
class FakeSysfs {
public:
    fs::path folder(const std::string& path) const {
        fs::create_directories(root_.path() / path);
        return root_.path() / path;
    }
    fs::path device(const std::string& path, const std::string& vendor, const std::string& product) const {
        const fs::path made = folder(path);
        std::ofstream(made / "idVendor") << vendor << '\n';
        std::ofstream(made / "idProduct") << product << '\n';
        return made;
    }

private:
    fake::TempFolder root_;
};

}  // namespace

TEST(UsbLocation, has_the_bus_on_top_and_a_digit_a_tier) {
    EXPECT_EQ(of(1, {}), 0x01000000U);
    EXPECT_EQ(of(1, {2}), 0x01200000U);
    EXPECT_EQ(of(0x1A, {2, 1}), 0x1A210000U);
    EXPECT_EQ(of(255, {15, 14, 13, 12, 11, 10}), 0xFFFEDCBAU);
}

TEST(UsbLocation, no_bus_no_number) {
    EXPECT_FALSE(usbLocation(0, Ports{1}));
    EXPECT_FALSE(usbLocation(256, Ports{1}));
}

TEST(UsbLocation, ports_count_from_one) {
    EXPECT_FALSE(usbLocation(1, Ports{0}));
    EXPECT_FALSE(usbLocation(1, Ports{1, 0, 1}));
}

TEST(UsbLocation, root_ports_above_fifteen_take_two_digits_behind_a_zero) {
    EXPECT_EQ(of(1, {16}), 0x01010000U);
    EXPECT_EQ(of(1, {26, 4}), 0x0101A400U);
    EXPECT_EQ(of(1, {255, 1, 2, 15}), 0x010FF12FU);
}

TEST(UsbLocation, longer_chains_and_other_large_ports_are_hashed_behind_two_zeros) {
    for (const Ports& ports :
         {Ports{1, 16}, Ports{16, 16}, Ports{256}, Ports{16, 1, 1, 1, 1}, Ports{1, 1, 1, 1, 1, 1, 1}}) {
        const uint32_t location = of(7, ports);
        EXPECT_EQ(location >> 16, 0x0700U);
        EXPECT_NE(location & 0xFFFFU, 0U);
    }
    EXPECT_NE(of(1, {1, 16}), of(1, {1, 17}));
    EXPECT_NE(of(1, {1, 16}), of(1, {16, 1, 16}));
}

TEST(UsbLocation, chains_of_ordinary_and_of_large_root_ports_never_meet) {
    std::set<uint32_t> seen;
    size_t count = 0;
    const auto add = [&](const Ports& ports) {
        seen.insert(of(3, ports));
        ++count;
    };
    add({});
    for (uint32_t a = 1; a <= 40; ++a) {
        add({a});
        for (uint32_t b = 1; b <= 15; ++b) {
            add({a, b});
            for (uint32_t c = 1; c <= 15; ++c) {
                add({a, b, c});
                if (a <= 15) add({a, b, c, 15, 1, 2});
            }
        }
    }
    EXPECT_EQ(seen.size(), count);
}

TEST(UsbLocation, kernel_names) {
    EXPECT_EQ(usbLocationOfName("1-2"), 0x01200000U);
    EXPECT_EQ(usbLocationOfName("1-2.4.1"), 0x01241000U);
    EXPECT_EQ(usbLocationOfName("12-1.1"), 0x0C110000U);
    EXPECT_EQ(usbLocationOfName("1-26"), 0x0101A000U);
    EXPECT_EQ(usbLocationOfName("1-2.4:1.0"), 0x01240000U);
    EXPECT_EQ(usbLocationOfName("usb2"), 0x02000000U);
}

TEST(UsbLocation, other_names_have_no_location) {
    for (const char* name :
         {"",       "1",      "1-",    "-1",  "1-2.", "1-.2", "1-2..3",   "1-02",          "1-2x",
          "0-1",    "1-0",    "256-1", "usb", "usb0", "usbx", "usb1:1.0", "1-99999999999", "0000:00:14.0",
          "1-0050", "video0", " 1-2",  "1-2 "}) {
        EXPECT_FALSE(usbLocationOfName(name)) << name;
    }
}

TEST(UsbLocation, everything_below_a_device_belongs_to_it) {
    const FakeSysfs sysfs;
    const fs::path hub = sysfs.device("usb1/1-2", "05e3", "0608");
    const fs::path webcam = sysfs.device("usb1/1-2/1-2.4", "046d", "082d");
    const fs::path node = sysfs.folder("usb1/1-2/1-2.4/1-2.4:1.0/video4linux/video0");
    fs::create_directory_symlink(webcam / "1-2.4:1.0", sysfs.folder("class") / "device");

    const UsbIdentity expected{0x01240000, 0x046D, 0x082D};
    for (const fs::path& path : {webcam, webcam / "1-2.4:1.0", node, sysfs.folder("class") / "device"}) {
        EXPECT_EQ(usbIdentityOfPath(path), expected) << path;
    }
    EXPECT_EQ(usbIdentityOfPath(hub), (UsbIdentity{0x01200000, 0x05E3, 0x0608}));
}

TEST(UsbLocation, places_outside_of_usb_have_no_identity) {
    const FakeSysfs sysfs;
    EXPECT_FALSE(usbIdentityOfPath(sysfs.folder("platform/vivid.0/video4linux/video0")));
    EXPECT_FALSE(usbIdentityOfPath(sysfs.folder("i2c-1/1-10/video4linux/video0")));
    EXPECT_FALSE(usbIdentityOfPath(sysfs.folder("here") / "missing"));
    EXPECT_FALSE(usbIdentityOfPath(""));
    EXPECT_FALSE(usbIdentityOfPath(sysfs.device("usb1/1-3", "46d?", "082d")));
    EXPECT_FALSE(usbIdentityOfPath(sysfs.device("usb1/1-4", "046d", "")));
}

TEST(UsbLocation, unique_ids_can_be_read_back_by_their_first_eight_digits) {
    EXPECT_EQ(usbUniqueId({0x01240000, 0x046D, 0x082D}), "0x01240000046d082d");
    EXPECT_EQ(usbUniqueId({0xFFFEDCBA, 0, 1}), "0xfffedcba00000001");
    unsigned location = 0;
    ASSERT_EQ(std::sscanf(usbUniqueId({0x01240000, 0x046D, 0x082D}).c_str(), "0x%8x", &location), 1);
    EXPECT_EQ(location, 0x01240000U);
}
