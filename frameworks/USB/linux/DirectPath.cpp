// Requests to an interface that no driver serves, as they stand.
#include <utility>

#include "frameworks/USB/linux/Errors.h"
#include "frameworks/USB/linux/Path.h"

namespace usb {

namespace {

class DirectPath final : public Path {
public:
    DirectPath(const Target& target, Descriptor node) : target_(target), node_(std::move(node)) {}

    ~DirectPath() override {
        if (device_ != nullptr) access_->close(device_);
    }

    IOReturn open() {
        access_ = target_.system.directAccess();
        if (access_ == nullptr) return kIOReturnError;
        return access_->open(node_.get(), target_.interface.number, &device_);
    }

    IOReturn request(IOUSBDevRequest& request) override {
        // The system would take the other interface away from its driver for this one request.
        if (isToAnotherInterface(request)) return kIOUSBPipeStalled;
        if (isFromDevice(request)) return access_->request(device_, &request);
        return atPace(target_, [&] { return access_->request(device_, &request); });
    }

private:
    bool isToAnotherInterface(const IOUSBDevRequest& request) const {
        constexpr uint8_t kRecipient = 0x1F;
        constexpr uint8_t kInterface = 1;
        return (request.bmRequestType & kRecipient) == kInterface &&
               (request.wIndex & 0xFF) != target_.interface.number;
    }

    const Target& target_;
    const Descriptor node_;
    const DirectAccess* access_ = nullptr;
    DirectDevice* device_ = nullptr;
};

}  // namespace

IOReturn openDirectPath(const Target& target, std::unique_ptr<Path>& path) {
    const int opened = target.system.open(rawNodeOf(target.system, target.device));
    if (opened < 0) return returnOfOpen(-opened);
    auto direct = std::make_unique<DirectPath>(target, Descriptor(target.system, opened));
    const IOReturn result = direct->open();
    if (result == kIOReturnSuccess) path = std::move(direct);
    return result;
}

IOReturn openPath(const Target& target, std::unique_ptr<Path>& path) {
    const std::vector<std::string> nodes = videoNodesOf(target.system, target.device, target.interface);
    return nodes.empty() ? openDirectPath(target, path) : openDriverPath(target, nodes, path);
}

}  // namespace usb
