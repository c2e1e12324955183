// A webcam on the bus: how it is found, how its interface is opened, and what its controls answer.
#include <gtest/gtest.h>

#include <thread>

#include "USBControl.h"
#include "tests/USB/UsbCalls.h"
#include "tests/lab/support.h"

namespace test {
namespace {

Json webcam(const Json& controls, const Json& more = Json::object()) {
    Json uvc = {{"location", "0x1a110000"}, {"interface", 2}, {"controls", controls}};
    uvc.update(more);
    return {{"id", "v-1"}, {"family", "video"}, {"uniqueId", "0x1a110000046d0990"}, {"uvc", uvc}};
}

const Json kExposure = {{"unit", 1}, {"selector", 4}, {"size", 4}, {"min", 1}, {"max", 10000}, {"cur", 156}};

class Usb : public UsbCalls {
protected:
    void SetUp() override { lay(Json::array({webcam(Json::array({kExposure}))})); }
    void TearDown() override {
        interface_ = {};
        const Json objects = must({{"cmd", "state"}})["libraries"]["USBControl"]["objects"];
        for (const auto& kind : objects.items()) {
            EXPECT_EQ(kind.value(), 0) << kind.key();
        }
    }

    static Json value(const char* name) {
        return must({{"cmd", "get"}, {"id", "v-1"}, {"property", name}})["value"];
    }
};

TEST_F(Usb, shows_attached_webcams_with_their_place_and_ids) {
    Json second = webcam(Json::array(), {{"location", 7}, {"vendor", "0x1234"}, {"product", 5}});
    second["id"] = "v-2";
    lay({webcam(Json::array({kExposure})),
         second,
         {{"id", "v-3"}, {"family", "video"}},
         {{"id", "canon-1"}, {"family", "canon"}}});
    const std::vector<Ref<IOService>> found = services();
    ASSERT_EQ(found.size(), 2u);
    struct Row {
        uint32_t location;
        uint16_t vendor, product;
    };
    const Row rows[] = {{0x1A110000, 0x046D, 0x0990}, {7, 0x1234, 5}};
    for (size_t i = 0; i < 2; ++i) {
        const Ref<IOUSBDeviceInterface> shown = device(*found[i]);
        uint32_t location = 0;
        uint16_t vendor = 0;
        uint16_t product = 0;
        EXPECT_EQ(shown->GetLocationID(&location), kIOReturnSuccess);
        EXPECT_EQ(shown->GetDeviceVendor(&vendor), kIOReturnSuccess);
        EXPECT_EQ(shown->GetDeviceProduct(&product), kIOReturnSuccess);
        EXPECT_EQ(location, rows[i].location);
        EXPECT_EQ(vendor, rows[i].vendor);
        EXPECT_EQ(product, rows[i].product);
    }
    EXPECT_EQ(services({true, 0x1234, 5}).size(), 1u);
    EXPECT_EQ(services({true, 0x1234, 6}).size(), 0u);
    must({{"cmd", "detach"}, {"id", "v-1"}});
    EXPECT_EQ(services().size(), 1u);
}

TEST_F(Usb, finds_the_video_control_interface_and_no_other) {
    const Ref<IOUSBDeviceInterface> found = device(*services()[0]);
    constexpr uint16_t kAny = kIOUSBFindInterfaceDontCare;
    EXPECT_EQ(interfaces(*found, {14, 1, 0, 0}).size(), 1u);
    EXPECT_EQ(interfaces(*found, {kAny, kAny, kAny, kAny}).size(), 1u);
    EXPECT_EQ(interfaces(*found, {14, 2, kAny, kAny}).size(), 0u);
    EXPECT_EQ(interfaces(*found, {3, 1, kAny, kAny}).size(), 0u);
}

TEST_F(Usb, answers_each_read_with_the_control_s_bytes) {
    lay(Json::array({webcam(Json::array({{{"unit", 1},
                                          {"selector", 4},
                                          {"size", 4},
                                          {"min", 1},
                                          {"max", 10000},
                                          {"res", 5},
                                          {"def", 300},
                                          {"cur", 0x1234}}}))}));
    IOUSBInterfaceInterface& interface = open();
    struct Row {
        uint8_t code;
        std::vector<uint8_t> bytes;
    };
    const Row rows[] = {{0x81, {0x34, 0x12, 0, 0}}, {0x82, {1, 0, 0, 0}}, {0x83, {0x10, 0x27, 0, 0}},
                        {0x84, {5, 0, 0, 0}},       {0x85, {4, 0}},       {0x86, {3}},
                        {0x87, {0x2C, 1, 0, 0}}};
    for (const Row& row : rows) {
        EXPECT_EQ(get(interface, row.code), (Answer{kIOReturnSuccess, row.bytes})) << int{row.code};
    }
    // The host's buffer may be shorter than the control.
    EXPECT_EQ(get(interface, 0x81, 1), (Answer{kIOReturnSuccess, {0x34}}));
    EXPECT_EQ(get(interface, 0x81, 0), (Answer{kIOReturnSuccess, {}}));
    EXPECT_EQ(get(interface, 0x88), kStall);
    EXPECT_EQ(get(interface, 0x01), kStall);
}

TEST_F(Usb, stalls_on_other_interfaces_units_and_selectors) {
    IOUSBInterfaceInterface& interface = open();
    for (const uint8_t number : std::initializer_list<uint8_t>{0, 1, 3}) {
        EXPECT_EQ(get(interface, 0x81, 4, 0x0104, number), kStall);
        EXPECT_EQ(put(interface, {1, 0, 0, 0}, 0x0104, number), kIOUSBPipeStalled);
    }
    EXPECT_EQ(get(interface, 0x81, 4, 0x0204), kStall);
    EXPECT_EQ(get(interface, 0x81, 4, 0x0105), kStall);
    uint8_t byte = 0;
    for (const uint8_t type : std::initializer_list<uint8_t>{0x20, 0xA0, 0x41, 0xC1, 0x80, 0}) {
        IOUSBDevRequest request{type, 0x81, 0x0400, 0x0102, 1, &byte, 0};
        EXPECT_EQ(interface.ControlRequest(0, &request), kIOUSBPipeStalled) << int{type};
    }
    IOUSBDevRequest request{kGet, 0x81, 0x0401, 0x0102, 1, &byte, 0};
    EXPECT_EQ(interface.ControlRequest(0, &request), kIOUSBPipeStalled);
    EXPECT_EQ(interface.ClearPipeStall(1), kIOReturnSuccess);
    EXPECT_EQ(value("1:4"), 156);
}

TEST_F(Usb, stores_what_is_set_whatever_the_limits) {
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(put(interface, {0xFF, 0xFF, 0xFF, 0x7F}), kIOReturnSuccess);
    EXPECT_EQ(value("1:4"), 0x7FFFFFFF);
    EXPECT_EQ(get(interface, 0x81), (Answer{kIOReturnSuccess, {0xFF, 0xFF, 0xFF, 0x7F}}));
    EXPECT_EQ(put(interface, {0, 0, 0, 0}), kIOReturnSuccess);
    EXPECT_EQ(value("1:4"), 0);
    // A write of another length than the control's is refused.
    EXPECT_EQ(put(interface, {1, 2, 3}), kIOUSBPipeStalled);
    EXPECT_EQ(put(interface, {1, 2, 3, 4, 5}), kIOUSBPipeStalled);
    EXPECT_EQ(put(interface, {}), kIOUSBPipeStalled);
    EXPECT_EQ(value("1:4"), 0);
}

TEST_F(Usb, keeps_signed_and_long_controls) {
    lay(Json::array({webcam(
        Json::array({{{"unit", 2}, {"selector", 2}, {"size", 2}, {"min", -64}, {"max", 64}, {"cur", -5}},
                     {{"unit", 9}, {"selector", 3}, {"size", 8}, {"min", 0}, {"max", 255}, {"cur", 3}},
                     {{"unit", 9}, {"selector", 4}, {"size", 10}, {"cur", 258}},
                     {{"unit", 9}, {"selector", 5}, {"size", 1}, {"info", 1}},
                     {{"unit", 9}, {"selector", 6}, {"size", 1}, {"info", 2}}}))}));
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(get(interface, 0x81, 8, 0x0202), (Answer{kIOReturnSuccess, {0xFB, 0xFF}}));
    EXPECT_EQ(get(interface, 0x82, 8, 0x0202), (Answer{kIOReturnSuccess, {0xC0, 0xFF}}));
    EXPECT_EQ(value("2:2"), -5);
    EXPECT_EQ(put(interface, {0x80, 0xFF}, 0x0202), kIOReturnSuccess);
    EXPECT_EQ(value("2:2"), -128);
    EXPECT_EQ(get(interface, 0x81, 8, 0x0903), (Answer{kIOReturnSuccess, {3, 0, 0, 0, 0, 0, 0, 0}}));
    EXPECT_EQ(get(interface, 0x85, 2, 0x0904), (Answer{kIOReturnSuccess, {10, 0}}));
    EXPECT_EQ(value("9:4"), "02010000000000000000");
    EXPECT_EQ(put(interface, {1}, 0x0905), kIOUSBPipeStalled);
    EXPECT_EQ(get(interface, 0x81, 1, 0x0905), (Answer{kIOReturnSuccess, {0}}));
    EXPECT_EQ(put(interface, {1}, 0x0906), kIOReturnSuccess);
    EXPECT_EQ(get(interface, 0x81, 1, 0x0906), kStall);
    // What was not said: from nothing to all ones, in steps of one.
    EXPECT_EQ(get(interface, 0x83, 1, 0x0905), (Answer{kIOReturnSuccess, {0xFF}}));
    EXPECT_EQ(get(interface, 0x84, 1, 0x0905), (Answer{kIOReturnSuccess, {1}}));
}

TEST_F(Usb, sees_what_the_user_turns) {
    IOUSBInterfaceInterface& interface = open();
    must({{"cmd", "set"}, {"id", "v-1"}, {"property", "1:4"}, {"value", 20000}});
    EXPECT_EQ(get(interface, 0x81), (Answer{kIOReturnSuccess, {0x20, 0x4E, 0, 0}}));
    must({{"cmd", "set"}, {"id", "v-1"}, {"property", "1:4"}, {"value", "01020304"}});
    EXPECT_EQ(get(interface, 0x81), (Answer{kIOReturnSuccess, {1, 2, 3, 4}}));
    EXPECT_EQ(refused({{"cmd", "set"}, {"id", "v-1"}, {"property", "1:5"}, {"value", 1}}),
              "v-1 has no property 1:5");
    EXPECT_EQ(refused({{"cmd", "set"}, {"id", "v-1"}, {"property", "1:4"}, {"value", "0102"}}),
              "value: expected a whole number, a text like \"0x406\" or 4 bytes, found the text \"0102\"");
    EXPECT_EQ(deviceState("v-1")["values"], (Json{{"1:4", 0x04030201}}));
}

TEST_F(Usb, opens_for_one_at_a_time) {
    const Ref<IOUSBInterfaceInterface> first = control();
    const Ref<IOUSBInterfaceInterface> second = control();
    EXPECT_EQ(get(*first, 0x81).result, kIOReturnNotOpen);
    EXPECT_EQ(first->ClearPipeStall(1), kIOReturnNotOpen);
    EXPECT_EQ(first->USBInterfaceClose(), kIOReturnNotOpen);
    EXPECT_EQ(first->USBInterfaceOpen(), kIOReturnSuccess);
    EXPECT_EQ(first->USBInterfaceOpen(), kIOReturnExclusiveAccess);
    EXPECT_EQ(second->USBInterfaceOpen(), kIOReturnExclusiveAccess);
    EXPECT_EQ(get(*second, 0x81).result, kIOReturnNotOpen);
    EXPECT_EQ(second->USBInterfaceClose(), kIOReturnNotOpen);
    EXPECT_EQ(deviceState("v-1")["interfaceOpen"], true);
    EXPECT_EQ(get(*first, 0x81).result, kIOReturnSuccess);
    EXPECT_EQ(first->USBInterfaceClose(), kIOReturnSuccess);
    EXPECT_EQ(second->USBInterfaceOpen(), kIOReturnSuccess);
}

TEST_F(Usb, closes_an_interface_that_is_let_go) {
    Ref<IOUSBInterfaceInterface> first = control();
    EXPECT_EQ(first->USBInterfaceOpen(), kIOReturnSuccess);
    first = {};
    EXPECT_EQ(deviceState("v-1")["interfaceOpen"], false);
    EXPECT_EQ(control()->USBInterfaceOpen(), kIOReturnSuccess);
}

TEST_F(Usb, says_that_an_unplugged_device_has_gone) {
    const std::vector<Ref<IOService>> found = services();
    const Ref<IOUSBDeviceInterface> shown = device(*found[0]);
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(put(interface, {9, 0, 0, 0}), kIOReturnSuccess);
    must({{"cmd", "detach"}, {"id", "v-1"}});
    for (int round = 0; round < 2; ++round) {
        uint32_t location = 0;
        EXPECT_EQ(shown->GetLocationID(&location), kIOReturnNoDevice);
        IOUSBFindInterfaceRequest wanted = kVideoControl;
        IOIterator* iterator = nullptr;
        EXPECT_EQ(shown->CreateInterfaceIterator(&wanted, &iterator), kIOReturnNoDevice);
        IOCFPlugInInterface* plugIn = nullptr;
        EXPECT_EQ(IOCreatePlugInInterfaceForService(*found[0], IOUserClientType::Device, &plugIn),
                  kIOReturnNoDevice);
        EXPECT_EQ(get(interface, 0x81).result, kIOReturnNoDevice);
        EXPECT_EQ(interface.ClearPipeStall(1), kIOReturnNoDevice);
        EXPECT_EQ(interface.USBInterfaceOpen(), kIOReturnNoDevice);
        EXPECT_EQ(interface.USBInterfaceClose(), kIOReturnNoDevice);
        // Plugged in again it is another device to those that held on.
        if (round == 0) must({{"cmd", "attach"}, {"id", "v-1"}});
    }
    // It lost its power, and with it what was set.
    EXPECT_EQ(get(open(), 0x81), (Answer{kIOReturnSuccess, {156, 0, 0, 0}}));
}

TEST_F(Usb, survives_misuse) {
    EXPECT_EQ(IOServiceGetMatchingServices({}, nullptr), kIOReturnBadArgument);
    EXPECT_EQ(IOObjectRelease(nullptr), kIOReturnBadArgument);
    const Ref<IOService> service = services()[0];
    EXPECT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Device, nullptr),
              kIOReturnBadArgument);
    IOCFPlugInInterface* plugIn = nullptr;
    EXPECT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Interface, &plugIn),
              kIOReturnBadArgument);
    ASSERT_EQ(IOCreatePlugInInterfaceForService(*service, IOUserClientType::Device, &plugIn),
              kIOReturnSuccess);
    const auto owner = Ref<IOCFPlugInInterface>::adopt(plugIn);
    IOUSBInterfaceInterface* wrong = nullptr;
    EXPECT_EQ(plugIn->QueryInterface(&wrong), kIOReturnBadArgument);
    EXPECT_EQ(plugIn->QueryInterface(static_cast<IOUSBDeviceInterface**>(nullptr)), kIOReturnBadArgument);
    const Ref<IOUSBDeviceInterface> shown = device(*service);
    EXPECT_EQ(shown->GetLocationID(nullptr), kIOReturnBadArgument);
    EXPECT_EQ(shown->CreateInterfaceIterator(nullptr, nullptr), kIOReturnBadArgument);
    IOUSBInterfaceInterface& interface = open();
    EXPECT_EQ(interface.ControlRequest(0, nullptr), kIOReturnBadArgument);
    IOUSBDevRequest request{kGet, 0x81, 0x0400, 0x0102, 4, nullptr, 0};
    EXPECT_EQ(interface.ControlRequest(0, &request), kIOReturnBadArgument);
    request.bmRequestType = kSet;
    EXPECT_EQ(interface.ControlRequest(0, &request), kIOReturnBadArgument);
    uint32_t data = 0;
    request.pData = &data;
    EXPECT_EQ(interface.ControlRequest(1, &request), kIOReturnBadArgument);
    EXPECT_EQ(interface.ClearPipeStall(2), kIOReturnBadArgument);
}

TEST_F(Usb, traces_requests_with_all_their_fields) {
    IOUSBInterfaceInterface& interface = open();
    get(interface, 0x81, 4);
    put(interface, {1, 2, 3, 4});
    get(interface, 0x81, 4, 0x0907);
    interface.ClearPipeStall(1);
    interface.USBInterfaceClose();
    const Json trace = must({{"cmd", "trace"}})["trace"];
    struct Row {
        const char* call;
        Json args;
        int64_t result;
    };
    const Row rows[] = {
        {"OpenInterface", Json::object(), 0},
        {"ControlRequest",
         {{"requestType", 0xA1},
          {"request", 0x81},
          {"value", 0x400},
          {"index", 0x102},
          {"length", 4},
          {"data", "9c000000"}},
         0},
        {"ControlRequest",
         {{"requestType", 0x21},
          {"request", 1},
          {"value", 0x400},
          {"index", 0x102},
          {"length", 4},
          {"data", "01020304"}},
         0},
        {"ControlRequest",
         {{"requestType", 0xA1}, {"request", 0x81}, {"value", 0x700}, {"index", 0x902}, {"length", 4}},
         0xE000404F},
        {"ClearPipeStall", {{"pipe", 1}}, 0},
        {"CloseInterface", Json::object(), 0}};
    ASSERT_EQ(trace.size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(trace[i]["call"], rows[i].call);
        EXPECT_EQ(trace[i]["device"], "v-1");
        EXPECT_EQ(trace[i]["args"], rows[i].args);
        EXPECT_EQ(trace[i]["result"], rows[i].result);
    }
}

TEST_F(Usb, fails_as_a_fault_says) {
    struct Row {
        Json match;
        uint16_t unitAndSelector;
        uint8_t code;
        bool isHit;
    };
    const Row rows[] = {
        {{{"unit", 1}}, 0x0104, 0x81, true},         {{{"unit", 2}}, 0x0104, 0x81, false},
        {{{"selector", "0x4"}}, 0x0104, 0x81, true}, {{{"selector", 5}}, 0x0104, 0x81, false},
        {{{"request", 0x81}}, 0x0104, 0x81, true},   {{{"request", 0x82}}, 0x0104, 0x81, false}};
    IOUSBInterfaceInterface& interface = open();
    for (const Row& row : rows) {
        Json fault = {{"cmd", "fault"}, {"call", "ControlRequest"}, {"result", kIOReturnNotPermitted}};
        fault.update(row.match);
        must(fault);
        EXPECT_EQ(get(interface, row.code, 4, row.unitAndSelector).result,
                  row.isHit ? kIOReturnNotPermitted : kIOReturnSuccess)
            << row.match;
        must({{"cmd", "clearFaults"}});
    }
    must({{"cmd", "fault"}, {"call", "CloseInterface"}, {"result", -1}});
    EXPECT_EQ(interface.USBInterfaceClose(), -1);
    EXPECT_EQ(interface.USBInterfaceClose(), kIOReturnSuccess);
    must({{"cmd", "fault"}, {"call", "OpenInterface"}, {"result", "0xE00002C5"}});
    EXPECT_EQ(interface.USBInterfaceOpen(), kIOReturnExclusiveAccess);
    EXPECT_EQ(get(interface, 0x81).result, kIOReturnNotOpen);
}

TEST_F(Usb, takes_requests_of_several_threads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            const Ref<IOUSBInterfaceInterface> own = control();
            for (int round = 0; round < 200; ++round) {
                if (own->USBInterfaceOpen() != kIOReturnSuccess) continue;
                EXPECT_EQ(put(*own, {1, 1, 1, 1}), kIOReturnSuccess);
                EXPECT_EQ(get(*own, 0x81), (Answer{kIOReturnSuccess, {1, 1, 1, 1}}));
                EXPECT_EQ(own->USBInterfaceClose(), kIOReturnSuccess);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace test
