/* LiveFiles.h: where live frames go: into numbered files, into one file that is rewritten, or both.
 *
 * Thread: main.
 * Owns:   what FrameFiles owns, and borrows the target.
 * Errors: complaints are printed; exit statuses.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "host/tarvo/FrameFiles.h"

namespace CLI {
class App;
}

namespace tarvo {

struct LiveTarget {
    std::string path;    // numbered files; empty: none
    std::string single;  // one file rewritten; empty: none
    bool isForced = false;
};

/** The options that name the target; files are shown with the extension (".jpg"). */
void addLiveTarget(CLI::App& command, LiveTarget& target, const std::string& extension);

class LiveFiles {
public:
    LiveFiles(const LiveTarget& target, std::string extension)
        : target_(target), extension_(std::move(extension)) {}

    /** For so many frames (0: any number) of the command, before anything is done with a camera. */
    int prepare(const std::string& command, int frames);
    /** Frames are numbered from 1. `about` follows the file's name when it is told. */
    int store(int number, std::span<const uint8_t> frame, const std::string& about);

private:
    const LiveTarget& target_;
    const std::string extension_;
    FrameFiles files_;
};

}  // namespace tarvo
