// An empty bus: every search succeeds and finds nothing.
#include "USBControl.h"

#include <new>

namespace {

class EmptyIterator final : public IOIterator {
public:
    IOService* next() override { return nullptr; }

private:
    ~EmptyIterator() override = default;
};

}  // namespace

IOReturn IOServiceGetMatchingServices(const IOServiceMatching& /*matching*/, IOIterator** iterator) {
    if (iterator == nullptr) return kIOReturnBadArgument;
    auto* empty = new (std::nothrow) EmptyIterator;
    if (empty == nullptr) return kIOReturnNoMemory;
    *iterator = empty;
    return kIOReturnSuccess;
}

IOReturn IOCreatePlugInInterfaceForService(IOService& /*service*/, IOUserClientType /*type*/,
                                           IOCFPlugInInterface** /*plugIn*/) {
    return kIOReturnNoDevice;
}

IOReturn IOObjectRelease(IOService* service) {
    if (service == nullptr) return kIOReturnBadArgument;
    service->release();
    return kIOReturnSuccess;
}
