#include "Nikon/ModuleFiles.h"

#include <cstdio>
#include <iterator>

namespace nikon {

namespace {

constexpr char kDriver[] = "/libNkPTPDriver.dylib";

// By module type: the bodies that have a module of their own, then the generations that share one.
constexpr const char* kBundles[] = {
    "/D1 Module.bundle",       "/D2 Module.bundle",       "/D40 Module.bundle",
    "/D50 Module.bundle",      "/D70 Module.bundle",      "/D80 Module.bundle",
    "/D100 Module.bundle",     "/D200 Module.bundle",     "/Type0001 Module.bundle",
    "/Type0002 Module.bundle", "/Type0003 Module.bundle", "/Type0004 Module.bundle",
    "/Type0005 Module.bundle", "/Type0006 Module.bundle", "/Type0007 Module.bundle",
    "/Type0008 Module.bundle",
};

/** False when the buffer cuts it short. */
bool join(char (&path)[kModulePathSize], const char* directory, const char* name) {
    const int length = std::snprintf(path, sizeof path, "%s%s", directory, name);
    return length >= 0 && static_cast<size_t>(length) < sizeof path;
}

}  // namespace

const char* bundleName(int32_t moduleType) {
    if (moduleType < 0 || moduleType >= static_cast<int32_t>(std::size(kBundles))) return "";
    return kBundles[moduleType];
}

bool findModuleFiles(const char* directory, int32_t moduleType, ModuleFiles* files) {
    *files = {};
    if (directory == nullptr) return false;
    if (join(files->bundle, directory, bundleName(moduleType)) && join(files->driver, directory, kDriver)) {
        return true;
    }
    *files = {};
    join(files->bundle, directory, "");
    return false;
}

}  // namespace nikon
