#include "frameworks/QuickTime/gstreamer/PlugIns.h"

#include <dlfcn.h>

#include <cstdio>
#include <string>

namespace {

/** By its whole path: sanitizers' dlopen() does not look where this library's run path leads. */
std::string besideThisLibrary(const char* name) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&movieToolkit), &info) == 0 || info.dli_fname == nullptr) return name;
    const std::string self = info.dli_fname;
    const size_t slash = self.rfind('/');
    return slash == std::string::npos ? name : self.substr(0, slash + 1) + name;
}

template <class Entry>
Entry findEntry(const char* library, const char* symbol) {
    void* const plugIn = dlopen(besideThisLibrary(library).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const found = plugIn != nullptr ? dlsym(plugIn, symbol) : nullptr;
    if (found == nullptr) std::fprintf(stderr, "QuickTime: Failed to load %s: %s\n", library, dlerror());
    return reinterpret_cast<Entry>(found);
}

}  // namespace

const MovieToolkit* movieToolkit() {
    static const MovieToolkit* toolkit = nullptr;
    if (toolkit == nullptr) {
        const auto entry =
            findEntry<decltype(&tarvoMovieToolkit)>("libTarvoMovies-gst.so", kMovieToolkitSymbol);
        toolkit = entry != nullptr ? entry() : nullptr;
    }
    return toolkit;
}

const DialogToolkit* dialogToolkit() {
    static const DialogToolkit* toolkit = nullptr;
    if (toolkit == nullptr) {
        const auto entry =
            findEntry<decltype(&tarvoDialogToolkit)>("libTarvoExportDialog-gtk.so", kDialogToolkitSymbol);
        toolkit = entry != nullptr ? entry() : nullptr;
    }
    return toolkit;
}
