/* FrameFiles.h: numbered frames on the disk, never overwritten by accident and never half written under their
 * name.
 *
 * Pictures arrive in a folder of their own inside the target folder and get their name (one rename) once they
 * are whole. So whatever goes wrong in between, a file with a frame's name is a whole picture.
 *
 * Thread: one caller.
 * Owns:   the folder for arriving pictures, removed with what is left in it at the end.
 * Errors: Result.h; badArgument for a path that cannot be used, files for what the disk refuses.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "host/client/Result.h"

namespace tarvo {

class FrameFiles {
public:
    FrameFiles() = default;
    FrameFiles(const FrameFiles&) = delete;
    FrameFiles& operator=(const FrameFiles&) = delete;
    ~FrameFiles();

    /** `path` is folder and beginning of the names ("pictures/frame"); a folder alone means "frame" in it.
     * Makes the folder if need be. */
    Error open(const std::string& path, bool mayOverwrite);

    /** "frame0001" */
    std::string nameOf(int number) const;
    /** The first frame from `first` on, `count` of them, that has a file already; empty: none has. */
    std::string findTaken(int first, int count) const;
    /** One more than the highest number that has a file. */
    int nextNumber() const;

    /** Absolute path without extension under which the picture of a frame can arrive. */
    std::string arrivalPath(int number) const;
    /** Gives everything that has arrived its name. `suffix` follows the number. Empty files are removed and
     * told. */
    struct Published {
        std::vector<std::filesystem::path> files;
        Error error;
    };
    Published publish(int number, const std::string& suffix = "");
    /** Removes what has arrived. */
    void discard();

    /** Writes one file whole: under another name first, then renamed. What is no file, such as a device or a
     * pipe, is written into, and stays. */
    static Error writeAtomically(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                                 bool mayOverwrite);
    /** For writeAtomically: the name of a frame with this extension. */
    std::filesystem::path finalPath(int number, const std::string& extension) const;

private:
    std::vector<std::filesystem::path> arrived() const;

    std::filesystem::path folder_;
    std::filesystem::path shownFolder_;  // as the caller wrote it
    std::string prefix_;
    std::filesystem::path arrival_;
    bool mayOverwrite_ = false;
    std::set<std::filesystem::path> own_;  // names given in this run, never overwritten
};

}  // namespace tarvo
