#include "host/tarvo/SettingsTree.h"

#include <gtest/gtest.h>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "host/tarvo/PictureSequence.h"
#include "tests/e2e/support/temp_folder.h"

namespace tarvo {
namespace {

using e2e::TempFolder;
using e2e::writeFile;

TEST(SettingsTree, tells_what_every_known_atom_says) {
    atoms::Container container;
    atoms::writeChoice({.videoCodec = atoms::kPhotoJpeg,
                        .quality = 700,
                        .dataRate = 250'000,
                        .frameRate = 29.97,
                        .keyFrameInterval = 12,
                        .width = 640,
                        .height = 480,
                        .hasSound = false,
                        .channels = 2},
                       container);
    const std::vector<std::string> expected = {
        "sean",
        "  envi  picture: on",
        "  enso  sound: off",
        "  vide",
        "    sptl  spatial settings: codec 'jpeg'; component: any; depth 24; quality 700 of 1024",
        "    tprl  temporal settings: quality 700 of 1024; frames a second: 29.97; frames from one key frame "
        "to "
        "the next: 12",
        "    drat  data rate: 250000 bytes a second",
        "    wdth  width: 640 pixels",
        "    hegt  height: 480 pixels",
        "  soun",
        "    ssct  sound codec: 'mp4a'",
        "    ssrt  sample rate: as in the movie",
        "    ssss  sample size: 16 bits",
        "    sscc  channels: 2",
        "    sbps  sound data rate: the codec decides",
        "  save",
        "    fast  prepare for streaming: on"};
    EXPECT_EQ(expected, treeOf(container));
}

TEST(SettingsTree, shows_the_bytes_of_atoms_that_nobody_knows) {
    atoms::Container container;
    atoms::findOrAdd(container.root, atoms::typeOf("\xA9odd")).data = {1, 0xAB};
    atoms::findOrAdd(container.root, atoms::typeOf("long")).data = atoms::Bytes(25, 7);
    atoms::findOrAdd(container.root, atoms::typeOf("long")).id = 9;
    atoms::findOrAdd(container.root, atoms::typeOf("sptl")).data = {1};  // too short to be one
    const std::vector<std::string> tree = treeOf(container);
    ASSERT_EQ(4u, tree.size());
    EXPECT_EQ("  \\xA9odd  2 bytes: 01 ab", tree[1]);
    EXPECT_TRUE(tree[2].starts_with("  long id 9  25 bytes: 07 07 ")) << tree[2];
    EXPECT_TRUE(tree[2].ends_with(" 07 ...")) << tree[2];
    EXPECT_EQ("  sptl  1 bytes: 01", tree[3]);
}

TEST(SettingsTree, is_read_from_files_that_are_one) {
    const TempFolder folder;
    atoms::Container container;
    atoms::writeChoice({}, container);
    atoms::Bytes bytes = *atoms::serialise(container);
    writeFile(folder.file("good"), bytes);
    bytes.pop_back();
    writeFile(folder.file("short"), bytes);
    const auto good = readSettingsFile(folder.file("good"));
    EXPECT_TRUE(good.ok());
    EXPECT_EQ(container, good.value);
    EXPECT_EQ(Failure::badArgument, readSettingsFile(folder.file("short")).error.failure);
    EXPECT_EQ(Failure::files, readSettingsFile(folder.file("none")).error.failure);
}

class PictureSequences : public testing::Test {
protected:
    void SetUp() override {
        for (const char* const name :
             {"frame_0001.jpg", "frame_0002.jpg", "frame_0010.jpg", "frame_0011.JPG", "frame_x.jpg",
              "frame_.jpg", "other_0001.jpg", "frame_0003.png", "lone.png"})
            writeFile(folder_.file(name), {1});
    }
    std::vector<std::string> namesOf(const PictureSequence& sequence) const {
        std::vector<std::string> names;
        for (const std::string& file : sequence.files)
            names.push_back(std::filesystem::path(file).filename().string());
        return names;
    }

    TempFolder folder_;
};

TEST_F(PictureSequences, go_on_from_the_picture_that_is_named) {
    const auto all = findPictures(folder_.file("frame_0001.jpg"));
    ASSERT_TRUE(all.ok());
    EXPECT_EQ((std::vector<std::string>{"frame_0001.jpg", "frame_0002.jpg", "frame_0010.jpg"}),
              namesOf(all.value));
    EXPECT_EQ(7u, all.value.gaps);
    const auto later = findPictures(folder_.file("frame_0002.jpg"));
    ASSERT_TRUE(later.ok());
    EXPECT_EQ((std::vector<std::string>{"frame_0002.jpg", "frame_0010.jpg"}), namesOf(later.value));
}

TEST_F(PictureSequences, are_all_that_fit_a_pattern) {
    for (const char* const pattern : {"frame_%04d.jpg", "frame_%d.jpg"}) {
        const auto found = findPictures(folder_.file(pattern));
        ASSERT_TRUE(found.ok()) << pattern;
        EXPECT_EQ(3u, found.value.files.size()) << pattern;
    }
}

TEST_F(PictureSequences, may_be_one_picture_without_a_number) {
    const auto found = findPictures(folder_.file("lone.png"));
    ASSERT_TRUE(found.ok());
    EXPECT_EQ((std::vector<std::string>{"lone.png"}), namesOf(found.value));
}

TEST_F(PictureSequences, that_are_not_there_are_refused) {
    for (const char* const path :
         {"frame_0005.jpg", "none.png", "none_%d.jpg", "frame_99999999999999999999.jpg"})
        EXPECT_EQ(Failure::badArgument, findPictures(folder_.file(path)).error.failure) << path;
    EXPECT_EQ(Failure::badArgument, findPictures(folder_.file("no/frame_0001.jpg")).error.failure);
}

TEST(Pictures, are_told_from_movies_by_their_names) {
    for (const char* const path : {"a.jpg", "b/a.JPEG", "a_%04d.png"})
        EXPECT_TRUE(isPictures(path)) << path;
    for (const char* const path : {"a.mov", "jpg", "a.jpg.mov", ""})
        EXPECT_FALSE(isPictures(path)) << path;
}

}  // namespace
}  // namespace tarvo
