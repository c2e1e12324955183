#include "Nikon/TransferRecord.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "Nikon/Immortal.h"
#include "Nikon/Tickets.h"
#include "Nikon/debug.h"

namespace nikon {

namespace {

Tickets<TransferPtr>& transfers() {
    return immortal<Tickets<TransferPtr>>();  // outlives the threads that poll modules
}

const char* extensionOf(uint32_t fileDataType) {
    switch (fileDataType) {
        case kMaidFileJpeg:
            return ".jpg";
        case kMaidFileTiff:
            return ".tif";
        case kMaidFileNef:
            return ".nef";
        case kMaidFileNdf:
            return ".ndf";
        default:
            return ".dat";
    }
}

/** False without memory: nothing may be thrown through the module that delivers. */
bool makePath(const CameraData& camera, uint32_t fileDataType, std::string* path) {
    try {
        *path = std::string(camera.imagePath) + extensionOf(fileDataType);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace

int32_t Transfer::take(const NkMAIDFileInfo& info, const void* data) {
    if (camera_ == nullptr) return kMaidResultNoDataProc;
    if ((info.base.type & kMaidDataObjectFile) != 0) {
        if (refusal_ == kMaidResultNoError) refusal_ = takeBlock(info, data);
        if (refusal_ != kMaidResultNoError) file_.discard();
    }
    // A file that cannot be written is the host's to look into: its transfer does not count as over.
    if (refusal_ != kMaidResultUnexpectedError) camera_->acquiring = 0;
    return refusal_;
}

void Transfer::end() {
    file_.discard();
    buffer_.reset();
    camera_ = nullptr;
}

int32_t Transfer::takeBlock(const NkMAIDFileInfo& info, const void* data) {
    if (!isNextBlock(info, data)) return kMaidResultUnexpectedError;
    if (!isBegun_) {
        const int32_t result = begin(info);
        if (result != kMaidResultNoError) return result;
    }
    if (!append(data, info.length)) return kMaidResultUnexpectedError;
    if (received_ < total_) return kMaidResultNoError;
    if (!flush() || !file_.keep()) return kMaidResultUnexpectedError;
    isBegun_ = false;
    if (info.removeObject != 0 && (info.base.type & kMaidDataObjectImage) != 0) camera_->removeItem = 1;
    return kMaidResultNoError;
}

/** Modules are not believed: what does not fit the file that they announced would spoil it. */
bool Transfer::isNextBlock(const NkMAIDFileInfo& info, const void* data) const {
    if (info.diskFile != 0) return false;  // the data would be a path of the module's, and no block
    if (isBegun_ && info.totalLength != total_) return false;
    const uint32_t missing = info.totalLength - (isBegun_ ? received_ : 0);
    return info.length <= missing && (data != nullptr || info.length == 0);
}

int32_t Transfer::begin(const NkMAIDFileInfo& info) {
    const auto size = std::clamp(info.totalLength, 1U, kTransferBuffer);  // a file may be empty
    buffer_.reset(static_cast<uint8_t*>(std::malloc(size)));
    std::string path;
    if (buffer_ == nullptr || !makePath(*camera_, info.fileDataType, &path)) {
        debug("There is not enough memory.");
        return kMaidResultOutOfMemory;
    }
    if (!file_.open(path)) return kMaidResultUnexpectedError;
    file_.reserve(info.totalLength);
    isBegun_ = true;
    total_ = info.totalLength;
    received_ = 0;
    buffered_ = 0;
    return kMaidResultNoError;
}

bool Transfer::append(const void* data, uint32_t length) {
    const uint32_t room = std::min(total_, kTransferBuffer);
    if (length > room - buffered_ && !flush()) return false;
    received_ += length;
    if (length >= room) return file_.write(data, length);
    if (length > 0) std::memcpy(buffer_.get() + buffered_, data, length);
    buffered_ += length;
    return true;
}

bool Transfer::flush() {
    return file_.write(buffer_.get(), std::exchange(buffered_, 0));
}

MaidRef openTransfer(TransferPtr transfer) {
    return transfers().issue(std::move(transfer));
}

TransferPtr findTransfer(MaidRef reference) {
    return transfers().find(reference);
}

void endTransfer(MaidRef reference) {
    if (const TransferPtr transfer = transfers().take(reference)) transfer->end();
}

}  // namespace nikon
