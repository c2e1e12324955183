/* FakeUsb.h: a USB bus of the test's own behind USBControl.h, with a record of all that was asked of it.
 *
 * Thread: the record is guarded; devices are set up before they are used.
 * Owns:   its devices, until reset().
 */
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "USBControl.h"

struct FakeUsbControl {
    uint64_t min = 0;
    uint64_t max = 255;
    uint64_t current = 0;
};

struct FakeUsbDevice {
    uint32_t location = 0;
    uint16_t vendor = 0;
    uint16_t product = 0;
    bool hasControlInterface = true;
    /** The number that requests must carry; others stall. */
    uint8_t interface = 0;
    std::map<std::pair<int, int>, FakeUsbControl> controls;  // by unit and selector

    // What goes wrong; 0: nothing.
    IOReturn devicePlugIn = 0;
    IOReturn deviceQuery = 0;
    IOReturn interfacePlugIn = 0;
    IOReturn interfaceRelease = 0;
    IOReturn interfaceQuery = 0;
    IOReturn open = 0;
    IOReturn request = 0;
};

class FakeUsb {
public:
    static FakeUsb& bus();

    void reset();
    FakeUsbDevice& add(const FakeUsbDevice& device);

    /** "open", "close", "clear 1" and requests as "A1 81 0400 0100 4", or with the bytes set
     *  "21 01 0400 0100 4: 10270000", oldest first. */
    std::vector<std::string> calls();
    /** The requests alone. */
    std::vector<std::string> requests();
    void forget();
    void note(const std::string& call);
    IOReturn carryOut(FakeUsbDevice& device, IOUSBDevRequest& request);
    std::vector<FakeUsbDevice*> devices();
    /** Interfaces that are open now, and the most that ever were at once. */
    int openInterfaces = 0;
    int mostOpenInterfaces = 0;
    std::mutex mutex;

private:
    std::vector<std::unique_ptr<FakeUsbDevice>> devices_;
    std::vector<std::string> calls_;
};
