#include "frameworks/EDSDK/simulated/Streams.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

#include "frameworks/EDSDK/simulated/FileErrors.h"

namespace sim {

namespace {

constexpr EdsError kOk = EDS_ERR_OK;

/** A write beyond the limit for files raises a signal that would end the process. For the thread and the time
 *  of a write it is held back, and taken away if the write raised it, so that EFBIG alone remains. */
class FileSizeSignalHeld {
public:
    FileSizeSignalHeld() {
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGXFSZ);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGXFSZ) == 1;
        pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    ~FileSizeSignalHeld() {
        const int error = errno;
        const timespec noWait{};
        while (!wasPending_ && sigtimedwait(&signal_, nullptr, &noWait) < 0 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    FileSizeSignalHeld(const FileSizeSignalHeld&) = delete;
    FileSizeSignalHeld& operator=(const FileSizeSignalHeld&) = delete;

private:
    sigset_t signal_{};
    sigset_t before_{};
    bool wasPending_ = false;
};

class FileStream final : public Stream {
public:
    explicit FileStream(int descriptor) : descriptor_(descriptor) {}
    ~FileStream() override { close(descriptor_); }  // settle() has told what there is to tell

    EdsError append(lab::ContentReader& content, uint64_t offset, uint64_t count) override {
        const std::lock_guard guard(mutex_);
        if (const uint8_t* bytes = content.mapping(offset, static_cast<size_t>(count))) {
            return writeAll(bytes, count);
        }
        std::vector<uint8_t> buffer(static_cast<size_t>(std::min<uint64_t>(count, kBufferBytes)));
        while (count > 0) {
            const size_t step = static_cast<size_t>(std::min<uint64_t>(count, buffer.size()));
            if (!content.read(offset, buffer.data(), step)) return EDS_ERR_DEVICE_INTERNAL_ERROR;
            if (const EdsError error = writeAll(buffer.data(), step); error != kOk) return error;
            offset += step;
            count -= step;
        }
        return kOk;
    }

    EdsError rewind() override {
        const std::lock_guard guard(mutex_);
        if (ftruncate(descriptor_, 0) != 0 || lseek(descriptor_, 0, SEEK_SET) != 0) return writeError(errno);
        return kOk;
    }

    EdsError settle() override {
        // Some file systems tell only at a close that there was no room. Closing a double asks them, while
        // there is still somebody who listens.
        const std::lock_guard guard(mutex_);
        const int twin = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
        if (twin < 0) return kOk;  // no descriptor left to ask with
        return close(twin) == 0 || errno == EINTR ? kOk : writeError(errno);
    }

    EdsError length(EdsUInt64& out) override {
        const std::lock_guard guard(mutex_);
        struct stat status {};
        if (fstat(descriptor_, &status) != 0) return EDS_ERR_FILE_IO_ERROR;
        out = static_cast<EdsUInt64>(status.st_size);
        return kOk;
    }

    EdsError pointer(EdsVoid*& /*out*/) override { return EDS_ERR_NOT_SUPPORTED; }

private:
    static constexpr uint64_t kBufferBytes = 262144;

    EdsError writeAll(const uint8_t* bytes, uint64_t count) const {
        const FileSizeSignalHeld held;
        while (count > 0) {
            const ssize_t written = write(descriptor_, bytes, static_cast<size_t>(count));
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return writeError(errno);
            if (written == 0) return EDS_ERR_FILE_WRITE_ERROR;
            bytes += written;
            count -= static_cast<uint64_t>(written);
        }
        return kOk;
    }

    const int descriptor_;
};

class MemoryStream final : public Stream {
public:
    explicit MemoryStream(EdsUInt64 bufferSize) {
        // No more than a large picture is taken in advance; more comes when it is needed.
        bytes_.reserve(static_cast<size_t>(std::clamp<EdsUInt64>(bufferSize, 1, kMostInAdvance)));
    }

    EdsError append(lab::ContentReader& content, uint64_t offset, uint64_t count) override {
        const std::lock_guard guard(mutex_);
        const size_t before = bytes_.size();
        bytes_.resize(before + static_cast<size_t>(count));
        if (content.read(offset, bytes_.data() + before, static_cast<size_t>(count))) return kOk;
        bytes_.resize(before);
        return EDS_ERR_DEVICE_INTERNAL_ERROR;
    }

    EdsError rewind() override {
        const std::lock_guard guard(mutex_);
        bytes_.clear();
        return kOk;
    }

    EdsError settle() override { return kOk; }

    EdsError length(EdsUInt64& out) override {
        const std::lock_guard guard(mutex_);
        out = bytes_.size();
        return kOk;
    }

    EdsError pointer(EdsVoid*& out) override {
        const std::lock_guard guard(mutex_);
        out = bytes_.data();
        return kOk;
    }

private:
    static constexpr EdsUInt64 kMostInAdvance = EdsUInt64{64} << 20;

    std::vector<uint8_t> bytes_;
};

int dispositionFlags(EdsFileCreateDisposition disposition) {
    switch (disposition) {
        case kEdsFileCreateDisposition_CreateNew:
            return O_CREAT | O_EXCL;
        case kEdsFileCreateDisposition_CreateAlways:
            return O_CREAT | O_TRUNC;
        case kEdsFileCreateDisposition_OpenExisting:
            return 0;
        case kEdsFileCreateDisposition_OpenAlways:
            return O_CREAT;
        case kEdsFileCreateDisposition_TruncateExisting:
            return O_TRUNC;
        default:
            return -1;
    }
}

int accessFlags(EdsAccess access, bool isTruncated) {
    switch (access) {
        // To make a file empty one must be allowed to write to it.
        case kEdsAccess_Read:
            return isTruncated ? O_RDWR : O_RDONLY;
        case kEdsAccess_Write:
            return O_WRONLY;
        case kEdsAccess_ReadWrite:
            return O_RDWR;
        default:
            return -1;
    }
}

}  // namespace

void Stream::setProgress(Progress progress) {
    const std::lock_guard guard(mutex_);
    progress_ = progress;
}

Progress Stream::progress() const {
    const std::lock_guard guard(mutex_);
    return progress_;
}

EdsError openFileStream(const char* path, EdsFileCreateDisposition disposition, EdsAccess access,
                        std::shared_ptr<Stream>& out) {
    constexpr mode_t kMode = 0666;  // the user's mask takes away what he does not want
    const int create = dispositionFlags(disposition);
    const int rights = create < 0 ? -1 : accessFlags(access, (create & O_TRUNC) != 0);
    if (rights < 0) return EDS_ERR_INVALID_PARAMETER;
    const int descriptor = open(path, create | rights | O_CLOEXEC | O_NOCTTY, kMode);
    if (descriptor < 0) return openError(errno);
    out = std::make_shared<FileStream>(descriptor);
    return kOk;
}

std::shared_ptr<Stream> makeMemoryStream(EdsUInt64 bufferSize) {
    return std::make_shared<MemoryStream>(bufferSize);
}

}  // namespace sim
