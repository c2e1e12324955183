/* WholeFile.h: a file that appears at its path when all of it has been written, or not at all.
 *
 * What is written lies beside the path until it is kept: without a name where the file system can do that, so
 * that not even a killed process leaves a piece; else as a hidden file. A file that was at the path stays
 * untouched until another one takes its place, with its permissions; a symbolic link is followed, also to
 * where there is nothing yet. Devices and pipes have no place to take: they are written into as they are. So
 * is a file that may be written in a folder that may not; given up, it is left empty.
 *
 * Unless it is forced to the medium, what a crash of the whole machine leaves is the file system's choice.
 *
 * Thread: one at a time for a file.
 * Owns:   its descriptor; what was not kept is gone with the object.
 * Errors: false, with errno set; what was written is then to be given up. A full disk may show at any write
 *         and at the end. Nothing is thrown: without memory for a path errno is ENOMEM.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/Export.h"

class TARVO_PLATFORM_API WholeFile {
public:
    WholeFile() = default;
    ~WholeFile() { discard(); }
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /** Begins a file; fails where a file of that path could not be created or truncated. Once. */
    bool open(const std::string& path);
    bool isOpen() const { return descriptor_ >= 0; }
    /** Asks for room for so many bytes, which makes many small writes quicker. A hint: where it cannot be
     * had, the writes will tell. What is kept must have that length, or the rest of the room stays taken. */
    void reserve(uint64_t size);
    bool write(const void* bytes, size_t size);
    /** Waits until what was written would outlive a crash of the machine; devices and pipes have no such
     * thing, and are not waited for. */
    bool forceToMedium();
    /** Puts what was written in its place and closes. On failure nothing is left. */
    bool keep();
    /** Gives up what was written. */
    void discard();

private:
    bool openAt(const std::string& path);
    bool putInPlace();
    bool openInPlace();
    bool openUnnamed();
    bool openNamed();
    bool takePermissions();
    bool giveName();

    std::string target_;  // where links have led
    std::string beside_;  // the name until it is kept; empty: none
    int descriptor_ = -1;
    bool isSpecial_ = false;
    bool isInPlace_ = false;
};
