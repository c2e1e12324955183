#include "Nikon/MaidModule.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "Nikon/debug.h"
#include "platform/Bundles.h"

namespace nikon {

namespace {

/** Paths of modules are plain ASCII, as they have always been. */
bool isPathText(std::string_view path) {
    return !path.empty() &&
           std::ranges::all_of(path, [](char c) { return static_cast<unsigned char>(c) - 1U < 0x7F; });
}

int loadBundle(tagRefObj* root, const char* path) {
    auto bundle = bundles::Bundle::create(path);
    if (bundle == nullptr) {
        debug("Can't CFBundleCreate\n");
        return kNoBundle;
    }
    if (!bundle->loadExecutable()) {
        debug("Can't CFBundleLoadExecutable\n");
        return kNoExecutable;
    }
    void* function = bundle->functionPointer("MAIDEntryPoint");
    if (function == nullptr) {
        debug("Can't CFBundleGetFunctionPointerForName\n");
        return kNoMaidEntryPoint;
    }
    // First, so that nothing can lead into code that has been unloaded.
    bundles::keepLoaded(std::move(bundle));
    root->entryPoint = reinterpret_cast<MaidEntryPoint>(function);
    return kLoaded;
}

}  // namespace

int Load_Module(tagRefObj* root, const char* libraryPath, const char* bundlePath) {
    try {
        bundles::loadLibrary(libraryPath);
        return isPathText(bundlePath) ? loadBundle(root, bundlePath) : kBundlePathIsNoText;
    } catch (const std::bad_alloc&) {
        debug("Can't CFBundleLoadExecutable\n");
        return kNoExecutable;
    }
}

}  // namespace nikon
