/* small_disk.h: a disk that is soon full.
 *
 * Thread: main. enterOwnMounts() comes first in a program, before any thread: only a process with one may
 *         leave the mounts of the others.
 * Owns:   the mount, until the end of the object.
 * Errors: where the system lets a test mount nothing, isMounted() is false.
 */
#pragma once

#include <cstdint>
#include <string>

namespace e2e {

/** Mounts of our own that nobody else sees, if the system allows it. */
void enterOwnMounts();

/** A disk with room for so many bytes in a new folder. */
class SmallDisk {
public:
    SmallDisk(std::string path, int64_t bytes);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return isMounted_; }

private:
    std::string path_;
    bool isMounted_ = false;
};

}  // namespace e2e
