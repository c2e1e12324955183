#include "Nikon/NikonRecords.h"

#include <map>
#include <new>

namespace nikon {

std::mutex* lockOfLoadedModule(MaidEntryPoint entryPoint) {
    try {
        // Never destroyed, and never smaller: a module stays loaded for the life of the process.
        static auto* const lock = new std::mutex;
        static auto* const locks = new std::map<MaidEntryPoint, std::mutex>;
        const std::lock_guard guard(*lock);
        return &(*locks)[entryPoint];
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

ModuleCall::ModuleCall(jlong handle)
    : module_(handles::pin<NikonModule>(handles::Kind::NikonModule, toAddress(handle))) {
    // One that is only being opened is nobody's yet, and may not even have its lock.
    if (!module_ || !module_->isOpen) return;
    lock_ = std::unique_lock(*module_->lock);
    if (!module_->isOpen) lock_.unlock();  // closed while we waited
}

CameraCall::CameraCall(jlong handle) : camera_(pinCamera(handle)) {
    if (!camera_) return;
    lock_ = std::unique_lock(*camera_->module->lock);
    if (camera_->data.active == 0) lock_.unlock();
}

}  // namespace nikon
