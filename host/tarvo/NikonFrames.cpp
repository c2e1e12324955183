#include "host/tarvo/NikonFrames.h"

#include <thread>

#include "host/client/Jpeg.h"
#include "host/client/protocol.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/NikonSeries.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

constexpr int32_t kZoomRate = 0x823F;
constexpr auto kFirstFrameLimit = 15s;
constexpr auto kRetry = 20ms;

}  // namespace

NikonFrames::~NikonFrames() {
    auto& nikon = access_.nikon();
    if (usualZoom_ >= 0) {
        if (auto error = nikon.client().setSetting(nikon.camera(), kZoomRate, usualZoom_))
            note("the enlargement could not be set back: {}", error.text);
    }
    if (!isOn_) return;
    const auto isOff = nikon.client().setLiveView(nikon.camera(), false);
    if (!isOff.ok() || !isOff.value) note("live view could not be switched off");
}

int NikonFrames::start() {
    auto& nikon = access_.nikon();
    const auto isSwitched = nikon.client().setLiveView(nikon.camera(), true);
    if (!isSwitched.ok()) return report(isSwitched.error);
    isOn_ = isSwitched.value;
    if (isOn_) return kExitOk;
    // No is also the answer of a camera whose live view was on, which is then not ours to end.
    const auto isLive = nikon.client().isLiveView(nikon.camera());
    if (!isLive.ok()) return report(isLive.error);
    if (isLive.value) return kExitOk;
    complain("'{}' does not start live view. Its mode dial, its mirror or its temperature may not allow it",
             access_.name());
    return kExitFailed;
}

Result<std::vector<uint8_t>> NikonFrames::frame() {
    return access_.nikon().client().getLiveViewImage(access_.nikon().camera());
}

bool NikonFrames::tellsGone(const Event& event) {
    const auto* status = std::get_if<StatusEvent>(&event);
    if (status != nullptr && status->module == kModuleNikon && status->value == kNikonStatusTooHot)
        note("the camera is getting too hot: it will end live view soon");
    return tellsNikonGone(event);
}

int NikonFrames::zoom(const std::vector<float>& position) {
    if (const int status = enlarge(); status != kExitOk) return status;
    if (position.size() == 2) {
        if (const int status = moveTo(position); status != kExitOk) return status;
    }
    return tellArea();
}

int NikonFrames::enlarge() {
    auto& nikon = access_.nikon();
    const auto rates = nikon.client().getSettingOptions(nikon.camera(), kZoomRate);
    if (!rates.ok()) return report(rates.error);
    const auto now = nikon.client().getSetting(nikon.camera(), kZoomRate);
    if (!now.ok()) return report(now.error);
    if (rates.value.size() < 2 || now.value < 0) {
        complain("'{}' does not enlarge its live view", access_.name());
        return kExitFailed;
    }
    usualZoom_ = now.value;
    // Rates rise from the whole picture to pixel by pixel.
    const auto last = static_cast<int32_t>(rates.value.size()) - 1;
    return report(nikon.client().setSetting(nikon.camera(), kZoomRate, last));
}

int NikonFrames::moveTo(const std::vector<float>& position) {
    // The helper needs a frame before it can tell where in the picture a place is.
    const auto end = Clock::now() + kFirstFrameLimit;
    for (;;) {
        const auto image = frame();
        if (!image.ok()) return report(image.error);
        const auto size = jpegSize(image.value);
        if (size.width > 0) {
            auto& nikon = access_.nikon();
            const auto x = static_cast<int32_t>(position[0] * static_cast<float>(size.width));
            const auto y = static_cast<int32_t>(position[1] * static_cast<float>(size.height));
            return report(nikon.client().setLiveViewZoomPosition(nikon.camera(), x, y));
        }
        if (interrupt::isRequested()) return kExitInterrupted;
        if (Clock::now() >= end) {
            complain("the camera shows no live-view frame");
            return kExitTimeout;
        }
        std::this_thread::sleep_for(kRetry);
    }
}

int NikonFrames::tellArea() {
    auto& client = access_.nikon().client();
    const int64_t camera = access_.nikon().camera();
    const auto image = frame();  // which tells where the enlarged part is now
    const auto x = client.getLiveViewZoomPositionX(camera);
    const auto y = client.getLiveViewZoomPositionY(camera);
    const auto width = client.getLiveViewZoomWidth(camera);
    const auto height = client.getLiveViewZoomHeight(camera);
    for (const auto* error : {&image.error, &x.error, &y.error, &width.error, &height.error}) {
        if (*error) return report(*error);
    }
    note("enlarged: {} x {} pixels of the picture, at {}, {}", width.value, height.value, x.value, y.value);
    return kExitOk;
}

}  // namespace tarvo
