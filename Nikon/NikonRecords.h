/* NikonRecords.h: the records behind the two kinds of handle, and the hold that a call takes on them.
 *
 * A camera module works for one thread at a time, with everything under it. Each loaded module therefore has
 * one lock, which a call takes before it looks at anything of the module and keeps until it has its result.
 * No call takes the locks of two modules, and nothing else is waited for under one except the module itself
 * and a host that does not read its events.
 *
 * Thread: any; a record's fields are used under its module's lock only, unless they say otherwise.
 * Owns:   a camera's record keeps its module's record in memory: a camera can be released after its module
 *         has been closed.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <type_traits>
#include <utility>

#include "Nikon/CameraData.h"
#include "Nikon/Function.h"
#include "TarvoRemote/jni_env.h"
#include "platform/CallScope.h"
#include "platform/Handles.h"

namespace nikon {

struct NikonCamera;

struct NikonModule {
    tagRefObj root{};                    // its address is the handle
    NikonCamera* firstCamera = nullptr;  // selected and not yet released
    std::mutex* lock = nullptr;          // of the loaded module; set before isOpen
    std::atomic<bool> isOpen = false;
};

struct NikonCamera {
    explicit NikonCamera(handles::Pin<NikonModule> itsModule) : module(std::move(itsModule)) {}

    CameraData data{};  // its address is the handle
    NikonCamera* next = nullptr;
    const handles::Pin<NikonModule> module;
};

static_assert(std::is_standard_layout_v<NikonModule> && offsetof(NikonModule, root) == 0);
static_assert(std::is_standard_layout_v<NikonCamera> && offsetof(NikonCamera, data) == 0);

/** The lock of everything behind one entry point; the same for all who loaded the same module. Null when
 *  there is no memory for a new one. */
std::mutex* lockOfLoadedModule(MaidEntryPoint entryPoint);

/** Handles are addresses, as wide as the wire's longs; 0 for a number that is no address on this machine. */
inline intptr_t toAddress(jlong handle) {
    return std::in_range<intptr_t>(handle) ? static_cast<intptr_t>(handle) : 0;
}

inline jlong toHandle(const void* record) {
    return reinterpret_cast<intptr_t>(record);
}

inline handles::Pin<NikonCamera> pinCamera(jlong handle) {
    return handles::pin<NikonCamera>(handles::Kind::NikonCamera, toAddress(handle));
}

/** An open module, for the length of one call; false when the handle names none. */
class ModuleCall {
public:
    explicit ModuleCall(jlong handle);

    explicit operator bool() const { return lock_.owns_lock(); }
    NikonModule* operator->() const { return module_.get(); }
    tagRefObj* root() const { return &module_->root; }
    const handles::Pin<NikonModule>& module() const { return module_; }

private:
    handles::Pin<NikonModule> module_;
    std::unique_lock<std::mutex> lock_;
    CallScope removedObjects_;  // objects that the module takes away stay in memory until the call ends
};

/** An active camera, for the length of one call; false when the handle names none. */
class CameraCall {
public:
    explicit CameraCall(jlong handle);

    explicit operator bool() const { return lock_.owns_lock(); }
    CameraData& camera() const { return camera_->data; }
    /** Null when the camera has lost its object in the module's tree. */
    tagRefObj* source() const { return camera_->data.source; }

private:
    handles::Pin<NikonCamera> camera_;
    std::unique_lock<std::mutex> lock_;
    CallScope removedObjects_;
};

}  // namespace nikon
