#include "frameworks/QuickTime/atoms/Atoms.h"

#include <gtest/gtest.h>

namespace atoms {
namespace {

void append(Bytes& out, uint32_t value, size_t size = 4) {
    writeNumber(out, out.size(), size, value);
}

/** An atom as the format writes it, with any size that the test likes. */
Bytes atomBytes(const char (&type)[5], uint32_t id, uint32_t childCount, const Bytes& content,
                std::optional<uint32_t> size = std::nullopt) {
    Bytes out;
    append(out, size.value_or(static_cast<uint32_t>(kAtomHeaderSize + content.size())));
    append(out, typeOf(type));
    append(out, id);
    append(out, 0, 2);
    append(out, childCount, 2);
    append(out, 0);
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes containerBytes(const Bytes& root) {
    Bytes out(kContainerHeaderSize);
    out.insert(out.end(), root.begin(), root.end());
    return out;
}

Bytes joined(const Bytes& first, const Bytes& second) {
    Bytes out = first;
    out.insert(out.end(), second.begin(), second.end());
    return out;
}

bool isRead(const Bytes& bytes) {
    Container container;
    return parse(bytes, container);
}

/** A container whose root is the first of so many atoms, each the only child of the one above. */
Bytes nested(size_t depth) {
    Bytes inner = atomBytes(depth == 1 ? "sean" : "leaf", 1, 0, {});
    for (size_t level = depth - 1; level >= 1; --level)
        inner = level == 1 ? atomBytes("sean", 1, 1, inner) : atomBytes("deep", 1, 1, inner);
    return containerBytes(inner);
}

TEST(Atoms, are_read_as_a_tree) {
    const Bytes bytes = containerBytes(atomBytes(
        "sean", 1, 2,
        joined(atomBytes("vide", 1, 1, atomBytes("sptl", 7, 0, {1, 2, 3})), atomBytes("envi", 1, 0, {1}))));
    Container container;
    ASSERT_TRUE(parse(bytes, container));
    ASSERT_EQ(2u, container.root.children.size());
    const Atom* video = find(container.root, typeOf("vide"));
    ASSERT_NE(nullptr, video);
    ASSERT_EQ(1u, video->children.size());
    EXPECT_EQ(7u, video->children[0].id);
    EXPECT_EQ((Bytes{1, 2, 3}), video->children[0].data);
    EXPECT_EQ(nullptr, find(container.root, typeOf("sptl")));
}

TEST(Atoms, are_written_with_big_endian_sizes_and_types) {
    Container container;
    findOrAdd(container.root, typeOf("envi")).data = {1};
    const Bytes expected = {0, 0, 0, 0,  0,   0,   0,   0,   0, 0, 0, 0,                          // header
                            0, 0, 0, 41, 's', 'e', 'a', 'n', 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0,  // root
                            0, 0, 0, 21, 'e', 'n', 'v', 'i', 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(expected, serialise(container));
}

TEST(Atoms, nobody_knows_are_kept_byte_by_byte) {
    Bytes odd = atomBytes("\xA9odd", 0xFFFFFFFF, 0, {9, 8, 7});
    odd[12] = 0x12;  // reserved fields that somebody uses after all
    odd[19] = 0x34;
    Bytes bytes = containerBytes(atomBytes(
        "sean", 3, 3, joined(joined(odd, atomBytes("same", 1, 0, {})), atomBytes("same", 1, 0, {5}))));
    bytes[11] = 1;
    Container container;
    ASSERT_TRUE(parse(bytes, container));
    EXPECT_EQ(bytes, serialise(container));
}

TEST(Atoms, that_are_truncated_anywhere_are_refused) {
    const Bytes bytes =
        containerBytes(atomBytes("sean", 1, 1, atomBytes("vide", 1, 1, atomBytes("sptl", 1, 0, {1, 2, 3}))));
    ASSERT_TRUE(isRead(bytes));
    for (size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(isRead(Bytes(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size)))) << size;
}

TEST(Atoms, with_bytes_behind_the_root_are_refused) {
    EXPECT_FALSE(isRead(joined(nested(1), {0})));
    EXPECT_FALSE(isRead(joined(nested(1), atomBytes("free", 1, 0, {}))));
}

TEST(Atoms, whose_size_cannot_be_are_refused) {
    for (const uint32_t size : {0u, 1u, 19u, 22u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_FALSE(isRead(containerBytes(atomBytes("sean", 1, 0, {1}, size)))) << size;
}

TEST(Atoms, whose_children_do_not_fill_them_are_refused) {
    const Bytes child = atomBytes("envi", 1, 0, {1});
    EXPECT_FALSE(isRead(containerBytes(atomBytes("sean", 1, 2, child)))) << "one is missing";
    EXPECT_FALSE(isRead(containerBytes(atomBytes("sean", 1, 1, joined(child, child))))) << "one too many";
    EXPECT_FALSE(isRead(containerBytes(atomBytes("sean", 1, 1, joined(child, {0, 0})))));
    EXPECT_FALSE(isRead(containerBytes(atomBytes("sean", 1, 0xFFFF, child))));
}

TEST(Atoms, that_reach_beyond_their_parent_are_refused) {
    const Bytes tooLong = atomBytes("envi", 1, 0, {1}, 25);
    const Bytes root =
        atomBytes("sean", 1, 2, joined(atomBytes("vide", 1, 1, tooLong), atomBytes("free", 1, 0, {})));
    EXPECT_FALSE(isRead(containerBytes(root)));
}

TEST(Atoms, are_read_only_so_deep) {
    EXPECT_TRUE(isRead(nested(kDeepest)));
    EXPECT_FALSE(isRead(nested(kDeepest + 1)));
    EXPECT_FALSE(isRead(nested(10'000)));
}

TEST(Atoms, that_are_too_deep_are_not_written) {
    Container container;
    Atom* atom = &container.root;
    for (size_t depth = 1; depth < kDeepest; ++depth)
        atom = &findOrAdd(*atom, typeOf("deep"));
    EXPECT_TRUE(serialise(container));
    findOrAdd(*atom, typeOf("deep"));
    EXPECT_FALSE(serialise(container));
}

TEST(Atoms, that_are_too_many_or_too_long_are_not_written) {
    Container wide;
    wide.root.children.assign(kMostChildren, Atom{.type = typeOf("free")});
    EXPECT_TRUE(serialise(wide));
    wide.root.children.emplace_back();
    EXPECT_FALSE(serialise(wide));

    Container large;
    large.root.data.resize(kLongestContainer - kContainerHeaderSize - kAtomHeaderSize);
    const auto bytes = serialise(large);
    ASSERT_TRUE(bytes);
    EXPECT_TRUE(isRead(*bytes));
    large.root.data.push_back(0);
    EXPECT_FALSE(serialise(large));
    EXPECT_FALSE(isRead(joined(*bytes, {0})));
}

TEST(Atoms, of_another_root_are_no_container) {
    EXPECT_FALSE(isRead(containerBytes(atomBytes("moov", 1, 0, {}))));
    EXPECT_FALSE(isRead({}));
    EXPECT_FALSE(isRead(Bytes(kContainerHeaderSize)));
}

TEST(Atoms, that_are_refused_leave_the_container_alone) {
    Container container;
    findOrAdd(container.root, typeOf("envi")).data = {1};
    const Container before = container;
    EXPECT_FALSE(parse(containerBytes(atomBytes("sean", 1, 1, atomBytes("vide", 1, 1, {}))), container));
    EXPECT_EQ(before, container);
}

TEST(AtomNumbers, are_big_endian_and_stay_within_the_data) {
    Bytes data = {0x12, 0x34, 0x56};
    EXPECT_EQ(0x1234u, readNumber(data, 0, 2));
    EXPECT_EQ(0x56u, readNumber(data, 2, 1));
    EXPECT_EQ(std::nullopt, readNumber(data, 2, 2));
    EXPECT_EQ(std::nullopt, readNumber(data, 4, 0));
    EXPECT_EQ(std::nullopt, readNumber(data, SIZE_MAX, 2));
    writeNumber(data, 1, 4, 0xA1B2C3D4);
    EXPECT_EQ((Bytes{0x12, 0xA1, 0xB2, 0xC3, 0xD4}), data);
    writeNumber(data, 0, 1, 7);
    EXPECT_EQ((Bytes{7, 0xA1, 0xB2, 0xC3, 0xD4}), data) << "what lies behind stays";
}

}  // namespace
}  // namespace atoms
