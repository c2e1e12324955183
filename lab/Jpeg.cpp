#include "lab/Jpeg.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <string_view>

namespace lab {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr unsigned kBlock = 8;
/** With this step the one coefficient of a flat block is its grey minus 128. */
constexpr uint8_t kQuantStep = 8;
/** How many codes of each length the table for brightness steps has (the standard's example table). */
constexpr std::array<uint8_t, 16> kStepCodeCounts = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
constexpr std::array<uint8_t, 12> kStepSymbols = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

struct Code {
    unsigned bits = 0;
    unsigned length = 0;
};

constexpr std::array<Code, 12> makeStepCodes() {
    std::array<Code, 12> codes{};
    unsigned next = 0;
    size_t symbol = 0;
    for (unsigned length = 1; length <= 16; ++length) {
        for (unsigned i = 0; i < kStepCodeCounts[length - 1]; ++i) {
            codes[kStepSymbols[symbol++]] = {next++, length};
        }
        next <<= 1U;
    }
    return codes;
}

constexpr std::array<Code, 12> kStepCodes = makeStepCodes();
/** The only code of the other table: nothing but zeros follows in this block. */
constexpr Code kEndOfBlock = {0, 1};

void append16(Bytes& out, size_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8U));
    out.push_back(static_cast<uint8_t>(value));
}

void appendSegment(Bytes& out, uint8_t marker, const Bytes& payload) {
    out.push_back(0xFF);
    out.push_back(marker);
    append16(out, payload.size() + 2);
    out.insert(out.end(), payload.begin(), payload.end());
}

void appendTables(Bytes& out, unsigned width, unsigned height) {
    Bytes quantisation(65, kQuantStep);
    quantisation[0] = 0;
    appendSegment(out, 0xDB, quantisation);

    Bytes frame = {8};
    append16(frame, height);
    append16(frame, width);
    frame.insert(frame.end(), {1, 1, 0x11, 0});
    appendSegment(out, 0xC0, frame);

    Bytes steps = {0x00};
    steps.insert(steps.end(), kStepCodeCounts.begin(), kStepCodeCounts.end());
    steps.insert(steps.end(), kStepSymbols.begin(), kStepSymbols.end());
    appendSegment(out, 0xC4, steps);

    Bytes rest = {0x10, 1};
    rest.resize(17, 0);
    rest.push_back(0);
    appendSegment(out, 0xC4, rest);

    appendSegment(out, 0xDA, {1, 1, 0x00, 0, 63, 0});
}

/** Writes codes bit by bit; a byte 0xFF of data is followed by a zero so that it is no marker. */
class BitWriter {
public:
    explicit BitWriter(Bytes& out) : out_(out) {}

    void put(Code code) {
        held_ = (held_ << code.length) | code.bits;
        count_ += code.length;
        while (count_ >= 8) {
            count_ -= 8;
            const auto byte = static_cast<uint8_t>(held_ >> count_);
            out_.push_back(byte);
            if (byte == 0xFF) out_.push_back(0);
        }
    }
    void flush() {
        if (count_ > 0) put({(1U << (8 - count_)) - 1, 8 - count_});
    }

private:
    Bytes& out_;
    uint64_t held_ = 0;
    unsigned count_ = 0;
};

void putStep(BitWriter& bits, int step) {
    const unsigned magnitude = static_cast<unsigned>(std::abs(step));
    const auto category = static_cast<unsigned>(std::bit_width(magnitude));
    bits.put(kStepCodes[category]);
    if (category > 0) bits.put({step > 0 ? magnitude : ~magnitude & ((1U << category) - 1), category});
    bits.put(kEndOfBlock);
}

void appendBlocks(Bytes& out, unsigned width, unsigned height, unsigned phase) {
    const unsigned columns = (width + kBlock - 1) / kBlock;
    const unsigned rows = (height + kBlock - 1) / kBlock;
    BitWriter bits(out);
    int previous = 0;
    for (unsigned row = 0; row < rows; ++row) {
        for (unsigned column = 0; column < columns; ++column) {
            const int grey = static_cast<int>((column * 2 + row * 3 + phase * 8) % 256) - 128;
            putStep(bits, grey - previous);
            previous = grey;
        }
    }
    bits.flush();
}

/** Comments of `size` bytes in all; what is too little for one becomes fill bytes before the next marker. */
void appendComments(Bytes& out, size_t size, uint64_t seed) {
    constexpr size_t kOverhead = 4;
    constexpr size_t kMostInOne = 65533;
    const size_t start = out.size();
    while (size >= kOverhead) {
        const size_t payload = std::min(size - kOverhead, kMostInOne);
        out.insert(out.end(), {0xFF, 0xFE});
        append16(out, payload + 2);
        out.resize(out.size() + payload);
        fillNoise(seed, out.size() - start, out.data() + out.size() - payload, payload);
        size -= kOverhead + payload;
    }
    out.insert(out.end(), size, 0xFF);
}

constexpr std::string_view kJfif("JFIF\0\1\1\0\0\1\0\1\0\0", 14);

Bytes jpegWithComments(unsigned width, unsigned height, unsigned phase, size_t comments, uint64_t seed) {
    Bytes out = {0xFF, 0xD8};
    appendSegment(out, 0xE0, Bytes(kJfif.begin(), kJfif.end()));
    appendComments(out, comments, seed);
    appendTables(out, width, height);
    appendBlocks(out, width, height, phase);
    out.insert(out.end(), {0xFF, 0xD9});
    return out;
}

uint64_t mix(uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

/** Begins and ends as a picture does: what looks for one by its marks finds it. */
Bytes markedNoise(size_t size, uint64_t seed) {
    Bytes bytes(size);
    fillNoise(seed, 0, bytes.data(), size);
    if (size < 4) return bytes;
    bytes[0] = 0xFF;
    bytes[1] = 0xD8;
    bytes[size - 2] = 0xFF;
    bytes[size - 1] = 0xD9;
    return bytes;
}

}  // namespace

std::vector<uint8_t> rampJpeg(unsigned width, unsigned height, unsigned phase) {
    return jpegWithComments(width, height, phase, 0, 0);
}

std::vector<uint8_t> jpegOfSize(size_t size, unsigned phase, uint64_t seed) {
    struct Sides {
        unsigned width, height;
    };
    constexpr std::array<Sides, 3> kSides = {{{960, 640}, {96, 64}, {8, 8}}};
    for (const Sides& sides : kSides) {
        const Bytes plain = rampJpeg(sides.width, sides.height, phase);
        if (plain.size() > size) continue;
        return jpegWithComments(sides.width, sides.height, phase, size - plain.size(), seed);
    }
    return markedNoise(size, seed);
}

void fillNoise(uint64_t seed, uint64_t offset, uint8_t* out, size_t size) {
    size_t done = 0;
    while (done < size) {
        const uint64_t at = offset + done;
        const uint64_t word = mix(seed ^ (at / 8 * 0xD1342543DE82EF95U));
        for (uint64_t byte = at % 8; byte < 8 && done < size; ++byte) {
            out[done++] = static_cast<uint8_t>(word >> (byte * 8));
        }
    }
}

}  // namespace lab
