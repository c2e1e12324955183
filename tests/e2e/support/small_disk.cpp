#include "tests/e2e/support/small_disk.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <utility>

namespace e2e {

void enterOwnMounts() {
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWNS) != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return;
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
        std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
    }
    ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
}

SmallDisk::SmallDisk(std::string path, int64_t bytes) : path_(std::move(path)) {
    std::filesystem::create_directory(path_);
    const std::string options = "size=" + std::to_string(bytes);
    isMounted_ = ::mount("none", path_.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

SmallDisk::~SmallDisk() {
    if (isMounted_) ::umount2(path_.c_str(), MNT_DETACH);
}

}  // namespace e2e
