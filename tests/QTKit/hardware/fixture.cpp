#include "tests/QTKit/hardware/fixture.h"

#include <algorithm>
#include <cmath>
#include <fstream>

namespace test {

Yuv shadeAt(int x, int y) {
    // The same colour for two neighbours, who share their colour differences.
    const double red = x / 2 % 8 * 255 / 7.0;
    const double green = y % 16 * 255 / 15.0;
    const double blue = (x / 16 + y / 16 * 4) % 12 * 255 / 11.0;
    const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
    const auto byte = [](double value) { return static_cast<uint8_t>(std::lround(value)); };
    return {byte(16 + luma * 219 / 255), byte(128 + (blue - luma) / 1.772 * 224 / 255),
            byte(128 + (red - luma) / 1.402 * 224 / 255)};
}

Raw yuyv(int width, int height, int surplus) {
    constexpr uint8_t kNoMeaning = 0xEE;
    Raw raw;
    raw.bytesPerRow = width * 2 + surplus;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; x += 2) {
            const Yuv left = shadeAt(x, y);
            raw.bytes.insert(raw.bytes.end(), {left.y, left.u, shadeAt(x + 1, y).y, left.v});
        }
        raw.bytes.insert(raw.bytes.end(), static_cast<size_t>(surplus), kNoMeaning);
    }
    return raw;
}

void HardwareTest::SetUpTestSuite() {
    static const bool isFirst = [] {
        registerFakes();
        return true;
    }();
    static_cast<void>(isFirst);
}

void HardwareTest::TearDown() {
    for (const FakeRef& fake : fakes_) {
        // Streams let go of their devices soon after their sessions end.
        EXPECT_TRUE(eventually([&] { return fake->openCount == 0; })) << fake->name;
    }
    pullOutAll();
}

FakeRef HardwareTest::webcam(const std::string& name, const std::string& caps, const std::string& node) {
    auto fake = std::make_shared<FakeWebcam>();
    fake->name = name;
    fake->caps = caps;
    fake->properties["device.path"] = pathOf(node.empty() ? name : node);
    std::ofstream(fake->properties["device.path"]) << "node";
    fake->paint = [](int width, int height, const std::string&, uint64_t) { return yuyv(width, height); };
    fakes_.push_back(fake);
    return fake;
}

std::vector<Ref<QTCaptureDevice>> HardwareTest::devices() {
    const CallScope scope;
    std::vector<Ref<QTCaptureDevice>> fakes;
    const QTCaptureDeviceList* list = QTCaptureDevice::inputDevices();
    EXPECT_NE(list, nullptr);
    if (list == nullptr) return fakes;
    std::copy_if(list->begin(), list->end(), std::back_inserter(fakes),
                 [](const Ref<QTCaptureDevice>& device) {
                     return device->localizedDisplayName().starts_with("fake");
                 });
    return fakes;
}

std::vector<std::string> HardwareTest::names() {
    std::vector<std::string> names;
    for (const Ref<QTCaptureDevice>& device : devices())
        names.push_back(device->localizedDisplayName());
    return names;
}

Ref<QTCaptureDevice> HardwareTest::device(const std::string& name) {
    for (const Ref<QTCaptureDevice>& device : devices()) {
        if (device->localizedDisplayName() == name) return device;
    }
    ADD_FAILURE() << "no device " << name;
    return {};
}

}  // namespace test
