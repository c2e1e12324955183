/* DescriptorBytes.h: descriptors of made-up webcams, byte for byte as USB Video Class 1.1 lays them out. */
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace test {

using Bytes = std::vector<uint8_t>;

inline Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/** With the length, which stands first, filled in. */
inline Bytes withLength(Bytes descriptor) {
    descriptor.insert(descriptor.begin(), static_cast<uint8_t>(descriptor.size() + 1));
    return descriptor;
}

inline Bytes deviceDescriptor() {
    return {18, 1, 0x00, 0x02, 0xEF, 2, 1, 64, 0x6D, 0x04, 0x2D, 0x08, 0x11, 0, 0, 2, 1, 1};
}

inline Bytes interfaceDescriptor(uint8_t number, uint8_t alternate, uint8_t deviceClass, uint8_t subclass) {
    return {9, 4, number, alternate, 0, deviceClass, subclass, 0, 0};
}

/** The bitmap's low bits first, so many bytes of it. */
inline Bytes bitmap(uint32_t bits, uint8_t size) {
    Bytes bytes{size};
    for (uint8_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<uint8_t>(bits >> (8 * i)));
    }
    return bytes;
}

inline Bytes header() {
    return {13, 0x24, 1, 0x10, 0x01, 0x50, 0, 0x80, 0x8D, 0x5B, 0, 1, 1};
}

inline Bytes cameraTerminal(uint8_t id, uint32_t controls) {
    return withLength(joined({{0x24, 2, id, 0x01, 0x02, 0, 0, 0, 0, 0, 0, 0, 0}, bitmap(controls, 3)}));
}

inline Bytes processingUnit(uint8_t id, uint32_t controls, uint8_t controlSize = 2) {
    return withLength(joined({{0x24, 5, id, 1, 0, 0}, bitmap(controls, controlSize), {0, 0}}));
}

inline Bytes extensionUnit(uint8_t id, uint32_t controls, uint8_t controlSize = 1) {
    Bytes guid(16);
    for (size_t i = 0; i < guid.size(); ++i) {
        guid[i] = static_cast<uint8_t>(0x10 + i);
    }
    return withLength(joined({{0x24, 6, id}, guid, {3, 1, 2}, bitmap(controls, controlSize), {0}}));
}

inline Bytes outputTerminal(uint8_t id, uint8_t source) {
    return {9, 0x24, 3, id, 0x01, 0x01, 0, source, 0};
}

/** A configuration of these interfaces, with its total length filled in. */
inline Bytes configuration(uint8_t value, const Bytes& interfaces) {
    const size_t total = 9 + interfaces.size();
    return joined(
        {{9, 2, static_cast<uint8_t>(total & 0xFF), static_cast<uint8_t>(total >> 8), 2, value, 0, 0x80, 250},
         interfaces});
}

inline constexpr uint32_t kAllOfCamera = 0x061FFF;  // without the two reserved bits
inline constexpr uint32_t kAllOfProcessing = 0x3FFFF;

/** Camera terminal 1, processing unit 2 and extension unit 9, which has selectors 1 to 4, on interface 0. */
inline Bytes webcamDescriptors(uint32_t camera = kAllOfCamera, uint32_t processing = kAllOfProcessing) {
    return joined(
        {deviceDescriptor(),
         configuration(1,
                       joined({interfaceDescriptor(0, 0, 14, 1), header(), cameraTerminal(1, camera),
                               processingUnit(2, processing, 3), extensionUnit(9, 0x0F), outputTerminal(4, 2),
                               interfaceDescriptor(1, 0, 14, 2), interfaceDescriptor(1, 1, 14, 2)}))});
}

}  // namespace test
