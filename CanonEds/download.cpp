/* download.cpp: a picture from the camera to the host's path: whole, or not at all. */
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "CanonEds/CanonEdsjnilib.h"
#include "CanonEds/canon_internal.h"
#include "platform/FilePath.h"

namespace {

std::string lastFour(const char* cameraName) {
    const std::string_view name(cameraName);
    return std::string(name.size() > 4 ? name.substr(name.size() - 4) : name);
}

std::string lowerCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

/** Leaves nothing that could be taken for a picture, where a link leads neither. Only regular files: a host
 * may name a device. */
void removePartialFile(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(path.c_str(), nullptr), &std::free);
    struct stat status {};
    if (target != nullptr && lstat(target.get(), &status) == 0 && S_ISREG(status.st_mode)) {
        unlink(target.get());
    }
}

/** One download; the steps return the library's status and leave the rest to their caller. */
class Download {
public:
    Download(CanonCamera& session, EdsDirectoryItemRef item) : session_(session), item_(item) {
        const std::lock_guard guard(session.fileNameLock);
        path_ = session.fileName;
    }

    /** 0, also for a thumbnail file, which is refused without harm. */
    EdsError run() {
        EdsDirectoryItemInfo info{};
        EdsError status = EdsGetDirectoryItemInfo(item_, &info);
        if (status != EDS_ERR_OK) {
            debug("Error get directory item info 0x%X\n", status);
            return status;
        }
        info.szFileName[EDS_MAX_NAME - 1] = '\0';
        debug("directoryItemInfo: %s\n", info.szFileName);
        debug("FILE: %s\n", path_.c_str());
        const std::string extension = lastFour(info.szFileName);
        if (extension == ".THM") return ignoreThumbnail();
        path_ += lowerCase(extension);
        debug("FILE: %s\n", path_.c_str());
        status = checkPath();
        if (status != EDS_ERR_OK) return status;
        status = transfer(info.size);
        if (status == EDS_ERR_OK) debug("Download complete\n");
        return status;
    }

private:
    EdsError ignoreThumbnail() {
        debug("Ignoring .THM file\n");
        EdsDownloadCancel(item_);
        debug("Download complete\n");
        return EDS_ERR_OK;
    }

    EdsError checkPath() const {
        if (!isUtf8(path_)) {
            debug("Could not create filePath\n");
            return kPathIsNoText;
        }
        if (!namesAFile(path_)) {
            debug("Could not create fileRef\n");
            return kPathIsNoFile;
        }
        return EDS_ERR_OK;
    }

    EdsError transfer(EdsUInt64 size) {
        EdsStreamRef stream = nullptr;
        EdsError status = EdsCreateFileStreamEx(path_.c_str(), kEdsFileCreateDisposition_CreateAlways,
                                                kEdsAccess_ReadWrite, &stream);
        if (status != EDS_ERR_OK) {
            giveUp();
            return status;
        }
        bool isWhole = false;
        status = fill(stream, size, &isWhole);
        EdsRelease(stream);
        if (!isWhole) removePartialFile(path_);
        return status;
    }

    EdsError fill(EdsStreamRef stream, EdsUInt64 size, bool* isWhole) {
        EdsError status =
            EdsSetProgressCallback(stream, ProgressFunc, kEdsProgressOption_Periodically, &session_);
        if (status != EDS_ERR_OK) {
            giveUp();
            return status;
        }
        status = EdsDownload(item_, size, stream);
        if (status != EDS_ERR_OK) {
            giveUp();
            return status;
        }
        *isWhole = true;
        ++session_.imagesDownloaded;
        status = EdsDownloadComplete(item_);
        if (session_.imagesDownloaded == session_.imageCount) ProgressFunc(100, &session_, nullptr);
        return status;
    }

    /** The file counts as dealt with, and the camera keeps the picture. */
    void giveUp() {
        ++session_.imagesDownloaded;
        EdsDownloadCancel(item_);
    }

    CanonCamera& session_;
    EdsDirectoryItemRef item_;
    std::string path_;
};

}  // namespace

jint Mac_DownloadImage(JNIEnv*, jobject, jint handle, jint directoryItem) {
    const CanonSession session = findConnectedSession(handle);
    if (!session) return kBadArguments;
    // From here on the item is this call's: a second download of it finds nothing.
    auto* item =
        static_cast<EdsDirectoryItemRef>(handles::release(handles::Kind::CanonDirectoryItem, directoryItem));
    if (item == nullptr) return kBadArguments;

    ProgressFunc(0, session.get(), nullptr);
    const EdsError status = Download(*session, item).run();
    if (status != EDS_ERR_OK) {
        debug("Download error 0x%X\n", status);
        tellState(session->handle(), kEdsStateEvent_CaptureError, 0);
    }
    EdsRelease(item);
    return static_cast<jint>(status);
}
