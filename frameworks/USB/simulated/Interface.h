/* Interface.h: the video-control interface of a webcam.
 *
 * Thread: any. Who opens it keeps everybody else out until he closes it.
 * Owns:   its being open; destroying it closes it.
 * Errors: what the bus and the device say, in the platform's numbers.
 */
#pragma once

#include <utility>

#include "frameworks/USB/simulated/Bus.h"

namespace bus {

class Interface final : public IOUSBInterfaceInterface {
public:
    explicit Interface(Attachment at) : at_(std::move(at)) {}

    IOReturn USBInterfaceOpen() override;
    IOReturn USBInterfaceClose() override;
    IOReturn ControlRequest(uint8_t pipeRef, IOUSBDevRequest* request) override;
    IOReturn ClearPipeStall(uint8_t pipeRef) override;

private:
    ~Interface() override;

    IOReturn carryOut(uint8_t pipeRef, IOUSBDevRequest& request);

    const Attachment at_;
    const Tally tally_{Kind::interface};
};

}  // namespace bus
