// Requests by way of the kernel's video driver, which keeps the interface to itself while it is there.
#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "frameworks/USB/linux/ControlTable.h"
#include "frameworks/USB/linux/Driver.h"
#include "frameworks/USB/linux/Errors.h"
#include "frameworks/USB/linux/Path.h"

namespace usb {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kLengthSize = 2;
constexpr size_t kInfoSize = 1;

enum Info : uint8_t { kCanGet = 1, kCanSet = 2, kIsDisabled = 4, kUpdatesItself = 8 };

uint8_t selectorOf(const IOUSBDevRequest& request) {
    return static_cast<uint8_t>(request.wValue >> 8);
}

uint8_t unitOf(const IOUSBDevRequest& request) {
    return static_cast<uint8_t>(request.wIndex >> 8);
}

/** The device sends what it has, cut off where the host's patience ends. */
IOReturn answer(IOUSBDevRequest& request, std::span<const uint8_t> bytes) {
    const size_t count = std::min<size_t>(bytes.size(), request.wLength);
    std::copy_n(bytes.begin(), count, static_cast<uint8_t*>(request.pData));
    request.wLenDone = static_cast<uint32_t>(count);
    return kIOReturnSuccess;
}

Bytes lengthBytes(size_t length) {
    return {static_cast<uint8_t>(length & 0xFF), static_cast<uint8_t>(length >> 8)};
}

class DriverPath final : public Path {
public:
    DriverPath(const Target& target, std::vector<Driver> nodes, const VideoControl& control)
        : target_(target), nodes_(std::move(nodes)), control_(control) {}

    IOReturn request(IOUSBDevRequest& request) override;

private:
    struct Found {
        Driver* driver = nullptr;
        std::array<DriverControl, 2> controls{};
    };

    IOReturn standard(const ControlRow& row, IOUSBDevRequest& request);
    IOReturn find(const ControlRow& row, Found& found);
    IOReturn read(const ControlRow& row, Found& found, uint8_t code, Bytes& bytes);
    IOReturn readCurrent(const ControlRow& row, Found& found, Bytes& bytes);
    IOReturn write(const ControlRow& row, Found& found, IOUSBDevRequest& request);
    static int64_t modesOf(const Field& field, Found& found);

    IOReturn extension(const Entity& unit, IOUSBDevRequest& request);
    IOReturn query(uint8_t unit, uint8_t selector, uint8_t code, std::span<uint8_t> data);
    IOReturn lengthOf(uint8_t unit, uint8_t selector, size_t& length);
    IOReturn readExtension(uint8_t unit, IOUSBDevRequest& request);
    IOReturn writeExtension(uint8_t unit, IOUSBDevRequest& request);

    const Entity* firstWith(const Entity& like, uint8_t bit) const;

    const Target& target_;
    std::vector<Driver> nodes_;
    const VideoControl& control_;  // in the device's state
};

/** What the descriptors rule out stalls here, and never troubles the device. */
IOReturn DriverPath::request(IOUSBDevRequest& request) {
    const bool isClassRequest =
        request.bmRequestType == kToInterface || request.bmRequestType == kFromInterface;
    const bool isRead = isFromDevice(request);
    if (!isClassRequest || (request.wIndex & 0xFF) != target_.interface.number ||
        (request.wValue & 0xFF) != 0 || isRead == (request.bRequest == kSetCur)) {
        return kIOUSBPipeStalled;
    }
    const Entity* unit = control_.find(unitOf(request));
    if (unit == nullptr) return kIOUSBPipeStalled;
    if (unit->kind == EntityKind::extensionUnit) return extension(*unit, request);
    const ControlRow* row = rowOf(*unit, selectorOf(request));
    // Of two units with one control the driver reaches the first: the other must not be mistaken for it.
    if (row == nullptr || firstWith(*unit, row->bit) != unit || !row->answers(request.bRequest)) {
        return kIOUSBPipeStalled;
    }
    return standard(*row, request);
}

const Entity* DriverPath::firstWith(const Entity& like, uint8_t bit) const {
    const auto found =
        std::find_if(control_.entities.begin(), control_.entities.end(),
                     [&](const Entity& other) { return other.kind == like.kind && other.controls[bit]; });
    return found == control_.entities.end() ? nullptr : &*found;
}

/* ---- The standard's controls ---- */

IOReturn DriverPath::standard(const ControlRow& row, IOUSBDevRequest& request) {
    if (request.bRequest == kGetLen) return answer(request, lengthBytes(row.size));
    Found found;
    const IOReturn result = find(row, found);
    if (result != kIOReturnSuccess) return result;
    if (request.bRequest == kSetCur) return write(row, found, request);
    Bytes bytes(request.bRequest == kGetInfo ? kInfoSize : row.size);
    const IOReturn done = read(row, found, request.bRequest, bytes);
    return done == kIOReturnSuccess ? answer(request, bytes) : done;
}

/** The node that has the control: a device with several cameras has several nodes. */
IOReturn DriverPath::find(const ControlRow& row, Found& found) {
    IOReturn result = kIOUSBPipeStalled;
    for (Driver& node : nodes_) {
        found.driver = &node;
        const std::span<const Field> fields = row.fields();
        result = kIOReturnSuccess;
        for (size_t i = 0; i < fields.size() && result == kIOReturnSuccess; ++i) {
            result = node.describe(fields[i].id, found.controls[i]);
        }
        if (result != kIOUSBPipeStalled) break;
    }
    return result;
}

/** The modes that the device has, a bit each: the driver keeps only those in its menu. */
int64_t DriverPath::modesOf(const Field& field, Found& found) {
    int64_t modes = 0;
    for (int64_t item = found.controls[0].lowest; item <= found.controls[0].highest; ++item) {
        const int64_t mode = fromDriver(field, item);
        if (found.driver->hasMenuItem(field.id, static_cast<uint32_t>(item))) modes |= mode;
    }
    return modes;
}

IOReturn DriverPath::read(const ControlRow& row, Found& found, uint8_t code, Bytes& bytes) {
    if (code == kGetCur) return readCurrent(row, found, bytes);
    const std::span<const Field> fields = row.fields();
    for (size_t i = 0; i < fields.size(); ++i) {
        const DriverControl& control = found.controls[i];
        const Field& field = fields[i];
        switch (code) {
            case kGetMin:
                putNumber(bytes, field, control.lowest);
                break;
            case kGetMax:
                putNumber(bytes, field, control.highest);
                break;
            case kGetRes:
                putNumber(bytes, field,
                          field.mapping == Mapping::exposureMode ? modesOf(field, found) : control.step);
                break;
            case kGetDef:
                putNumber(bytes, field, fromDriver(field, control.standard));
                break;
            case kGetInfo:
                bytes[0] = static_cast<uint8_t>(
                    (control.isReadable ? kCanGet : 0) | (control.isWritable ? kCanSet : 0) |
                    (control.isInactive ? kIsDisabled : 0) | (control.isVolatile ? kUpdatesItself : 0));
                break;
            default:
                return kIOUSBPipeStalled;
        }
    }
    return kIOReturnSuccess;
}

IOReturn DriverPath::readCurrent(const ControlRow& row, Found& found, Bytes& bytes) {
    const std::span<const Field> fields = row.fields();
    std::array<DriverValue, 2> values{};
    for (size_t i = 0; i < fields.size(); ++i) {
        if (!found.controls[i].isReadable) return kIOUSBPipeStalled;
        values[i].id = fields[i].id;
    }
    const IOReturn result = found.driver->get(std::span(values).first(fields.size()));
    if (result != kIOReturnSuccess) return result;
    for (size_t i = 0; i < fields.size(); ++i) {
        putNumber(bytes, fields[i], fromDriver(fields[i], values[i].number));
    }
    return kIOReturnSuccess;
}

/** The driver would bend a number out of range into it; a device refuses it. */
IOReturn DriverPath::write(const ControlRow& row, Found& found, IOUSBDevRequest& request) {
    if (request.wLength != row.size) return kIOUSBPipeStalled;
    const std::span<const uint8_t> bytes(static_cast<const uint8_t*>(request.pData), row.size);
    const std::span<const Field> fields = row.fields();
    std::array<DriverValue, 2> values{};
    for (size_t i = 0; i < fields.size(); ++i) {
        const DriverControl& control = found.controls[i];
        const std::optional<int32_t> number = toDriver(fields[i], numberIn(bytes, fields[i]));
        if (!number || *number < control.lowest || *number > control.highest || !control.isWritable) {
            return kIOUSBPipeStalled;
        }
        values[i] = {fields[i].id, *number};
    }
    const IOReturn result =
        atPace(target_, [&] { return found.driver->set(std::span(values).first(fields.size())); });
    if (result == kIOReturnSuccess) request.wLenDone = request.wLength;
    return result;
}

/* ---- Extension units ---- */

IOReturn DriverPath::extension(const Entity& unit, IOUSBDevRequest& request) {
    const uint8_t selector = selectorOf(request);
    if (selector == 0 || !unit.controls[selector - 1U]) return kIOUSBPipeStalled;
    return request.bRequest == kSetCur ? writeExtension(unit.id, request) : readExtension(unit.id, request);
}

/** To the node that has the unit: the others do not know it. */
IOReturn DriverPath::query(uint8_t unit, uint8_t selector, uint8_t code, std::span<uint8_t> data) {
    IOReturn result = kIOUSBPipeStalled;
    for (Driver& node : nodes_) {
        result = node.query(unit, selector, code, data);
        if (result != kIOUSBPipeStalled) break;
    }
    return result;
}

/** The driver takes no other size than the control's own, which a host need not know. */
IOReturn DriverPath::lengthOf(uint8_t unit, uint8_t selector, size_t& length) {
    std::map<std::pair<uint8_t, uint8_t>, uint16_t>& known = target_.state->lengths;
    auto found = known.find({unit, selector});
    if (found == known.end()) {
        std::array<uint8_t, kLengthSize> bytes{};
        const IOReturn result = query(unit, selector, kGetLen, bytes);
        if (result != kIOReturnSuccess) return result;
        const auto asked = static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
        found = known.insert({{unit, selector}, asked}).first;
    }
    length = found->second;
    return kIOReturnSuccess;
}

IOReturn DriverPath::readExtension(uint8_t unit, IOUSBDevRequest& request) {
    size_t length = request.bRequest == kGetLen ? kLengthSize : kInfoSize;
    if (request.bRequest != kGetLen && request.bRequest != kGetInfo) {
        const IOReturn result = lengthOf(unit, selectorOf(request), length);
        if (result != kIOReturnSuccess) return result;
    }
    Bytes bytes(length);
    const IOReturn result = query(unit, selectorOf(request), request.bRequest, bytes);
    return result == kIOReturnSuccess ? answer(request, bytes) : result;
}

IOReturn DriverPath::writeExtension(uint8_t unit, IOUSBDevRequest& request) {
    size_t length = 0;
    IOReturn result = lengthOf(unit, selectorOf(request), length);
    if (result != kIOReturnSuccess) return result;
    if (request.wLength != length) return kIOUSBPipeStalled;
    const auto* given = static_cast<const uint8_t*>(request.pData);
    Bytes bytes(given, given + length);
    result = atPace(target_, [&] { return query(unit, selectorOf(request), kSetCur, bytes); });
    if (result == kIOReturnSuccess) request.wLenDone = request.wLength;
    return result;
}

const VideoControl& controlOf(const Target& target) {
    std::map<uint8_t, VideoControl>& known = target.state->controls;
    auto found = known.find(target.interface.number);
    if (found == known.end()) {
        VideoControl read = readVideoControl(descriptorsOf(target.system, target.device),
                                             target.interface.configuration, target.interface.number);
        found = known.emplace(target.interface.number, std::move(read)).first;
    }
    return found->second;
}

}  // namespace

IOReturn openDriverPath(const Target& target, const std::vector<std::string>& names,
                        std::unique_ptr<Path>& path) {
    std::vector<Driver> nodes;
    IOReturn refusal = kIOReturnNoDevice;
    for (const std::string& name : names) {
        const int opened = target.system.open(name);
        if (opened < 0) {
            refusal = returnOfOpen(-opened);
            continue;
        }
        Driver node(target.system, Descriptor(target.system, opened));
        if (node.isCapture()) nodes.push_back(std::move(node));
    }
    if (nodes.empty()) return refusal;
    path = std::make_unique<DriverPath>(target, std::move(nodes), controlOf(target));
    return kIOReturnSuccess;
}

}  // namespace usb
