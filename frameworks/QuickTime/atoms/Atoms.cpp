#include "frameworks/QuickTime/atoms/Atoms.h"

#include <algorithm>

namespace atoms {
namespace {

constexpr size_t kSizeAt = 0;
constexpr size_t kTypeAt = 4;
constexpr size_t kIdAt = 8;
constexpr size_t kReservedAt = 12;
constexpr size_t kChildCountAt = 14;
constexpr size_t kReservedAtEndAt = 16;

uint32_t number(std::span<const uint8_t> bytes, size_t offset, size_t size) {
    return readNumber(bytes, offset, size).value_or(0);
}

bool parseAtom(std::span<const uint8_t> bytes, size_t depth, Atom& out, size_t& taken);

bool parseChildren(std::span<const uint8_t> bytes, size_t count, size_t depth, std::vector<Atom>& out) {
    // A count says nothing about how much there is, so memory is taken for what the bytes can hold at most.
    if (count > bytes.size() / kAtomHeaderSize) return false;
    out.reserve(count);
    while (out.size() < count) {
        size_t taken = 0;
        if (!parseAtom(bytes, depth, out.emplace_back(), taken)) return false;
        bytes = bytes.subspan(taken);
    }
    return bytes.empty();
}

/** One atom from the front of `bytes`, which may go on behind it. */
bool parseAtom(std::span<const uint8_t> bytes, size_t depth, Atom& out, size_t& taken) {
    if (depth > kDeepest || bytes.size() < kAtomHeaderSize) return false;
    const size_t size = number(bytes, kSizeAt, 4);
    if (size < kAtomHeaderSize || size > bytes.size()) return false;
    out.type = number(bytes, kTypeAt, 4);
    out.id = number(bytes, kIdAt, 4);
    out.reserved = static_cast<uint16_t>(number(bytes, kReservedAt, 2));
    out.reservedAtEnd = number(bytes, kReservedAtEndAt, 4);
    const size_t childCount = number(bytes, kChildCountAt, 2);
    const auto content = bytes.subspan(kAtomHeaderSize, size - kAtomHeaderSize);
    taken = size;
    if (childCount > 0) return parseChildren(content, childCount, depth + 1, out.children);
    out.data.assign(content.begin(), content.end());
    return true;
}

bool append(const Atom& atom, size_t depth, Bytes& out) {
    if (depth > kDeepest || atom.children.size() > kMostChildren) return false;
    const size_t start = out.size();
    out.resize(start + kAtomHeaderSize);
    for (const Atom& child : atom.children) {
        if (!append(child, depth + 1, out)) return false;
    }
    if (atom.children.empty()) out.insert(out.end(), atom.data.begin(), atom.data.end());
    if (out.size() > kLongestContainer) return false;
    writeNumber(out, start + kSizeAt, 4, static_cast<uint32_t>(out.size() - start));
    writeNumber(out, start + kTypeAt, 4, atom.type);
    writeNumber(out, start + kIdAt, 4, atom.id);
    writeNumber(out, start + kReservedAt, 2, atom.reserved);
    writeNumber(out, start + kChildCountAt, 2, static_cast<uint32_t>(atom.children.size()));
    writeNumber(out, start + kReservedAtEndAt, 4, atom.reservedAtEnd);
    return true;
}

}  // namespace

bool parse(std::span<const uint8_t> bytes, Container& out) {
    if (bytes.size() < kContainerHeaderSize || bytes.size() > kLongestContainer) return false;
    Container read;
    std::copy_n(bytes.begin(), kContainerHeaderSize, read.header.begin());
    const auto content = bytes.subspan(kContainerHeaderSize);
    size_t taken = 0;
    if (!parseAtom(content, 1, read.root, taken)) return false;
    if (taken != content.size() || read.root.type != kRootType) return false;
    out = std::move(read);
    return true;
}

std::optional<Bytes> serialise(const Container& container) {
    Bytes bytes(container.header.begin(), container.header.end());
    if (container.root.type != kRootType || !append(container.root, 1, bytes)) return std::nullopt;
    return bytes;
}

const Atom* find(const Atom& parent, uint32_t type) {
    const auto found = std::find_if(parent.children.begin(), parent.children.end(),
                                    [type](const Atom& child) { return child.type == type; });
    return found != parent.children.end() ? &*found : nullptr;
}

Atom& findOrAdd(Atom& parent, uint32_t type) {
    const auto found = std::find_if(parent.children.begin(), parent.children.end(),
                                    [type](const Atom& child) { return child.type == type; });
    if (found != parent.children.end()) return *found;
    parent.data.clear();
    return parent.children.emplace_back(Atom{.type = type});
}

std::optional<uint32_t> readNumber(std::span<const uint8_t> data, size_t offset, size_t size) {
    if (size > 4 || offset > data.size() || data.size() - offset < size) return std::nullopt;
    uint32_t value = 0;
    for (const uint8_t byte : data.subspan(offset, size))
        value = (value << 8) | byte;
    return value;
}

void writeNumber(Bytes& data, size_t offset, size_t size, uint32_t value) {
    if (data.size() < offset + size) data.resize(offset + size);
    for (size_t i = 0; i < size; ++i)
        data[offset + i] = static_cast<uint8_t>(value >> (8 * (size - 1 - i)));
}

}  // namespace atoms
