#include "TarvoRemote/SettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"

namespace {

/** Settings are a few kilobytes; whatever is larger is something else. */
constexpr off_t kLongestSettings = 16 << 20;
constexpr mode_t kNewFileMode = 0666;

class File {
public:
    explicit File(int descriptor) : descriptor_(descriptor) {}
    ~File() { close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }
    bool close() { return descriptor_ < 0 || ::close(std::exchange(descriptor_, -1)) == 0; }

private:
    int descriptor_;
};

bool readAll(int descriptor, std::vector<uint8_t>& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = read(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

bool writeAll(int descriptor, const void* bytes, size_t size) {
    const auto* rest = static_cast<const uint8_t*>(bytes);
    while (size > 0) {
        const ssize_t count = write(descriptor, rest, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        rest += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

/** Where a chain of symbolic links leads; the path itself when there is no file yet. */
std::string targetOf(const char* path) {
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(path, nullptr), std::free);
    return target ? target.get() : path;
}

bool isSpecial(const std::string& path) {
    struct stat existing {};
    return stat(path.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode);
}

/** Devices and pipes have no file to put in their place. */
bool writeInto(const std::string& path, const void* bytes, size_t size) {
    File file(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
    return file.isOpen() && writeAll(file.descriptor(), bytes, size) && file.close();
}

/** A new file gets the permissions that any new file gets; one that replaces another gets that one's. */
bool keepPermissions(int descriptor, const std::string& path) {
    struct stat existing {};
    return stat(path.c_str(), &existing) != 0 || fchmod(descriptor, existing.st_mode & 07777) == 0;
}

bool replaceWhole(const std::string& path, const void* bytes, size_t size) {
    // Settings are saved by the main thread alone, so one name for each process is enough; a file of that
    // name is what an ended process left.
    const std::string beside = path + ".new-" + std::to_string(getpid());
    File file(open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kNewFileMode));
    if (!file.isOpen()) return false;
    const bool isWhole = writeAll(file.descriptor(), bytes, size) &&
                         keepPermissions(file.descriptor(), path) && fsync(file.descriptor()) == 0 &&
                         file.close();
    if (isWhole && rename(beside.c_str(), path.c_str()) == 0) return true;
    const int reason = errno;
    unlink(beside.c_str());
    errno = reason;
    return false;
}

}  // namespace

std::vector<uint8_t> loadSettings(const char* path) {
    struct stat status {};
    if (path == nullptr || stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return {};
    if (status.st_size <= 0 || status.st_size > kLongestSettings) return {};
    const File file(open(path, O_RDONLY | O_CLOEXEC));
    std::vector<uint8_t> bytes(static_cast<size_t>(status.st_size));
    if (!file.isOpen() || !readAll(file.descriptor(), bytes)) return {};
    return bytes;
}

int saveSettings(const char* path, const void* bytes, size_t size) {
    if (size == 0) return 0;
    if (path == nullptr || *path == '\0') {
        rdebug(MODULE_QUICKTIME, "Settings not saved: no path was given\n");
        return 1;
    }
    const std::string target = targetOf(path);
    const bool isSaved =
        isSpecial(target) ? writeInto(target, bytes, size) : replaceWhole(target, bytes, size);
    if (!isSaved) rdebug(MODULE_QUICKTIME, "Settings not saved to %s: %s\n", path, std::strerror(errno));
    return isSaved ? 0 : 1;
}
