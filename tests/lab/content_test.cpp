// What files on a camera hold: files, made-up bytes, pictures that are JPEGs to the letter.
#include "lab/Content.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "lab/Jpeg.h"
#include "tests/lab/support.h"

namespace test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes contentOf(const lab::ContentRef& content) {
    const auto reader = content->open();
    if (!reader) return {};
    Bytes bytes(reader->size());
    EXPECT_TRUE(reader->read(0, bytes.data(), bytes.size()));
    EXPECT_EQ(bytes.size(), content->size());
    return bytes;
}

struct JpegParts {
    bool isWhole = false;
    unsigned width = 0;
    unsigned height = 0;
    size_t scanBytes = 0;
};

/** Walks the segments from the start marker to the end marker. */
JpegParts walk(const Bytes& bytes) {
    JpegParts parts;
    if (bytes.size() < 4 || bytes[0] != 0xFF || bytes[1] != 0xD8) return parts;
    size_t at = 2;
    while (at + 4 <= bytes.size() && bytes[at] == 0xFF) {
        while (at + 4 <= bytes.size() && bytes[at + 1] == 0xFF) {
            ++at;  // fill bytes before a marker
        }
        const uint8_t marker = bytes[at + 1];
        const size_t length = static_cast<size_t>(bytes[at + 2] * 256 + bytes[at + 3]);
        if (marker == 0xC0) {
            parts.height = static_cast<unsigned>(bytes[at + 5] * 256 + bytes[at + 6]);
            parts.width = static_cast<unsigned>(bytes[at + 7] * 256 + bytes[at + 8]);
        }
        at += 2 + length;
        if (marker != 0xDA) continue;
        const size_t scan = at;
        while (at + 1 < bytes.size() && (bytes[at] != 0xFF || bytes[at + 1] == 0)) {
            ++at;
        }
        parts.scanBytes = at - scan;
        parts.isWhole = at + 2 == bytes.size() && bytes[at + 1] == 0xD9;
        return parts;
    }
    return parts;
}

TEST(Ramps, are_whole_jpegs_of_the_wanted_sides) {
    for (const auto& [width, height] : {std::pair{1U, 1U}, {8U, 8U}, {17U, 9U}, {702U, 468U}, {960U, 640U}}) {
        const JpegParts parts = walk(lab::rampJpeg(width, height, 0));
        EXPECT_TRUE(parts.isWhole) << width;
        EXPECT_EQ(parts.width, width);
        EXPECT_EQ(parts.height, height);
        // One block needs at least a code for its step and one for its end.
        EXPECT_GE(parts.scanBytes * 8, 3 * ((width + 7) / 8) * ((height + 7) / 8));
    }
}

TEST(Ramps, move_from_frame_to_frame) {
    EXPECT_NE(lab::rampJpeg(960, 640, 0), lab::rampJpeg(960, 640, 1));
    EXPECT_EQ(lab::rampJpeg(960, 640, 1), lab::rampJpeg(960, 640, 1));
}

TEST(JpegsOfASize, have_it_to_the_byte_and_are_whole) {
    const size_t smallest = lab::rampJpeg(8, 8, 3).size();
    std::vector<size_t> sizes = {5000, 60000, 65535, 65536, 70000, 80000, 200000, 1000000};
    for (size_t more = 0; more < 12; ++more) {
        sizes.push_back(smallest + more);
    }
    for (const size_t size : sizes) {
        const Bytes bytes = lab::jpegOfSize(size, 3, 42);
        EXPECT_EQ(bytes.size(), size);
        EXPECT_TRUE(walk(bytes).isWhole) << size;
    }
}

TEST(JpegsOfASize, that_no_picture_fits_into_are_noise_of_that_size) {
    for (const size_t size : {0U, 1U, 100U}) {
        EXPECT_EQ(lab::jpegOfSize(size, 0, 1).size(), size);
    }
}

TEST(JpegsOfASize, that_no_picture_fits_into_are_marked_as_one) {
    for (const size_t size : {4U, 100U, 200U}) {
        const Bytes bytes = lab::jpegOfSize(size, 0, 1);
        EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 2), (Bytes{0xFF, 0xD8}));
        EXPECT_EQ(Bytes(bytes.end() - 2, bytes.end()), (Bytes{0xFF, 0xD9}));
    }
}

TEST(MadeUpContent, is_the_same_for_the_same_seed_only) {
    for (const bool isJpeg : {false, true}) {
        EXPECT_EQ(contentOf(lab::madeUpContent(5000, 7, isJpeg)),
                  contentOf(lab::madeUpContent(5000, 7, isJpeg)));
        EXPECT_NE(contentOf(lab::madeUpContent(5000, 7, isJpeg)),
                  contentOf(lab::madeUpContent(5000, 8, isJpeg)));
    }
}

TEST(MadeUpContent, reads_the_same_in_pieces) {
    const lab::ContentRef content = lab::madeUpContent(1000, 7, false);
    const Bytes whole = contentOf(content);
    const auto reader = content->open();
    for (size_t offset = 0; offset < 1000; offset += 13) {
        Bytes piece(std::min<size_t>(13, 1000 - offset));
        ASSERT_TRUE(reader->read(offset, piece.data(), piece.size()));
        EXPECT_TRUE(std::equal(piece.begin(), piece.end(), whole.begin() + static_cast<ptrdiff_t>(offset)));
    }
    Bytes beyond(2);
    EXPECT_FALSE(reader->read(999, beyond.data(), 2));
}

TEST(FileContent, is_what_the_file_holds) {
    const Folder folder;
    const lab::ContentRef content = lab::fileContent(folder.write("a", "hello"));
    EXPECT_EQ(contentOf(content), (Bytes{'h', 'e', 'l', 'l', 'o'}));
    const auto reader = content->open();
    ASSERT_NE(reader->mapping(0, 5), nullptr);
    EXPECT_EQ(*reader->mapping(4, 1), 'o');
    EXPECT_EQ(reader->mapping(4, 2), nullptr);
    EXPECT_EQ(reader->mapping(6, 0), nullptr);
}

TEST(FileContent, lies_in_memory_from_any_byte_on) {
    const Folder folder;
    std::string text(20000, ' ');
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>('a' + i % 23);
    const auto reader = lab::fileContent(folder.write("a", text))->open();
    for (const size_t offset : {0, 1, 4095, 4096, 5000, 19999}) {
        const uint8_t* bytes = reader->mapping(offset, text.size() - offset);
        ASSERT_NE(bytes, nullptr);
        EXPECT_EQ(std::memcmp(bytes, text.data() + offset, text.size() - offset), 0) << offset;
    }
}

TEST(FileContent, that_shrinks_or_goes_away_is_an_error_and_no_crash) {
    const Folder folder;
    const std::string path = folder.write("a", std::string(100000, 'x'));
    const lab::ContentRef content = lab::fileContent(path);
    const auto reader = content->open();
    ASSERT_NE(reader->mapping(0, 100000), nullptr);
    ASSERT_EQ(truncate(path.c_str(), 10), 0);
    EXPECT_NE(reader->mapping(50000, 50000), nullptr);  // whoever writes from there is told
    Bytes bytes(100000);
    EXPECT_FALSE(reader->read(0, bytes.data(), bytes.size()));
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_EQ(content->open(), nullptr);
    EXPECT_EQ(content->size(), 0u);
    EXPECT_EQ(lab::fileContent(folder.path())->open(), nullptr);
}

}  // namespace
}  // namespace test
