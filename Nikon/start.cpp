/* start.cpp: a camera module, from its bundle to its end. */
#include <cstdlib>
#include <mutex>
#include <utility>

#include "Nikon/ModuleFiles.h"
#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "Nikon/nikon_internal.h"
#include "platform/CallScope.h"

using namespace nikon;

namespace {

using handles::Kind;

constexpr uint32_t kModuleMode = 0x8101;

bool load(tagRefObj& root, const ModuleFiles& files) {
    // One at a time: a driver's and a module's own start-up code run in here.
    static std::mutex loading;
    const std::lock_guard guard(loading);
    if (Load_Module(&root, files.driver, files.bundle) == 0) return true;
    debug("Failed in loading %s.\n", files.bundle);
    return false;
}

bool openObject(tagRefObj& root) {
    InitRefObj(&root);
    root.object = static_cast<NkMAIDObject*>(std::calloc(1, sizeof(NkMAIDObject)));
    if (root.object == nullptr) {
        debug("There is not enough memory.\n");
        return false;
    }
    root.object->clientRef = &root;
    // With no object to call it on yet: the module's own is the one that is opened.
    const int32_t result = root.entryPoint(nullptr, kMaidCommandOpen, 0, kMaidDataObjectPtr,
                                           reinterpret_cast<MaidParam>(root.object), nullptr, nullptr);
    if (result == kMaidResultNoError) return true;
    debug("Module object can't be opened.\n");
    return false;
}

bool prepare(tagRefObj& root) {
    if (!EnumCapabilities(&root, &root.capCount, &root.capInfo)) {
        debug("Failed in enumeration of capabilities.\n");
        return false;
    }
    if (!SetProc(&root)) {
        debug("Failed in setting a call back function.\n");
        return false;
    }
    if (CheckCapabilityOperation(&root, kModuleMode, kMaidOperationSet) &&
        !Command_CapSet(&root, kModuleMode, kMaidDataUnsigned, 1)) {
        debug("Failed in setting kNkMAIDCapability_ModuleMode.\n");
        return false;
    }
    return true;
}

/** The module was not told that these objects are closed. It may look into their records for as long as it is
 *  loaded, so nothing else may come to lie in their places. */
void keepObjectRecords(tagRefObj& object) {
    static std::mutex lock;
    static NkMAIDObject* kept = nullptr;  // chained by the reference that is ours
    for (uint32_t i = 0; i < object.childCount; ++i) {
        keepObjectRecords(*object.children[i]);
    }
    if (object.object == nullptr) return;
    const std::lock_guard guard(lock);
    object.object->clientRef = kept;
    kept = std::exchange(object.object, nullptr);
}

bool isOpen(const tagRefObj& root, const tagRefObj* source) {
    for (uint32_t i = 0; i < root.childCount; ++i) {
        if (root.children[i] == source) return true;
    }
    return false;
}

/** The cameras whose objects have been closed. Their records stay until they are released. */
void endCameras(const NikonModule& module) {
    for (NikonCamera* camera = module.firstCamera; camera != nullptr; camera = camera->next) {
        if (isOpen(module.root, camera->data.source)) continue;
        camera->data.source = nullptr;
        camera->data.active = 0;
    }
}

}  // namespace

bool nikon::openLoadedModule(NikonModule& module) {
    tagRefObj& root = module.root;
    module.lock = lockOfLoadedModule(root.entryPoint);
    if (module.lock == nullptr) {
        debug("There is not enough memory.\n");
        return false;
    }
    const std::lock_guard guard(*module.lock);
    const CallScope scope;
    if (openObject(root)) {
        if (prepare(root)) return true;
        // The module itself is neither closed nor unloaded: it stays as it is for the next try.
        keepObjectRecords(root);
    }
    FreeTree(&root);
    return false;
}

NIKON_ENTRY(jlong, InitializeSDK, jstring directory, jint moduleType) {
    ModuleFiles files;
    if (!findModuleFiles(directory, moduleType, &files)) {
        debug("Failed in loading %s.\n", files.bundle);
        return 0;
    }
    auto* record = handles::create<NikonModule>(Kind::NikonModule);
    if (record == nullptr) {
        debug("There is not enough memory.\n");
        return 0;
    }
    if (!load(record->root, files) || !openLoadedModule(*record)) {
        handles::retire(Kind::NikonModule, toAddress(toHandle(record)));
        return 0;
    }
    jobject caller = (*env)->NewGlobalRef(env, object);
    // As much of it as the field holds; nothing ever reads it back.
    record->root.inheritedRef = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(caller));
    record->isOpen = true;
    return toHandle(record);
}

NIKON_ENTRY(jint, TerminateSDK, jlong module) {
    (void)env, (void)object;
    const ModuleCall call(module);
    if (!call) return 0;
    const bool isClosed = Close_Module(call.root());
    endCameras(*call.module());
    if (!isClosed) return 1;
    call->isOpen = false;
    handles::retire(Kind::NikonModule, toAddress(module));
    return 0;
}
