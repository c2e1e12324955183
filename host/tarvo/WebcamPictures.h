/* WebcamPictures.h: stills, averages and live frames of a webcam, as PNG files.
 *
 * Thread: main.
 * Errors: complaints are printed; exit statuses. A file with a picture's name is a whole picture.
 */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/tarvo/LiveFiles.h"
#include "host/tarvo/WebcamFrames.h"
#include "host/tarvo/WebcamSettings.h"

namespace tarvo {

/** What happens to a webcam before its first picture. */
struct WebcamSetup {
    FrameSize size;
    std::vector<std::string> assignments;  // NAME=VALUE
    double settle = 0;                     // seconds from there to the picture
};

struct WebcamStillOptions {
    std::string output;
    int frames = 1;
    bool isForced = false;
    WebcamSetup setup;
};
int runWebcamStill(const CommonOptions& common, const WebcamStillOptions& options);

struct WebcamLiveOptions {
    LiveTarget target;
    int frames = 0;      // 0: any number
    double seconds = 0;  // 0: any time
    double fps = 0;      // 0: as fast as they come
    WebcamSetup setup;
};
int runWebcamLive(const CommonOptions& common, const WebcamLiveOptions& options);

/** Opens the webcam, changes its settings, and waits until frames come in the size. */
int prepareWebcam(WebcamAccess& access, WebcamFrames& frames, const CommonOptions& common,
                  const WebcamSetup& setup);
/** Encodes, writes whole, and tells. */
int storePng(const VideoFrame& frame, const std::string& path, bool mayOverwrite);

}  // namespace tarvo
