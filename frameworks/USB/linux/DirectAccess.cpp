#include "frameworks/USB/linux/DirectAccess.h"

#include <dlfcn.h>

#include <cstdio>

namespace usb {

namespace {

const DirectAccess* load() {
    // Found beside this library by its run path. Never unloaded: a device may be open until the process ends.
    void* const plugIn = dlopen("libTarvoUSB-libusb.so", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (plugIn == nullptr) {
        std::fprintf(stderr, "USBControl: Failed to load the library for devices without a driver: %s\n",
                     dlerror());
        return nullptr;
    }
    const auto entry = reinterpret_cast<DirectAccessEntry>(dlsym(plugIn, kDirectAccessSymbol));
    return entry == nullptr ? nullptr : entry();
}

}  // namespace

const DirectAccess* loadDirectAccess() {
    static const DirectAccess* const loaded = load();
    return loaded;
}

}  // namespace usb
