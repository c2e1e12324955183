#include "Nikon/MaidProcesses.h"

#include <cstring>
#include <memory>
#include <new>

#include "Nikon/CallBack.h"
#include "Nikon/OpenCommand.h"
#include "Nikon/TransferRecord.h"
#include "Nikon/debug.h"

namespace nikon {

namespace {

TransferPtr newTransfer(CameraData* camera) {
    try {
        return std::make_shared<Transfer>(camera);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/** A transfer, for as long as it may be delivered to. */
class OpenTransfer {
public:
    explicit OpenTransfer(CameraData* camera) : transfer_(newTransfer(camera)) {
        if (transfer_ != nullptr) reference_ = openTransfer(transfer_);
    }
    ~OpenTransfer() { endTransfer(reference_); }
    OpenTransfer(const OpenTransfer&) = delete;
    OpenTransfer& operator=(const OpenTransfer&) = delete;

    MaidRef reference() const { return reference_; }
    bool isWhole() const { return transfer_->isWhole(); }

private:
    TransferPtr transfer_;
    MaidRef reference_ = nullptr;
};

bool setDataProcedure(tagRefObj* object, MaidRef transfer) {
    NkMAIDCallback callback{.proc = reinterpret_cast<void (*)()>(DataProc), .ref = transfer};
    return CheckCapabilityOperation(object, kMaidCapabilityDataProc, kMaidOperationSet) &&
           Command_CapSet(object, kMaidCapabilityDataProc, kMaidDataCallbackPtr,
                          reinterpret_cast<MaidParam>(&callback));
}

/** True, too, when the module has taken the object away: with it went the procedure. */
bool clearDataProcedure(tagRefObj* object) {
    return object->entryPoint == nullptr || Command_CapSet(object, kMaidCapabilityDataProc, kMaidDataNull, 0);
}

}  // namespace

bool IssueProcess(tagRefObj* object, uint32_t capability) {
    if (GetCapInfo(object, capability) == nullptr) {
        debug("IssueProcess GetCapInfo failed\n");
        return false;
    }
    OpenCommand open;
    if (open.reference() == nullptr ||
        !Command_CapStart(object, capability, CompletionProc, open.reference())) {
        debug("IssueProcess Command_CapStart failed\n");
        return false;
    }
    return IdleLoop(object, &open.completion().count, 1);
}

bool IssueProcessSync(tagRefObj* object, uint32_t capability) {
    const NkMAIDCapInfo* info = GetCapInfo(object, capability);
    if (info == nullptr) return false;
    // Not every module ends a full description.
    const auto length = static_cast<int>(strnlen(info->description, sizeof info->description));
    debug("[%.*s]\n", length, info->description);
    return Command_CapStart(object, capability, nullptr, nullptr);
}

bool IssueAcquire(CameraData* camera, tagRefObj* data) {
    const OpenTransfer transfer(camera);
    OpenCommand open(transfer.reference());
    if (transfer.reference() == nullptr || open.reference() == nullptr) return false;
    if (!setDataProcedure(data, transfer.reference())) return false;
    if (!Command_CapStart(data, kMaidCapabilityAcquire, CompletionProc, open.reference())) return false;
    IdleLoop(data, &open.completion().count, 1);
    const bool isCleared = clearDataProcedure(data);
    return isCleared && open.isCompleted() && isAccepted(open.completion().result) && transfer.isWhole();
}

}  // namespace nikon
