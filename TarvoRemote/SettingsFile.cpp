#include "TarvoRemote/SettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "TarvoRemote/modules.h"
#include "TarvoRemote/rdebug.h"
#include "platform/WholeFile.h"

namespace {

/** Settings are a few kilobytes; whatever is larger is something else. */
constexpr off_t kLongestSettings = 16 << 20;

class File {
public:
    explicit File(int descriptor) : descriptor_(descriptor) {}
    ~File() {
        if (isOpen()) close(descriptor_);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }

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
    WholeFile file;
    const bool isSaved = file.open(path) && file.write(bytes, size) && file.forceToMedium() && file.keep();
    if (!isSaved) rdebug(MODULE_QUICKTIME, "Settings not saved to %s: %s\n", path, std::strerror(errno));
    return isSaved ? 0 : 1;
}
