#include "host/tarvo/SettingsTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "frameworks/QuickTime/atoms/ExportChoice.h"

namespace tarvo {
namespace {

using atoms::Atom;
using atoms::typeOf;

constexpr size_t kShownBytes = 24;

uint32_t number(const Atom& atom, size_t offset, size_t size) {
    return atoms::readNumber(atom.data, offset, size).value_or(0);
}

double fixed(const Atom& atom, size_t offset) {
    return number(atom, offset, 4) / 65536.0;
}

std::string quoted(const Atom& atom, size_t offset) {
    return "'" + atoms::typeText(number(atom, offset, 4)) + "'";
}

/** 0 stands for what the movie or the codec says. */
std::string orElse(double value, const char* otherwise) {
    return value == 0 ? otherwise : fmt::format("{:.6g}", value);
}

std::string spatial(const Atom& atom) {
    return fmt::format("codec {}; component: {}; depth {}; quality {} of 1024", quoted(atom, 0),
                       orElse(number(atom, 4, 4), "any"), number(atom, 8, 2), number(atom, 10, 4));
}

std::string temporal(const Atom& atom) {
    return fmt::format("quality {} of 1024; frames a second: {}; frames from one key frame to the next: {}",
                       number(atom, 0, 4), orElse(fixed(atom, 4), "as in the movie"),
                       orElse(number(atom, 8, 4), "the codec decides"));
}

std::string dataRate(const Atom& atom) {
    return number(atom, 0, 4) == 0 ? "by quality" : fmt::format("{} bytes a second", number(atom, 0, 4));
}

std::string pixels(const Atom& atom) {
    return fixed(atom, 0) == 0 ? "as in the movie" : fmt::format("{:.6g} pixels", fixed(atom, 0));
}

std::string flag(const Atom& atom) {
    return number(atom, 0, 1) != 0 ? "on" : "off";
}

std::string fourCharacters(const Atom& atom) {
    return quoted(atom, 0);
}

std::string samplesPerSecond(const Atom& atom) {
    return fixed(atom, 0) == 0 ? "as in the movie" : fmt::format("{:.6g} samples a second", fixed(atom, 0));
}

std::string sampleBits(const Atom& atom) {
    return fmt::format("{} bits", number(atom, 0, 2));
}

std::string channelCount(const Atom& atom) {
    return orElse(number(atom, 0, 2), "as in the movie");
}

std::string bitsPerSecond(const Atom& atom) {
    return number(atom, 0, 4) == 0 ? "the codec decides"
                                   : fmt::format("{} bits a second", number(atom, 0, 4));
}

struct Meaning {
    uint32_t type;
    size_t leastBytes;
    const char* name;
    std::string (*tell)(const Atom& atom);
};
constexpr Meaning kMeanings[] = {
    {typeOf("envi"), 1, "picture", flag},
    {typeOf("enso"), 1, "sound", flag},
    {typeOf("sptl"), 14, "spatial settings", spatial},
    {typeOf("tprl"), 12, "temporal settings", temporal},
    {typeOf("drat"), 4, "data rate", dataRate},
    {typeOf("wdth"), 4, "width", pixels},
    {typeOf("hegt"), 4, "height", pixels},
    {typeOf("ssct"), 4, "sound codec", fourCharacters},
    {typeOf("ssrt"), 4, "sample rate", samplesPerSecond},
    {typeOf("ssss"), 2, "sample size", sampleBits},
    {typeOf("sscc"), 2, "channels", channelCount},
    {typeOf("sbps"), 4, "sound data rate", bitsPerSecond},
    {typeOf("fast"), 1, "prepare for streaming", flag},
};

std::string hexOf(const Atom& atom) {
    std::string text = fmt::format("{} bytes", atom.data.size());
    for (size_t i = 0; i < std::min(atom.data.size(), kShownBytes); ++i)
        text += fmt::format("{}{:02x}", i == 0 ? ": " : " ", atom.data[i]);
    return text + (atom.data.size() > kShownBytes ? " ..." : "");
}

std::string contentOf(const Atom& atom) {
    if (!atom.children.empty()) return "";
    for (const Meaning& meaning : kMeanings) {
        if (meaning.type == atom.type && atom.data.size() >= meaning.leastBytes) {
            return fmt::format("  {}: {}", meaning.name, meaning.tell(atom));
        }
    }
    return "  " + hexOf(atom);
}

void addLines(const Atom& atom, size_t depth, std::vector<std::string>& lines) {
    const std::string id = atom.id == 1 ? "" : fmt::format(" id {}", atom.id);
    lines.push_back(std::string(2 * depth, ' ') + atoms::typeText(atom.type) + id + contentOf(atom));
    for (const Atom& child : atom.children)
        addLines(child, depth + 1, lines);
}

}  // namespace

Result<atoms::Container> readSettingsFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    if (!file.good() && !file.eof()) {
        return {failed(Failure::files, fmt::format("{} cannot be read: {}", path, std::strerror(errno)))};
    }
    Result<atoms::Container> result;
    const auto* const first = reinterpret_cast<const uint8_t*>(content.data());
    if (!atoms::parse({first, content.size()}, result.value)) {
        result.error = failed(Failure::badArgument, path + " is no file of export settings");
    }
    return result;
}

std::vector<std::string> treeOf(const atoms::Container& container) {
    std::vector<std::string> lines;
    addLines(container.root, 0, lines);
    return lines;
}

}  // namespace tarvo
