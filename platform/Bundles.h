/* Bundles.h: loadable bundles: a folder with an information list and code.
 *
 *     Some Module.bundle/Contents/Info.plist          property list, as XML or binary
 *     Some Module.bundle/Contents/Linux/EXECUTABLE    a shared object; the list's CFBundleExecutable names it
 *
 * A folder that has no Contents/ may hold both side by side at its top instead.
 *
 * Thread: any, one at a time for a bundle.
 * Owns:   a bundle owns its executable, which is unloaded with it, unless it is kept.
 * Errors: null or false; nothing is logged here.
 * Follows: Core Foundation's bundles as far as said here. A name in the list that would lead out of the
 *          folder names nothing.
 */
#pragma once

#include <memory>
#include <string>

#include "platform/Export.h"

namespace bundles {

class TARVO_PLATFORM_API Bundle {
public:
    /** The folder of that path, whatever it holds; null when there is none. */
    static std::unique_ptr<Bundle> create(const std::string& path);
    ~Bundle();
    Bundle(const Bundle&) = delete;
    Bundle& operator=(const Bundle&) = delete;

    /** Loads the code and binds all of it at once. True, too, when it is loaded already. */
    bool loadExecutable();
    /** Something that the executable exports; null when it is not loaded or has nothing of that name. */
    void* functionPointer(const char* name) const;

private:
    explicit Bundle(std::string path) : path_(std::move(path)) {}

    std::string path_;
    void* executable_ = nullptr;
};

/** Leaves the bundle's executable loaded for the life of the process. */
TARVO_PLATFORM_API void keepLoaded(std::unique_ptr<Bundle> bundle);

/** Loads a library for the life of the process; false when it cannot be loaded. */
TARVO_PLATFORM_API bool loadLibrary(const std::string& path);

}  // namespace bundles
