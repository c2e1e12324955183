// The webcam's part of the demonstration: what an average is good for.
#include <array>
#include <filesystem>

#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/PictureSheet.h"
#include "host/tarvo/WebcamPictures.h"

namespace tarvo {
namespace {

constexpr int32_t kAveragedFrames = 32;
// Of each picture the sheet shows so much, at its own scale: smaller pictures would hide the noise.
constexpr int32_t kPartWidth = 240;
constexpr int32_t kPartHeight = 180;
constexpr int32_t kGap = 8;

}  // namespace

int runWebcamDemo(const std::string& folder) {
    std::error_code problem;
    std::filesystem::create_directories(folder, problem);
    if (problem) {
        complain("{}: cannot be made: {}", folder, problem.message());
        return kExitFiles;
    }
    CommonOptions common;
    common.scenario = "noisy-webcam";
    WebcamAccess access;
    WebcamFrames frames(access.webcam(), access.events());
    if (const int status = prepareWebcam(access, frames, common, {}); status != kExitOk) return status;
    note("A helper of its own shows '{}': a still scene under noise.", access.webcam().name());

    std::array<VideoFrame, 3> pictures;
    if (const int status = frames.next(pictures[0]); status != kExitOk) return status;
    if (const int status = frames.capture(1, pictures[1]); status != kExitOk) return status;
    if (const int status = frames.capture(kAveragedFrames, pictures[2]); status != kExitOk) return status;

    const std::array<const char*, 3> names{"live.png", "still.png", "average.png"};
    for (size_t i = 0; i < pictures.size(); ++i) {
        const int status = storePng(pictures[i], folder + "/" + names[i], true);
        if (status != kExitOk) return status;
    }
    return storePng(sideBySide(pictures, kPartWidth, kPartHeight, kGap), folder + "/sheet.png", true);
}

}  // namespace tarvo
