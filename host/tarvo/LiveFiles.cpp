#include "host/tarvo/LiveFiles.h"

#include <CLI/CLI.hpp>

#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"

namespace tarvo {

void addLiveTarget(CLI::App& command, LiveTarget& target, const std::string& extension) {
    command.add_option("--path", target.path,
                       "Folder and beginning of numbered files (NAME0001" + extension + ")");
    command.add_option("--single", target.single,
                       "One file, rewritten with each frame and whole at any moment");
    command.add_flag("--force", target.isForced, "Replace files that exist");
}

int LiveFiles::prepare(const std::string& command, int frames) {
    constexpr int kAnyNumber = 1'000'000;
    if (target_.path.empty() && target_.single.empty()) {
        complain("{}: say where frames shall go: --path FOLDER/NAME, or --single FILE", command);
        return kExitUsage;
    }
    if (target_.path.empty()) return kExitOk;
    if (auto error = files_.open(target_.path, target_.isForced)) return report(error);
    const auto taken = files_.findTaken(1, frames > 0 ? frames : kAnyNumber);
    if (taken.empty() || target_.isForced) return kExitOk;
    complain("{} exists. Choose another --path, or --force to replace it", taken);
    return kExitFiles;
}

int LiveFiles::store(int number, std::span<const uint8_t> frame, const std::string& about) {
    if (!target_.path.empty()) {
        const auto path = files_.finalPath(number, extension_);
        if (auto error = FrameFiles::writeAtomically(path, frame, target_.isForced)) return report(error);
        say("{}  {}", path.string(), about);
    }
    if (target_.single.empty()) return kExitOk;
    return report(FrameFiles::writeAtomically(target_.single, frame, true));
}

}  // namespace tarvo
