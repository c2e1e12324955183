#include "frameworks/USB/simulated/Bus.h"

#include <array>
#include <atomic>

#include "lab/Call.h"
#include "lab/State.h"

namespace bus {

namespace {

using lab::video::UsbOutcome;

constexpr std::array<const char*, kKindCount> kKindNames = {"services", "iterators", "plugIns", "devices",
                                                            "interfaces"};
std::array<std::atomic<int64_t>, kKindCount> living{};

class Teller final : public lab::StateSource {
public:
    std::string_view library() const override { return "USBControl"; }
    void writeLibrary(lab::JsonText& out) override {
        out.key("objects").beginObject();
        for (size_t kind = 0; kind < kKindCount; ++kind) {
            out.key(kKindNames[kind]).number(living[kind]);
        }
        out.endObject();
    }
    void writeDevice(std::string_view /*device*/, lab::JsonText& /*out*/) override {}
};

__attribute__((constructor)) void introduce() {
    static auto* teller = new Teller;
    lab::addStateSource(teller);
}

}  // namespace

Tally::Tally(Kind kind) : kind_(kind) {
    ++living[static_cast<size_t>(kind)];
}

Tally::~Tally() {
    --living[static_cast<size_t>(kind_)];
}

IOReturn faultOf(std::string_view call, const std::string& device) {
    return static_cast<IOReturn>(lab::faultAt(call, device).value_or(kIOReturnSuccess));
}

IOReturn returnOf(UsbOutcome outcome) {
    switch (outcome) {
        case UsbOutcome::ok:
            return kIOReturnSuccess;
        case UsbOutcome::gone:
            return kIOReturnNoDevice;
        case UsbOutcome::inUse:
            return kIOReturnExclusiveAccess;
        case UsbOutcome::notOpen:
            return kIOReturnNotOpen;
        case UsbOutcome::stalled:
            return kIOUSBPipeStalled;
    }
    return kIOReturnError;
}

}  // namespace bus
