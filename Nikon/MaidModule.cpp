#include "Nikon/MaidModule.h"

#include <algorithm>
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

}  // namespace

int Load_Module(tagRefObj* root, const char* libraryPath, const char* bundlePath) {
    bundles::loadLibrary(libraryPath);
    if (!isPathText(bundlePath)) return kBundlePathIsNoText;
    auto bundle = bundles::Bundle::create(bundlePath);
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
    root->entryPoint = reinterpret_cast<MaidEntryPoint>(function);
    bundles::keepLoaded(std::move(bundle));
    return kLoaded;
}

}  // namespace nikon
