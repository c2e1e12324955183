/* Atoms.h: atom containers: trees of typed, numbered pieces of data, as bytes and as records.
 *
 * Thread: any; a container belongs to its caller.
 * Owns:   a container owns its whole tree.
 * Units:  sizes in bytes; all numbers in the bytes are big-endian, whatever the machine's order.
 * Errors: parsing answers false and leaves the container as it was. What was parsed and not changed is
 *         serialised to the same bytes, reserved fields and unknown atoms included.
 * Follows: QuickTime File Format: QT Atoms and Atom Containers.
 */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace atoms {

using Bytes = std::vector<uint8_t>;

/** A type as text shows it: "sptl". */
constexpr uint32_t typeOf(const char (&text)[5]) {
    uint32_t type = 0;
    for (int i = 0; i < 4; ++i)
        type = (type << 8) | static_cast<uint8_t>(text[i]);
    return type;
}

/** It has children or data, never both. One with neither is an empty leaf. */
struct Atom {
    uint32_t type = 0;
    uint32_t id = 1;
    uint16_t reserved = 0;       // before the count of children
    uint32_t reservedAtEnd = 0;  // behind it
    std::vector<Atom> children{};
    Bytes data{};

    bool operator==(const Atom&) const = default;
};

constexpr uint32_t kRootType = typeOf("sean");
constexpr size_t kContainerHeaderSize = 12;
constexpr size_t kAtomHeaderSize = 20;
constexpr size_t kMostChildren = 0xFFFF;
/// The root is at depth 1. Exporters nest three or four deep; what goes on for longer wants our stack.
constexpr size_t kDeepest = 32;
/// Settings are a few kilobytes; whatever is larger is something else.
constexpr size_t kLongestContainer = size_t{16} << 20;

struct Container {
    std::array<uint8_t, kContainerHeaderSize> header{};  // zero, when it comes from us
    Atom root{.type = kRootType};

    bool operator==(const Container&) const = default;
};

/** Reads a whole container. False unless every size adds up to the last byte. */
[[nodiscard]] bool parse(std::span<const uint8_t> bytes, Container& out);

/** Nothing if the tree is one that parse() would refuse: too deep, too wide or too long. */
[[nodiscard]] std::optional<Bytes> serialise(const Container& container);

/** The first child of that type, or null. */
const Atom* find(const Atom& parent, uint32_t type);
/** The first child of that type; made if there is none. A leaf's data give way to the child. */
Atom& findOrAdd(Atom& parent, uint32_t type);

/* ---- Numbers in data ------------------------------------------------------------------------------- */

/** The big-endian number of `size` bytes (at most 4) at `offset`; nothing if the data are too short. */
std::optional<uint32_t> readNumber(std::span<const uint8_t> data, size_t offset, size_t size);
/** Writes it there. Data that are too short grow by zeros; what lies behind stays. */
void writeNumber(Bytes& data, size_t offset, size_t size, uint32_t value);

}  // namespace atoms
