// Entry points: files on the camera, streams, live-view frames.
#include <algorithm>
#include <cstring>

#include "frameworks/EDSDK/simulated/Library.h"
#include "frameworks/EDSDK/simulated/Streams.h"
#include "frameworks/EDSDK/simulated/Transfer.h"

namespace sim {

namespace {

using lab::canon::Outcome;

/** What the camera's protocol calls a file of this name. */
EdsUInt32 formatOf(std::string_view name) {
    constexpr EdsUInt32 kJpeg = 0x3801;
    constexpr EdsUInt32 kRaw = 0xB103;
    constexpr EdsUInt32 kOther = 0x3000;
    if (name.ends_with(".JPG") || name.ends_with(".THM")) return kJpeg;
    if (name.ends_with(".CR2") || name.ends_with(".CR3") || name.ends_with(".CRW")) return kRaw;
    return kOther;
}

EdsError itemInfo(const DirectoryItem& item, EdsDirectoryItemInfo* info) {
    if (info == nullptr) return EDS_ERR_INVALID_POINTER;
    const EdsError error = errorOf(item.at.body->checkPicture(item.at.link, item.picture));
    if (error != kOk) return error;
    const lab::canon::Picture& picture = *item.picture;
    EdsDirectoryItemInfo filled{};
    filled.size = picture.size;
    filled.groupID = picture.shot;
    filled.format = formatOf(picture.name);
    filled.dateTime = picture.takenAt;
    std::memcpy(filled.szFileName, picture.name.data(),
                std::min(picture.name.size(), sizeof filled.szFileName - 1));
    *info = filled;
    return kOk;
}

EdsError downloadFrame(const Camera& camera, EvfImage& image) {
    lab::canon::Frame frame;
    const EdsError error = errorOf(camera.at.body->frame(camera.at.link, frame));
    if (error != kOk) return error;
    const std::unique_ptr<lab::ContentReader> content = frame.content->open();
    if (!content) return EDS_ERR_DEVICE_INTERNAL_ERROR;
    EdsError stored = image.stream->rewind();
    if (stored == kOk) stored = image.stream->append(*content, 0, content->size());
    if (stored != kOk) return stored;
    {
        const std::lock_guard guard(image.mutex);
        image.device = camera.at.body->id();
        image.values = {{kEdsPropID_Evf_Zoom, frame.zoom},
                        {kEdsPropID_Evf_ZoomPosition, frame.zoomPosition},
                        {kEdsPropID_Evf_CoordinateSystem, frame.coordinates}};
    }
    Reporter(image.stream->progress()).finished();
    return kOk;
}

}  // namespace

}  // namespace sim

using namespace sim;

EdsError EdsGetDirectoryItemInfo(EdsDirectoryItemRef reference, EdsDirectoryItemInfo* info) {
    lab::Call call("EdsGetDirectoryItemInfo");
    const auto item = find<DirectoryItem>(reference, call);
    return answer(call, [&] { return item ? itemInfo(*item, info) : notLive(); });
}

EdsError EdsDownload(EdsDirectoryItemRef reference, EdsUInt64 size, EdsStreamRef streamReference) {
    lab::Call call("EdsDownload");
    const auto item = find<DirectoryItem>(reference, call);
    const auto stream = Objects::instance().find<Stream>(streamReference);
    call.number("size", static_cast<int64_t>(size));
    return answer(call, [&] { return item && stream ? transfer(*item, size, *stream) : notLive(); });
}

EdsError EdsDownloadComplete(EdsDirectoryItemRef reference) {
    lab::Call call("EdsDownloadComplete");
    const auto item = find<DirectoryItem>(reference, call);
    return answer(call, [&] {
        return item ? errorOf(item->at.body->completeTransfer(item->at.link, item->picture)) : notLive();
    });
}

EdsError EdsDownloadCancel(EdsDirectoryItemRef reference) {
    lab::Call call("EdsDownloadCancel");
    const auto item = find<DirectoryItem>(reference, call);
    return answer(call, [&] {
        return item ? errorOf(item->at.body->cancelTransfer(item->at.link, item->picture)) : notLive();
    });
}

EdsError EdsCreateFileStreamEx(const EdsChar* path, EdsFileCreateDisposition disposition, EdsAccess access,
                               EdsStreamRef* stream) {
    lab::Call call("EdsCreateFileStreamEx");
    path == nullptr ? call.null("path") : call.text("path", path);
    call.number("disposition", disposition).number("access", access);
    return answerStarted(call, [&]() -> EdsError {
        if (path == nullptr || stream == nullptr) return EDS_ERR_INVALID_POINTER;
        std::shared_ptr<Stream> made;
        const EdsError error = openFileStream(path, disposition, access, made);
        return error == kOk ? handOut(std::move(made), stream) : error;
    });
}

EdsError EdsCreateMemoryStream(EdsUInt64 bufferSize, EdsStreamRef* stream) {
    lab::Call call("EdsCreateMemoryStream");
    call.number("size", static_cast<int64_t>(bufferSize));
    return answerStarted(call, [&]() -> EdsError {
        if (stream == nullptr) return EDS_ERR_INVALID_POINTER;
        return handOut(makeMemoryStream(bufferSize), stream);
    });
}

EdsError EdsGetLength(EdsStreamRef reference, EdsUInt64* length) {
    lab::Call call("EdsGetLength");
    const auto stream = Objects::instance().find<Stream>(reference);
    return answer(call, [&]() -> EdsError {
        if (!stream) return notLive();
        if (length == nullptr) return EDS_ERR_INVALID_POINTER;
        return stream->length(*length);
    });
}

EdsError EdsGetPointer(EdsStreamRef reference, EdsVoid** pointer) {
    lab::Call call("EdsGetPointer");
    const auto stream = Objects::instance().find<Stream>(reference);
    return answer(call, [&]() -> EdsError {
        if (!stream) return notLive();
        if (pointer == nullptr) return EDS_ERR_INVALID_POINTER;
        return stream->pointer(*pointer);
    });
}

EdsError EdsSetProgressCallback(EdsBaseRef reference, EdsProgressCallback callback, EdsProgressOption option,
                                EdsVoid* context) {
    lab::Call call("EdsSetProgressCallback");
    const auto stream = Objects::instance().find<Stream>(reference);
    call.number("option", option).flag("handler", callback != nullptr).flag("context", context != nullptr);
    return answer(call, [&]() -> EdsError {
        if (!stream) return notLive();
        if (option > kEdsProgressOption_Periodically) return EDS_ERR_INVALID_PARAMETER;
        stream->setProgress({callback, option, context});
        return kOk;
    });
}

EdsError EdsCreateEvfImageRef(EdsStreamRef reference, EdsEvfImageRef* image) {
    lab::Call call("EdsCreateEvfImageRef");
    const auto stream = Objects::instance().find<Stream>(reference);
    return answer(call, [&]() -> EdsError {
        if (!stream) return notLive();
        if (image == nullptr) return EDS_ERR_INVALID_POINTER;
        return handOut(std::make_shared<EvfImage>(stream), image);
    });
}

EdsError EdsDownloadEvfImage(EdsCameraRef cameraReference, EdsEvfImageRef imageReference) {
    lab::Call call("EdsDownloadEvfImage");
    const auto camera = find<Camera>(cameraReference, call);
    const auto image = Objects::instance().find<EvfImage>(imageReference);
    return answer(call, [&] { return camera && image ? downloadFrame(*camera, *image) : notLive(); });
}
