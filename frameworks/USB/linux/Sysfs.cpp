#include "frameworks/USB/linux/Sysfs.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

namespace usb {

namespace {

namespace fs = std::filesystem;

/** Every attribute that is read here holds one number; some are padded with blanks. */
template <typename Number>
bool readNumber(const fs::path& file, int base, Number& out) {
    std::string text;
    if (!std::getline(std::ifstream(file), text)) return false;
    std::string_view rest = text;
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    Number number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number, base);
    if (error != std::errc() || end != rest.data() + rest.size()) return false;
    out = number;
    return true;
}

template <typename Each>
void forEachName(const fs::path& folder, Each each) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        each(entry->path().filename().string());
    }
}

bool isRootHub(std::string_view name) {
    return name.starts_with("usb");
}

fs::path folderOf(const System& system, const Attachment& device) {
    return fs::path(system.devices) / device.name;
}

std::optional<Attachment> attachmentNamed(const System& system, const std::string& name) {
    const bool isInterface = name.find(':') != std::string::npos;
    if (isInterface || isRootHub(name)) return std::nullopt;
    const std::optional<uint32_t> location = usbLocationOfName(name);
    if (!location) return std::nullopt;
    Attachment found{.name = name, .identity = {*location, 0, 0}};
    const fs::path folder = folderOf(system, found);
    const bool isWhole = readNumber(folder / "idVendor", 16, found.identity.vendor) &&
                         readNumber(folder / "idProduct", 16, found.identity.product) &&
                         readNumber(folder / "busnum", 10, found.bus) &&
                         readNumber(folder / "devnum", 10, found.number);
    return isWhole ? std::optional(found) : std::nullopt;
}

/** "1-2.4:1.0" is interface 0 of configuration 1 of device 1-2.4. */
std::string interfaceName(const Attachment& device, const InterfaceFacts& interface) {
    return device.name + ':' + std::to_string(interface.configuration) + '.' +
           std::to_string(interface.number);
}

std::optional<InterfaceFacts> interfaceNamed(const fs::path& folder, std::string_view afterColon) {
    InterfaceFacts found;
    const char* const end = afterColon.data() + afterColon.size();
    const auto [dot, error] = std::from_chars(afterColon.data(), end, found.configuration);
    if (error != std::errc() || dot == end || *dot != '.') return std::nullopt;
    const bool isWhole = readNumber(folder / "bInterfaceNumber", 16, found.number) &&
                         readNumber(folder / "bAlternateSetting", 10, found.alternate) &&
                         readNumber(folder / "bInterfaceClass", 16, found.deviceClass) &&
                         readNumber(folder / "bInterfaceSubClass", 16, found.subclass) &&
                         readNumber(folder / "bInterfaceProtocol", 16, found.protocol);
    return isWhole ? std::optional(found) : std::nullopt;
}

/** "video10" comes after "video9". */
bool isOlder(const std::string& left, const std::string& right) {
    return left.size() != right.size() ? left.size() < right.size() : left < right;
}

}  // namespace

std::vector<Attachment> attachedDevices(const System& system) {
    std::vector<Attachment> devices;
    forEachName(system.devices, [&](const std::string& name) {
        if (auto found = attachmentNamed(system, name)) devices.push_back(std::move(*found));
    });
    std::sort(devices.begin(), devices.end(), [](const Attachment& left, const Attachment& right) {
        return left.identity.location < right.identity.location;
    });
    return devices;
}

bool isHere(const System& system, const Attachment& device) {
    uint32_t number = 0;
    return readNumber(folderOf(system, device) / "devnum", 10, number) && number == device.number;
}

std::vector<InterfaceFacts> interfacesOf(const System& system, const Attachment& device) {
    std::vector<InterfaceFacts> interfaces;
    const fs::path folder = folderOf(system, device);
    const std::string prefix = device.name + ':';
    forEachName(folder, [&](const std::string& name) {
        if (!name.starts_with(prefix)) return;
        const auto found = interfaceNamed(folder / name, std::string_view(name).substr(prefix.size()));
        if (found) interfaces.push_back(*found);
    });
    std::sort(
        interfaces.begin(), interfaces.end(),
        [](const InterfaceFacts& left, const InterfaceFacts& right) { return left.number < right.number; });
    return interfaces;
}

std::vector<uint8_t> descriptorsOf(const System& system, const Attachment& device) {
    constexpr size_t kMost = size_t{1} << 20;  // far more than any device has
    std::ifstream file(folderOf(system, device) / "descriptors", std::ios::binary);
    std::vector<uint8_t> bytes;
    char piece[4096];
    while (file && bytes.size() < kMost) {
        file.read(piece, sizeof piece);  // fails, and tells how much it got, at the end of the file
        bytes.insert(bytes.end(), piece, piece + file.gcount());
    }
    return bytes;
}

std::vector<std::string> videoNodesOf(const System& system, const Attachment& device,
                                      const InterfaceFacts& interface) {
    std::vector<std::string> names;
    forEachName(folderOf(system, device) / interfaceName(device, interface) / "video4linux",
                [&](const std::string& name) { names.push_back(name); });
    std::sort(names.begin(), names.end(), isOlder);
    for (std::string& name : names) {
        name.insert(0, system.nodes + '/');
    }
    return names;
}

std::string rawNodeOf(const System& system, const Attachment& device) {
    char name[32];
    std::snprintf(name, sizeof name, "/bus/usb/%03u/%03u", device.bus, device.number);
    return system.nodes + name;
}

}  // namespace usb
