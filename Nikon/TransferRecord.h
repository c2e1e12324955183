/* TransferRecord.h: the blocks of a picture, gathered into a file.
 *
 * Blocks go to the file as they come, beside the path where it will be, so a transfer needs no memory for the
 * whole picture and a picture can be as long as a file can. At the path it appears with its last byte.
 *
 * Thread: the one that polls the module.
 * Owns:   what has been written of a file that is not whole; it goes with the transfer. The camera is
 *         borrowed until end().
 * Errors: the module's results.
 */
#pragma once

#include <cstdint>
#include <memory>

#include "MAID.h"
#include "Nikon/CameraData.h"
#include "Nikon/MaidCommands.h"
#include "platform/WholeFile.h"

namespace nikon {

/** Blocks smaller than this are written together. */
constexpr uint32_t kTransferBuffer = 64U << 10;

class Transfer {
public:
    explicit Transfer(CameraData* camera) : camera_(camera) {}
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /** 0, -117 or -118. Deliveries that are no file's are taken and dropped. */
    int32_t take(const NkMAIDFileInfo& info, const void* data);
    /** No more blocks; what is not whole is given up. */
    void end();
    /** Whether every block was taken and no file is missing its end. */
    bool isWhole() const { return refusal_ == kMaidResultNoError && !isBegun_; }

private:
    int32_t takeBlock(const NkMAIDFileInfo& info, const void* data);
    bool isNextBlock(const NkMAIDFileInfo& info, const void* data) const;
    int32_t begin(const NkMAIDFileInfo& info);
    bool append(const void* data, uint32_t length);
    bool flush();

    CameraData* camera_;
    WholeFile file_;
    ElementStorage buffer_;
    uint32_t buffered_ = 0;
    uint32_t received_ = 0;
    uint32_t total_ = 0;
    bool isBegun_ = false;
    int32_t refusal_ = kMaidResultNoError;  // once refused, every block is
};

using TransferPtr = std::shared_ptr<Transfer>;

/** The reference under which a module delivers blocks; null when there is no memory. */
MaidRef openTransfer(TransferPtr transfer);
/** Null for one that has ended. */
TransferPtr findTransfer(MaidRef reference);
/** From now on its blocks find nothing. */
void endTransfer(MaidRef reference);

}  // namespace nikon
