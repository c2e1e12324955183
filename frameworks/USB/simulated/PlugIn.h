/* PlugIn.h: from a service to the calls on it.
 *
 * Thread: any.
 */
#pragma once

#include <utility>

#include "frameworks/USB/simulated/Bus.h"

namespace bus {

class PlugIn final : public IOCFPlugInInterface {
public:
    PlugIn(Attachment at, IOUserClientType type) : at_(std::move(at)), type_(type) {}

    IOReturn QueryInterface(IOUSBDeviceInterface** device) override;
    IOReturn QueryInterface(IOUSBInterfaceInterface** interface) override;

private:
    ~PlugIn() override = default;

    const Attachment at_;
    const IOUserClientType type_;
    const Tally tally_{Kind::plugIn};
};

}  // namespace bus
