/* All that a host can do with a camera, on a module that does as the bytes say. */
#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "tests/fuzz/RandomModule.h"
#include "tests/fuzz/Surroundings.h"

namespace {

using handles::Kind;

#define NIKON(name) Java_com_velmont_camera_nikon_NikonMaid_##name

constexpr int kMostCalls = 24;
constexpr std::array<uint32_t, 5> kSettings{0x8111, 0x8116, 0x8120, 0x822E, 0x823E};

/** As InitializeSDK leaves it, on a module that came from nowhere. */
jlong openModule() {
    auto* record = handles::create<nikon::NikonModule>(Kind::NikonModule);
    if (record == nullptr) std::abort();
    nikon::tagRefObj& root = record->root;
    root.entryPoint = RandomModule::entryPoint;
    nikon::InitRefObj(&root);
    root.object = static_cast<NkMAIDObject*>(std::calloc(1, sizeof(NkMAIDObject)));
    root.object->type = kMaidObjectModule;
    record->lock = nikon::lockOfLoadedModule(root.entryPoint);
    {
        const std::lock_guard guard(*record->lock);
        nikon::EnumCapabilities(&root, &root.capCount, &root.capInfo);
        nikon::SetProc(&root);
    }
    record->isOpen = true;
    return nikon::toHandle(record);
}

void closeModule(JNIEnv* env, jlong module) {
    if (NIKON(TerminateSDK)(env, nullptr, module) == 0) return;
    // It does not let itself be closed; a helper would keep it.
    {
        const nikon::ModuleCall call(module);
        nikon::FreeTree(call.root());
    }
    handles::retire(Kind::NikonModule, nikon::toAddress(module));
}

void callOnce(JNIEnv* env, Input& input, jlong module, std::vector<jlong>& cameras) {
    const uint8_t method = input.byte() % 20;
    const jlong camera = cameras.empty() ? 0 : cameras[input.byte() % cameras.size()];
    const auto capability = static_cast<jint>(kSettings[input.byte() % kSettings.size()]);
    std::string path = picturePath();
    switch (method) {
        case 0:
            NIKON(getCameraCount)(env, nullptr, module);
            break;
        case 1:
            NIKON(getCameraTypeAtIndex)(env, nullptr, module, input.byte());
            break;
        case 2:
        case 3:
            cameras.push_back(NIKON(selectCameraAtIndex)(env, nullptr, module, input.byte() % 4));
            break;
        case 4:
        case 5:
            freeStringArray(NIKON(GetSettingOptions)(env, nullptr, camera, capability));
            break;
        case 6:
            NIKON(GetSetting)(env, nullptr, camera, capability);
            break;
        case 7:
            NIKON(SetSetting)(env, nullptr, camera, capability, input.byte());
            break;
        case 8:
            NIKON(getBatteryLevel)(env, nullptr, camera);
            break;
        case 9:
            NIKON(getBracketing)(env, nullptr, camera);
            break;
        case 10:
            NIKON(SetLiveView)(env, nullptr, camera, input.byte() % 2);
            break;
        case 11:
            NIKON(IsLiveView)(env, nullptr, camera);
            break;
        case 12:
        case 13:
            freeByteArray(NIKON(getLiveViewImage)(env, nullptr, camera));
            break;
        case 14:
            NIKON(driveFocus)(env, nullptr, camera, static_cast<jint>(input.word()));
            break;
        case 15:
            NIKON(SetLiveViewZoomPosition)
            (env, nullptr, camera, static_cast<jint>(input.word()), static_cast<jint>(input.word()));
            break;
        case 16:
            NIKON(GetLiveViewZoomPositionX)(env, nullptr, camera);
            NIKON(GetLiveViewZoomHeight)(env, nullptr, camera);
            break;
        case 17:
            NIKON(CaptureImage)(env, nullptr, camera, path.data());
            break;
        case 18:
            NIKON(preCaptureImage)(env, nullptr, camera, path.data());
            NIKON(checkForImages)(env, nullptr, camera);
            break;
        default:
            NIKON(releaseCamera)(env, nullptr, camera);
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Input input(bytes, size);
    JNIEnv* env = GetGlobalEnv();
    picturePath();
    RandomModule random(input);
    const CallScope scope;
    const jlong module = openModule();
    std::vector<jlong> cameras{NIKON(selectCameraAtIndex)(env, nullptr, module, 0)};
    for (int i = 0; i < kMostCalls && !input.isEmpty(); ++i) {
        callOnce(env, input, module, cameras);
    }
    for (const jlong camera : cameras) {
        NIKON(releaseCamera)(env, nullptr, camera);
    }
    closeModule(env, module);
    removePictures();
    return 0;
}
