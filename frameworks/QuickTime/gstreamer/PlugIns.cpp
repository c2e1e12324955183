#include "frameworks/QuickTime/gstreamer/PlugIns.h"

#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "platform/Companion.h"

namespace {

constexpr const char* kPlugIn = "libTarvoMovies-gst.so";

const MovieToolkit* loadToolkit() {
    // By its whole path: sanitizers' dlopen() does not look where this library's run path leads.
    const std::string path = fileBeside(reinterpret_cast<const void*>(&movieToolkit), kPlugIn);
    void* const plugIn = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const found = plugIn != nullptr ? dlsym(plugIn, kMovieToolkitSymbol) : nullptr;
    if (found == nullptr) {
        std::fprintf(stderr, "QuickTime: Failed to load %s: %s\n", kPlugIn, dlerror());
        return nullptr;
    }
    return reinterpret_cast<decltype(&tarvoMovieToolkit)>(found)();
}

}  // namespace

const MovieToolkit* movieToolkit() {
    static const MovieToolkit* toolkit = nullptr;
    if (toolkit == nullptr) toolkit = loadToolkit();
    return toolkit;
}
