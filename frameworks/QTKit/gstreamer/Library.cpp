#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "frameworks/QTKit/gstreamer/Toolkit.h"
#include "platform/Companion.h"

namespace capture {

namespace {

constexpr const char* kPlugIn = "libTarvoCapture-gst.so";

const Toolkit* loadToolkit() {
    // By its whole path: sanitizers' dlopen() does not look where this library's run path leads.
    const std::string path = fileBeside(reinterpret_cast<const void*>(&toolkit), kPlugIn);
    void* const plugIn = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const entry = plugIn != nullptr ? dlsym(plugIn, kCaptureToolkitSymbol) : nullptr;
    if (entry == nullptr) {
        std::fprintf(stderr, "QTKit: Failed to load %s: %s\n", kPlugIn, dlerror());
        return nullptr;
    }
    return reinterpret_cast<decltype(&tarvoCaptureToolkit)>(entry)();
}

/** GStreamer's V4L2 source can leave the buffers of a stopped stream to their driver. In 1.22.0 it forgets a
 *  reference on its pool of buffers then, so that each stream leaves descriptors open, the node's among them.
 *  Asked for, it takes the buffers back instead, and forgets nothing. Done when this library is loaded,
 * before there are threads: one of them could be reading the environment.
 */
[[gnu::constructor]] void takeBuffersBack() {
    constexpr int kKeepWhatIsSet = 0;
    setenv("GST_V4L2_FORCE_DRAIN", "1", kKeepWhatIsSet);
}

}  // namespace

const Toolkit* toolkit() {
    static const Toolkit* const loaded = loadToolkit();
    return loaded;
}

}  // namespace capture
