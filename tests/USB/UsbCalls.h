/* UsbCalls.h: the calls that a program makes on its way to a webcam's controls, checked as far as they go. */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "USBControl.h"

namespace test {

inline constexpr uint8_t kGet = 0xA1;
inline constexpr uint8_t kSet = 0x21;

class UsbCalls : public ::testing::Test {
protected:
    static std::vector<Ref<IOService>> services(const IOServiceMatching& matching = {}) {
        IOIterator* iterator = nullptr;
        EXPECT_EQ(IOServiceGetMatchingServices(matching, &iterator), kIOReturnSuccess);
        return all(iterator);
    }
    static std::vector<Ref<IOService>> all(IOIterator* iterator) {
        std::vector<Ref<IOService>> found;
        const auto owner = Ref<IOIterator>::adopt(iterator);
        while (IOService* service = iterator->next()) {
            found.push_back(Ref<IOService>::adopt(service));
        }
        EXPECT_EQ(iterator->next(), nullptr);
        return found;
    }
    static Ref<IOUSBDeviceInterface> device(IOService& service) {
        IOCFPlugInInterface* plugIn = nullptr;
        EXPECT_EQ(IOCreatePlugInInterfaceForService(service, IOUserClientType::Device, &plugIn),
                  kIOReturnSuccess);
        const auto owner = Ref<IOCFPlugInInterface>::adopt(plugIn);
        IOUSBDeviceInterface* made = nullptr;
        EXPECT_EQ(plugIn->QueryInterface(&made), kIOReturnSuccess);
        return Ref<IOUSBDeviceInterface>::adopt(made);
    }
    static std::vector<Ref<IOService>> interfaces(IOUSBDeviceInterface& device,
                                                  IOUSBFindInterfaceRequest request) {
        IOIterator* iterator = nullptr;
        EXPECT_EQ(device.CreateInterfaceIterator(&request, &iterator), kIOReturnSuccess);
        return all(iterator);
    }
    static Ref<IOUSBInterfaceInterface> control() {
        const Ref<IOUSBDeviceInterface> found = device(*services().at(0));
        const Ref<IOService> service = interfaces(*found, kVideoControl).at(0);
        IOCFPlugInInterface* plugIn = nullptr;
        EXPECT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Interface, &plugIn),
                  kIOReturnSuccess);
        const auto owner = Ref<IOCFPlugInInterface>::adopt(plugIn);
        IOUSBInterfaceInterface* made = nullptr;
        EXPECT_EQ(plugIn->QueryInterface(&made), kIOReturnSuccess);
        return Ref<IOUSBInterfaceInterface>::adopt(made);
    }
    IOUSBInterfaceInterface& open() {
        interface_ = control();
        EXPECT_EQ(interface_->USBInterfaceOpen(), kIOReturnSuccess);
        return *interface_;
    }

    struct Answer {
        IOReturn result;
        std::vector<uint8_t> bytes;
        bool operator==(const Answer&) const = default;
    };
    static Answer get(IOUSBInterfaceInterface& interface, uint8_t code, uint16_t length = 8,
                      uint16_t unitAndSelector = 0x0104, uint8_t number = 2) {
        std::vector<uint8_t> bytes(length, 0x77);
        IOUSBDevRequest request{kGet,
                                code,
                                static_cast<uint16_t>((unitAndSelector & 0xFF) << 8),
                                static_cast<uint16_t>((unitAndSelector & 0xFF00) | number),
                                length,
                                bytes.data(),
                                0xFFFF};
        const IOReturn result = interface.ControlRequest(0, &request);
        if (result != kIOReturnSuccess) {
            EXPECT_EQ(request.wLenDone, 0xFFFFu);
            EXPECT_EQ(bytes, std::vector<uint8_t>(length, 0x77));
            return {result, {}};
        }
        for (size_t at = request.wLenDone; at < bytes.size(); ++at) {
            EXPECT_EQ(bytes[at], 0x77) << "written behind the answer";
        }
        bytes.resize(request.wLenDone);
        return {result, bytes};
    }
    static IOReturn put(IOUSBInterfaceInterface& interface, std::vector<uint8_t> bytes,
                        uint16_t unitAndSelector = 0x0104, uint8_t number = 2) {
        IOUSBDevRequest request{kSet,
                                0x01,
                                static_cast<uint16_t>((unitAndSelector & 0xFF) << 8),
                                static_cast<uint16_t>((unitAndSelector & 0xFF00) | number),
                                static_cast<uint16_t>(bytes.size()),
                                bytes.data(),
                                0};
        const IOReturn result = interface.ControlRequest(0, &request);
        if (result == kIOReturnSuccess) {
            EXPECT_EQ(request.wLenDone, bytes.size());
        }
        return result;
    }
    static constexpr IOUSBFindInterfaceRequest kVideoControl{14, 1, kIOUSBFindInterfaceDontCare,
                                                             kIOUSBFindInterfaceDontCare};
    static constexpr Answer kStall{kIOUSBPipeStalled, {}};

    Ref<IOUSBInterfaceInterface> interface_;
};

}  // namespace test
