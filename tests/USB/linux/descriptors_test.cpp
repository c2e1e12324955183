// What is read from a webcam's descriptors, and what wrong ones do.
#include "frameworks/USB/linux/Descriptors.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/USB/linux/DescriptorBytes.h"

namespace test {
namespace {

using usb::Entity;
using usb::EntityKind;
using usb::VideoControl;

/** From memory of just this size, so that a sanitizer sees the first byte read behind it. */
VideoControl read(const Bytes& bytes, uint8_t configurationValue = 1, uint8_t interface = 0) {
    const auto copy = std::make_unique<uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return usb::readVideoControl({copy.get(), bytes.size()}, configurationValue, interface);
}

Bytes device(const Bytes& controlDescriptors) {
    return joined({deviceDescriptor(),
                   configuration(1, joined({interfaceDescriptor(0, 0, 14, 1), controlDescriptors}))});
}

std::vector<uint8_t> idsOf(const VideoControl& control) {
    std::vector<uint8_t> ids;
    for (const Entity& entity : control.entities) {
        ids.push_back(entity.id);
    }
    return ids;
}

}  // namespace

TEST(Descriptors, tell_terminals_and_units_with_their_controls) {
    const VideoControl control = read(webcamDescriptors(0x20E, 0x65F));
    EXPECT_EQ(control.version, 0x0110);
    ASSERT_EQ(idsOf(control), (std::vector<uint8_t>{1, 2, 9, 4}));

    const Entity* camera = control.find(1);
    EXPECT_EQ(camera->kind, EntityKind::cameraTerminal);
    EXPECT_EQ(camera->controls, std::bitset<256>(0x20E));
    const Entity* processing = control.find(2);
    EXPECT_EQ(processing->kind, EntityKind::processingUnit);
    EXPECT_EQ(processing->controls, std::bitset<256>(0x65F));
    const Entity* extension = control.find(9);
    EXPECT_EQ(extension->kind, EntityKind::extensionUnit);
    EXPECT_EQ(extension->controls, std::bitset<256>(0x0F));
    EXPECT_EQ(extension->guid[0], 0x10);
    EXPECT_EQ(extension->guid[15], 0x1F);
    EXPECT_EQ(control.find(4)->kind, EntityKind::other);
    EXPECT_EQ(control.find(3), nullptr);
    EXPECT_EQ(control.find(0), nullptr);
}

TEST(Descriptors, an_input_terminal_that_is_no_camera_has_no_controls) {
    const VideoControl control = read(device({8, 0x24, 2, 7, 0x02, 0x04, 0, 0}));
    ASSERT_NE(control.find(7), nullptr);
    EXPECT_EQ(*control.find(7), (Entity{.id = 7}));
}

TEST(Descriptors, an_extension_unit_s_bitmap_stands_behind_its_inputs) {
    const Bytes unit = joined({{0x24, 6, 12}, Bytes(16, 0xAA), {9, 3, 1, 2, 4}, {2, 0x01, 0x80}, {0}});
    const VideoControl control = read(device(withLength(unit)));
    ASSERT_NE(control.find(12), nullptr);
    EXPECT_EQ(control.find(12)->controls, std::bitset<256>(0x8001));
}

TEST(Descriptors, other_interfaces_and_configurations_are_not_this_one) {
    const Bytes two =
        joined({deviceDescriptor(),
                configuration(1, joined({interfaceDescriptor(0, 0, 14, 1), header(), processingUnit(2, 1)})),
                configuration(3, joined({interfaceDescriptor(0, 0, 1, 1), processingUnit(3, 1),
                                         interfaceDescriptor(2, 0, 14, 1), header(), processingUnit(5, 1),
                                         interfaceDescriptor(3, 0, 14, 2), processingUnit(6, 1)}))});
    EXPECT_EQ(idsOf(read(two, 1, 0)), (std::vector<uint8_t>{2}));
    EXPECT_EQ(idsOf(read(two, 3, 2)), (std::vector<uint8_t>{5}));
    EXPECT_EQ(idsOf(read(two, 3, 0)), (std::vector<uint8_t>{}));
    EXPECT_EQ(idsOf(read(two, 2, 0)), (std::vector<uint8_t>{}));
    EXPECT_EQ(idsOf(read(two, 1, 1)), (std::vector<uint8_t>{}));
}

TEST(Descriptors, of_two_units_with_one_id_the_first_counts) {
    const VideoControl control =
        read(device(joined({processingUnit(2, 0x01), extensionUnit(2, 0x0F), processingUnit(2, 0x03)})));
    ASSERT_EQ(control.entities.size(), 1U);
    EXPECT_EQ(control.entities[0].kind, EntityKind::processingUnit);
    EXPECT_EQ(control.entities[0].controls, std::bitset<256>(1));
}

TEST(Descriptors, id_zero_is_the_interface_and_no_unit) {
    EXPECT_TRUE(read(device(processingUnit(0, 1))).entities.empty());
}

TEST(Descriptors, every_cut_reads_what_is_there_and_no_more) {
    const Bytes whole = webcamDescriptors();
    for (size_t length = 0; length <= whole.size(); ++length) {
        const VideoControl control =
            read(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)));
        EXPECT_LE(control.entities.size(), 4U);
        for (const Entity& entity : control.entities) {
            EXPECT_NE(read(whole).find(entity.id), nullptr);
        }
    }
    EXPECT_EQ(read(whole).entities.size(), 4U);
}

TEST(Descriptors, a_length_of_nothing_ends_the_reading) {
    for (const uint8_t length : {uint8_t{0}, uint8_t{1}}) {
        const VideoControl control =
            read(device(joined({processingUnit(2, 1), {length, 0x24, 5}, processingUnit(3, 1)})));
        EXPECT_EQ(idsOf(control), (std::vector<uint8_t>{2}));
    }
}

TEST(Descriptors, a_length_beyond_the_end_ends_the_reading) {
    Bytes last = processingUnit(3, 1);
    last[0] = 200;
    EXPECT_EQ(idsOf(read(device(joined({processingUnit(2, 1), last})))), (std::vector<uint8_t>{2}));
}

TEST(Descriptors, bitmaps_longer_than_their_descriptor_end_with_it) {
    Bytes unit = processingUnit(2, 0xFFFF);
    unit[7] = 255;
    const VideoControl control = read(device(unit));
    ASSERT_NE(control.find(2), nullptr);
    // The byte of the name stands behind the bitmap, and nothing else does.
    EXPECT_EQ(control.find(2)->controls, std::bitset<256>(0xFFFF));

    Bytes extension = extensionUnit(9, 0xFF);
    extension[21] = 255;
    ASSERT_NE(read(device(extension)).find(9), nullptr);
    EXPECT_TRUE(read(device(extension)).find(9)->controls.none());
}

TEST(Descriptors, units_that_are_too_short_are_left_out) {
    for (const uint8_t subtype : {uint8_t{2}, uint8_t{5}, uint8_t{6}}) {
        EXPECT_TRUE(read(device({4, 0x24, subtype, 2})).entities.empty()) << int{subtype};
        EXPECT_TRUE(read(device({3, 0x24, subtype})).entities.empty()) << int{subtype};
        EXPECT_TRUE(read(device({2, 0x24})).entities.empty());
    }
}

TEST(Descriptors, a_configuration_that_overlaps_the_next_is_cut_at_its_own_length) {
    Bytes first = configuration(1, joined({interfaceDescriptor(0, 0, 14, 1), processingUnit(2, 1)}));
    first[2] = 18;  // ends before the unit
    EXPECT_TRUE(read(joined({deviceDescriptor(), first})).entities.empty());
    first[2] = 0xFF;  // and beyond the end
    first[3] = 0xFF;
    EXPECT_EQ(read(joined({deviceDescriptor(), first})).entities.size(), 1U);
    first[2] = 0;
    first[3] = 0;
    EXPECT_TRUE(read(joined({deviceDescriptor(), first}), 2).entities.empty());
}

TEST(Descriptors, thousands_of_units_are_no_more_than_there_are_ids) {
    Bytes units;
    for (int i = 0; i < 6000; ++i) {
        const Bytes unit = processingUnit(static_cast<uint8_t>(i), 1, 0);
        units.insert(units.end(), unit.begin(), unit.end());
    }
    const Bytes all = device(units);
    EXPECT_EQ(read(all).entities.size(), 255U);
}

TEST(Descriptors, noise_is_harmless) {
    uint32_t state = 1;
    for (int round = 0; round < 2000; ++round) {
        Bytes bytes = webcamDescriptors();
        for (int change = 0; change < 4; ++change) {
            state = state * 1664525U + 1013904223U;
            bytes[state % bytes.size()] = static_cast<uint8_t>(state >> 24);
        }
        EXPECT_LE(read(bytes).entities.size(), 255U);
    }
}

}  // namespace test
