#include "frameworks/QuickTime/atoms/ExportChoice.h"

#include <gtest/gtest.h>

#include <limits>

namespace atoms {
namespace {

ExportChoice unusualChoice() {
    return {.hasVideo = false,
            .videoCodec = kPhotoJpeg,
            .quality = 700,
            .dataRate = 1'500'000,
            .frameRate = 29.5,
            .keyFrameInterval = 48,
            .width = 1920,
            .height = 1080,
            .hasSound = false,
            .soundCodec = kPcmLittleEndian,
            .sampleRate = 44100,
            .channels = 2,
            .soundDataRate = 192'000,
            .preparesForStreaming = false};
}

Container containerOf(const ExportChoice& choice) {
    Container container;
    writeChoice(choice, container);
    return container;
}

ExportChoice choiceIn(const Container& container) {
    ExportChoice choice;
    readChoice(container, choice);
    return choice;
}

Atom& leaf(Container& container, uint32_t parent, uint32_t type) {
    return findOrAdd(findOrAdd(container.root, parent), type);
}

TEST(ExportChoice, comes_back_as_it_was_written) {
    EXPECT_EQ(unusualChoice(), choiceIn(containerOf(unusualChoice())));
    EXPECT_EQ(ExportChoice{}, choiceIn(containerOf(ExportChoice{})));
    const auto bytes = serialise(containerOf(unusualChoice()));
    ASSERT_TRUE(bytes);
    Container read;
    ASSERT_TRUE(parse(*bytes, read));
    EXPECT_EQ(unusualChoice(), choiceIn(read));
}

TEST(ExportChoice, lies_in_the_records_that_the_settings_page_lists) {
    Container container = containerOf(unusualChoice());
    EXPECT_EQ((Bytes{'j', 'p', 'e', 'g', 0, 0, 0, 0, 0, 24, 0, 0, 2, 188}),
              leaf(container, typeOf("vide"), typeOf("sptl")).data);
    EXPECT_EQ((Bytes{0, 0, 2, 188, 0, 29, 0x80, 0, 0, 0, 0, 48}),
              leaf(container, typeOf("vide"), typeOf("tprl")).data);
    EXPECT_EQ((Bytes{0, 0x16, 0xE3, 0x60, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
              leaf(container, typeOf("vide"), typeOf("drat")).data);
    EXPECT_EQ((Bytes{7, 128, 0, 0}), leaf(container, typeOf("vide"), typeOf("wdth")).data);
    EXPECT_EQ((Bytes{4, 56, 0, 0}), leaf(container, typeOf("vide"), typeOf("hegt")).data);
    EXPECT_EQ((Bytes{'s', 'o', 'w', 't'}), leaf(container, typeOf("soun"), typeOf("ssct")).data);
    EXPECT_EQ((Bytes{0xAC, 0x44, 0, 0}), leaf(container, typeOf("soun"), typeOf("ssrt")).data);
    EXPECT_EQ((Bytes{0, 16}), leaf(container, typeOf("soun"), typeOf("ssss")).data);
    EXPECT_EQ((Bytes{0, 2}), leaf(container, typeOf("soun"), typeOf("sscc")).data);
    EXPECT_EQ((Bytes{0, 2, 0xEE, 0}), leaf(container, typeOf("soun"), typeOf("sbps")).data);
    EXPECT_EQ((Bytes{0}), findOrAdd(container.root, typeOf("envi")).data);
    EXPECT_EQ((Bytes{0}), findOrAdd(container.root, typeOf("enso")).data);
    EXPECT_EQ((Bytes{0}), leaf(container, typeOf("save"), typeOf("fast")).data);
}

TEST(ExportChoice, leaves_what_it_does_not_know) {
    Container container = containerOf(ExportChoice{});
    findOrAdd(container.root, typeOf("text")).data = {1, 2, 3};
    leaf(container, typeOf("vide"), typeOf("clut")).data = {4, 5};
    Bytes& spatial = leaf(container, typeOf("vide"), typeOf("sptl")).data;
    writeNumber(spatial, 4, 4, typeOf("comp"));
    writeNumber(spatial, 8, 2, 40);
    spatial.push_back(0x77);
    Container changed = container;
    writeChoice(unusualChoice(), changed);
    EXPECT_EQ(unusualChoice(), choiceIn(changed));
    EXPECT_EQ((Bytes{1, 2, 3}), find(changed.root, typeOf("text"))->data);
    EXPECT_EQ((Bytes{4, 5}), leaf(changed, typeOf("vide"), typeOf("clut")).data);
    const Bytes& changedSpatial = leaf(changed, typeOf("vide"), typeOf("sptl")).data;
    EXPECT_EQ(typeOf("comp"), readNumber(changedSpatial, 4, 4));
    EXPECT_EQ(40u, readNumber(changedSpatial, 8, 2));
    EXPECT_EQ(0x77u, changedSpatial.back());
    writeChoice(ExportChoice{}, changed);
    EXPECT_EQ(container, changed) << "chosen back, it's what it was";
}

TEST(ExportChoice, of_an_empty_container_is_the_usual_one) {
    EXPECT_EQ(ExportChoice{}, choiceIn(Container{}));
}

TEST(ExportChoice, takes_nothing_from_atoms_that_are_too_short) {
    Container container;
    leaf(container, typeOf("vide"), typeOf("sptl")).data = {'j', 'p', 'e'};
    leaf(container, typeOf("vide"), typeOf("tprl")).data = {0, 0, 1, 0, 0, 25};
    leaf(container, typeOf("soun"), typeOf("sscc")).data = {2};
    findOrAdd(container.root, typeOf("envi"));
    EXPECT_EQ(ExportChoice{}, choiceIn(container));
}

TEST(ExportChoice, takes_nothing_that_cannot_be) {
    Container container = containerOf(ExportChoice{});
    for (const char* const name : {"sptl", "tprl", "drat", "wdth", "hegt"}) {
        const uint32_t type = static_cast<uint32_t>(name[0] << 24 | name[1] << 16 | name[2] << 8 | name[3]);
        leaf(container, typeOf("vide"), type).data.assign(16, 0xFF);
    }
    writeNumber(leaf(container, typeOf("vide"), typeOf("sptl")).data, 0, 4, 0);
    leaf(container, typeOf("soun"), typeOf("sscc")).data.assign(2, 0xFF);
    leaf(container, typeOf("soun"), typeOf("sbps")).data.assign(4, 0xFF);
    leaf(container, typeOf("soun"), typeOf("ssrt")).data.assign(4, 0xFF);
    EXPECT_EQ(ExportChoice{}, choiceIn(container));
}

TEST(ExportChoice, has_both_sides_of_the_picture_or_none) {
    Container container = containerOf(ExportChoice{});
    writeNumber(leaf(container, typeOf("vide"), typeOf("wdth")).data, 0, 4, 640u << 16);
    EXPECT_EQ(0u, choiceIn(container).width);
    writeNumber(leaf(container, typeOf("vide"), typeOf("hegt")).data, 0, 4, 480u << 16);
    EXPECT_EQ(640u, choiceIn(container).width);
    EXPECT_EQ(480u, choiceIn(container).height);
}

TEST(ExportChoice, writes_rates_that_are_no_number_as_the_movies_own) {
    ExportChoice choice;
    choice.frameRate = std::numeric_limits<double>::quiet_NaN();
    choice.sampleRate = -44100;
    EXPECT_EQ(0, choiceIn(containerOf(choice)).frameRate);
    EXPECT_EQ(0, choiceIn(containerOf(choice)).sampleRate);
}

TEST(AtomTypes, are_shown_as_text) {
    EXPECT_EQ("png ", typeText(kPng));
    EXPECT_EQ("\\xA9nam", typeText(0xA96E616D));
    EXPECT_EQ("\\x00\\x00\\x00\\x01", typeText(1));
}

}  // namespace
}  // namespace atoms
