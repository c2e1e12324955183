#include "platform/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

#include "platform/FilePath.h"

namespace {

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kPermissionBits = 07777;
constexpr int kNameTries = 100;
constexpr int kMostLinks = 40;  // as many as the kernel follows
// More than any picture. A length that somebody made up must not take a disk, or a file system in memory.
constexpr uint64_t kMostReserved = 512U << 20;

std::string directoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

/** Where a chain of symbolic links leads, whether or not there is anything yet; false for one without end. */
bool followLinks(const std::string& path, std::string* target) {
    *target = path;
    for (int i = 0; i < kMostLinks; ++i) {
        const std::unique_ptr<char, decltype(&std::free)> real(realpath(target->c_str(), nullptr),
                                                               &std::free);
        if (real != nullptr) {
            *target = real.get();
            return true;
        }
        if (errno == ELOOP) return false;
        std::error_code none;
        const std::string link = std::filesystem::read_symlink(*target, none);
        if (none) return true;  // nothing there yet
        *target = link.starts_with('/') ? link : directoryOf(*target) + link;
    }
    errno = ELOOP;
    return false;
}

/** Short, whatever the file's own name: that may be as long as names can be. */
std::string newNameBeside(const std::string& path) {
    static std::atomic<unsigned> number{0};
    return directoryOf(path) + ".tarvo-" + std::to_string(getpid()) + "-" + std::to_string(++number) +
           ".part";
}

std::string descriptorPath(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

/** False, too, when there was no memory for what it does with paths. */
template <class Action>
bool withMemory(Action action) {
    try {
        return action();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
}

}  // namespace

bool WholeFile::open(const std::string& path) {
    discard();
    if (withMemory([&] { return openAt(path); })) return true;
    discard();
    return false;
}

bool WholeFile::openAt(const std::string& path) {
    if (!namesAFile(path)) {
        errno = path.empty() ? ENOENT : EISDIR;
        return false;
    }
    if (!followLinks(path, &target_)) return false;
    struct stat existing {};
    const bool exists = stat(target_.c_str(), &existing) == 0;
    isInPlace_ = false;
    isSpecial_ = exists && !S_ISREG(existing.st_mode);
    if (isSpecial_) {
        // A pipe that nobody reads must not hold us up.
        descriptor_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        return isOpen();
    }
    // The folder alone would let us replace a file that its owner has protected.
    if (exists && access(target_.c_str(), W_OK) != 0) return false;
    if (openUnnamed() || openNamed()) return !exists || takePermissions();
    return exists && openInPlace();
}

/** The folder may be protected while the file is not. */
bool WholeFile::openInPlace() {
    if (errno != EACCES && errno != EPERM) return false;
    descriptor_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    isInPlace_ = isOpen();
    return isInPlace_;
}

void WholeFile::reserve(uint64_t size) {
    const int reason = errno;
    // The length stays that of what was written.
    if (isOpen() && !isSpecial_ && size > 0 && size <= kMostReserved) {
        fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size));
    }
    errno = reason;
}

bool WholeFile::write(const void* bytes, size_t size) {
    const auto* rest = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t count = ::write(descriptor_, rest, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        rest += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

bool WholeFile::forceToMedium() {
    return isOpen() && (isSpecial_ || fsync(descriptor_) == 0);
}

bool WholeFile::keep() {
    if (!isOpen()) return false;
    if (withMemory([this] { return putInPlace(); })) return true;
    discard();
    return false;
}

bool WholeFile::putInPlace() {
    if (isInPlace_) {
        const bool isCut = ftruncate(descriptor_, lseek(descriptor_, 0, SEEK_CUR)) == 0;
        return ::close(std::exchange(descriptor_, -1)) == 0 && isCut;
    }
    if (!isSpecial_ && beside_.empty() && !giveName()) return false;
    // Some file systems tell only now that there was no room.
    const bool isClosed = ::close(std::exchange(descriptor_, -1)) == 0;
    if (isSpecial_) return isClosed;
    if (!isClosed || rename(beside_.c_str(), target_.c_str()) != 0) return false;
    beside_.clear();
    return true;
}

void WholeFile::discard() {
    const int reason = errno;
    // A piece in the place of what was whole would pass for it.
    if (isInPlace_ && isOpen() && lseek(descriptor_, 0, SEEK_CUR) > 0) (void)!ftruncate(descriptor_, 0);
    if (isOpen()) ::close(std::exchange(descriptor_, -1));
    if (!beside_.empty()) unlink(beside_.c_str());
    beside_.clear();
    errno = reason;
}

bool WholeFile::openUnnamed() {
#ifdef O_TMPFILE
    descriptor_ = ::open(directoryOf(target_).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, kNewFileMode);
    // Without this path it could not be given its name.
    if (isOpen() && access(descriptorPath(descriptor_).c_str(), F_OK) == 0) return true;
    discard();
#endif
    return false;
}

bool WholeFile::openNamed() {
    for (int i = 0; i < kNameTries; ++i) {
        beside_ = newNameBeside(target_);
        descriptor_ =
            ::open(beside_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kNewFileMode);
        if (isOpen()) return true;
        beside_.clear();  // somebody else's, if anybody's
        if (errno != EEXIST) break;
    }
    return false;
}

bool WholeFile::takePermissions() {
    struct stat existing {};
    return stat(target_.c_str(), &existing) != 0 ||
           fchmod(descriptor_, existing.st_mode & kPermissionBits) == 0;
}

/** A name of its own first: a file can be linked to no path that is taken, but renamed to it. */
bool WholeFile::giveName() {
    for (int i = 0; i < kNameTries; ++i) {
        std::string name = newNameBeside(target_);
        if (linkat(AT_FDCWD, descriptorPath(descriptor_).c_str(), AT_FDCWD, name.c_str(),
                   AT_SYMLINK_FOLLOW) == 0) {
            beside_ = std::move(name);
            return true;
        }
        if (errno != EEXIST) break;
    }
    return false;
}
