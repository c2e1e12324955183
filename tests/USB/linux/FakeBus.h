/* FakeBus.h: a system with made-up webcams, for the hardware library to stand on: a folder in the shape of
 * sysfs, a driver that answers the kernel's control calls as the real one does, and a clock that moves only
 * when somebody sleeps.
 *
 * Thread: any.
 */
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "frameworks/USB/linux/System.h"
#include "tests/USB/linux/DescriptorBytes.h"
#include "tests/host/TempFolder.h"

namespace test {

/** A control as the driver shows it. */
struct FakeControl {
    int32_t lowest = 0;
    int32_t highest = 255;
    int32_t step = 1;
    int32_t standard = 128;
    int32_t current = 128;
    uint32_t flags = 0;
    std::vector<uint32_t> menu{};  // the items that the device has
};

/** A webcam behind its driver. */
struct FakeWebcam {
    std::map<uint32_t, FakeControl> controls;
    std::map<std::pair<uint8_t, uint8_t>, Bytes> extensions;  // by unit and selector
    uint32_t capabilities = 1;                                // V4L2_CAP_VIDEO_CAPTURE
    std::map<unsigned long, int> errors;                      // of a kernel call: the errno that it gives
    bool isGone = false;

    struct Set {
        usb::Duration at;
        std::vector<std::pair<uint32_t, int32_t>> values;
        bool operator==(const Set&) const = default;
    };
    std::vector<Set> sets;         // that reached it
    std::vector<uint8_t> queries;  // of extension units: the codes, in order
    int calls = 0;                 // of the kernel, of any kind
};

class FakeBus final : public usb::System {
public:
    FakeBus();

    /** A device in the shape of sysfs; `number` tells one plugging in from the next. */
    void plugIn(const std::string& name, uint32_t number, const Bytes& descriptors,
                const std::string& vendor = "046d", const std::string& product = "082d");
    void addInterface(const std::string& device, const std::string& name, uint8_t number,
                      const std::string& deviceClass, const std::string& subclass);
    /** A video node below the interface, and the webcam that it leads to. */
    void addNode(const std::string& device, const std::string& interface, const std::string& node,
                 FakeWebcam& webcam);
    void pullOut(const std::string& name);
    void refuseOpen(const std::string& path, int error);
    void addRawNode(const std::string& path) { rawNodes_.push_back(path); }
    void setDirectAccess(const usb::DirectAccess* access) { access_ = access; }

    int open(const std::string& path) override;
    void close(int descriptor) override;
    int control(int descriptor, unsigned long request, void* argument) override;
    usb::Duration now() override;
    void sleepFor(usb::Duration time) override;
    const usb::DirectAccess* directAccess() override { return access_; }

    /** Descriptors that nobody has closed. */
    size_t openCount();
    std::vector<usb::Duration> sleeps();

private:
    void write(const std::string& path, const std::string& text) const;

    const fake::TempFolder folder_;
    std::mutex mutex_;
    std::map<std::string, FakeWebcam*> nodes_;
    std::vector<std::string> rawNodes_;
    std::map<std::string, int> refusals_;
    std::map<int, FakeWebcam*> descriptors_;  // null: a raw node
    int lastDescriptor_ = 100;
    usb::Duration now_ = std::chrono::hours(1);
    std::vector<usb::Duration> sleeps_;
    const usb::DirectAccess* access_ = nullptr;
};

}  // namespace test
