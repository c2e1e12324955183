#include "platform/UsbLocation.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace {

constexpr uint32_t kMostBus = 0xFF;
constexpr uint32_t kMostDigit = 0xF;
constexpr uint32_t kMostByte = 0xFF;
constexpr size_t kDigits = 6;
constexpr unsigned kDigitBits = 4;
constexpr unsigned kBusShift = kDigits * kDigitBits;
constexpr size_t kTiersBelowByte = 3;  // digit 0 and the root port's two leave so many
constexpr uint32_t kHashValues = 0xFFFF;

using Ports = std::span<const uint32_t>;

bool isDigit(uint32_t port) {
    return port <= kMostDigit;
}

/** The ports from the left, one digit each, behind what stands there already. */
uint32_t withDigits(uint32_t place, size_t used, Ports ports) {
    for (const uint32_t port : ports) {
        ++used;
        place |= port << ((kDigits - used) * kDigitBits);
    }
    return place;
}

/** FNV-1a over the ports; never 0, which is the root hub's. */
uint32_t hashOf(Ports ports) {
    uint32_t hash = 0x811C9DC5U;
    for (const uint32_t port : ports) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            hash = (hash ^ ((port >> shift) & 0xFFU)) * 0x01000193U;
        }
    }
    return 1 + hash % kHashValues;
}

/** A port is at least 1, so an ordinary chain never has a digit 0 before another one: those numbers are free
 * for the others. */
uint32_t placeOf(Ports ports) {
    if (ports.size() <= kDigits && std::all_of(ports.begin(), ports.end(), isDigit)) {
        return withDigits(0, 0, ports);
    }
    const Ports below = ports.subspan(1);
    const bool hasBigRoot = ports[0] > kMostDigit && ports[0] <= kMostByte;
    if (hasBigRoot && below.size() <= kTiersBelowByte && std::all_of(below.begin(), below.end(), isDigit)) {
        return withDigits(ports[0] << (kTiersBelowByte * kDigitBits), kDigits - kTiersBelowByte, below);
    }
    return hashOf(ports);
}

/** Takes a number off the front; as the kernel writes them: from 1 up, without leading zeros. */
std::optional<uint32_t> takeNumber(std::string_view& text) {
    uint32_t number = 0;
    if (text.empty() || text.front() == '0') return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return std::nullopt;
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return number;
}

bool takeCharacter(std::string_view& text, char wanted) {
    if (text.empty() || text.front() != wanted) return false;
    text.remove_prefix(1);
    return true;
}

std::optional<uint32_t> locationOfRootHub(std::string_view number) {
    const std::optional<uint32_t> bus = takeNumber(number);
    return bus && number.empty() ? usbLocation(*bus, {}) : std::nullopt;
}

std::optional<uint16_t> hexadecimalIn(const std::filesystem::path& file) {
    std::string text;
    if (!std::getline(std::ifstream(file), text)) return std::nullopt;
    uint16_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/** Only folders of devices have these files: an address of another bus can look like a device's name. */
std::optional<UsbIdentity> identityOfFolder(const std::filesystem::path& folder) {
    const std::string name = folder.filename();
    if (name.find(':') != std::string::npos) return std::nullopt;
    const std::optional<uint32_t> location = usbLocationOfName(name);
    if (!location) return std::nullopt;
    const std::optional<uint16_t> vendor = hexadecimalIn(folder / "idVendor");
    const std::optional<uint16_t> product = hexadecimalIn(folder / "idProduct");
    if (!vendor || !product) return std::nullopt;
    return UsbIdentity{*location, *vendor, *product};
}

}  // namespace

std::optional<uint32_t> usbLocation(uint32_t bus, Ports ports) {
    if (bus == 0 || bus > kMostBus) return std::nullopt;
    if (std::find(ports.begin(), ports.end(), 0U) != ports.end()) return std::nullopt;
    return bus << kBusShift | placeOf(ports);
}

std::optional<uint32_t> usbLocationOfName(std::string_view name) {
    constexpr std::string_view kRootHub = "usb";
    if (name.starts_with(kRootHub)) return locationOfRootHub(name.substr(kRootHub.size()));
    name = name.substr(0, name.find(':'));
    const std::optional<uint32_t> bus = takeNumber(name);
    if (!bus || !takeCharacter(name, '-')) return std::nullopt;
    std::vector<uint32_t> ports;
    do {
        const std::optional<uint32_t> port = takeNumber(name);
        if (!port) return std::nullopt;
        ports.push_back(*port);
    } while (takeCharacter(name, '.'));
    return name.empty() ? usbLocation(*bus, ports) : std::nullopt;
}

std::optional<UsbIdentity> usbIdentityOfPath(const std::string& sysfsPath) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path folder = fs::canonical(sysfsPath, error);
    if (error) return std::nullopt;
    for (; folder.has_relative_path(); folder = folder.parent_path()) {
        if (const auto identity = identityOfFolder(folder)) return identity;
    }
    return std::nullopt;
}

std::string usbUniqueId(const UsbIdentity& identity) {
    char text[2 + 8 + 4 + 4 + 1];
    std::snprintf(text, sizeof text, "0x%08x%04x%04x", static_cast<unsigned>(identity.location),
                  static_cast<unsigned>(identity.vendor), static_cast<unsigned>(identity.product));
    return text;
}
