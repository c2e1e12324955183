/* Commands.h: the subcommands of tarvo.
 *
 * Each addX() puts a subcommand with its options and help into the command line and runs it when it was
 * chosen. Each runX() does the work, prints, and answers the exit status (ExitStatus.h).
 *
 * Thread: main.
 */
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/tarvo/LiveFiles.h"
#include "host/tarvo/Options.h"

// Only the files that add a subcommand read the whole library.
namespace CLI {
class App;
class Validator;
}  // namespace CLI

namespace tarvo {

/** What the command line was read into, and what came of it. */
struct Invocation {
    CommonOptions common;
    int status = 0;
};

/** A text below a subcommand's options: what it does, with examples. */
void describe(CLI::App& command, const std::string& text);

/** For options that are numbers: one from `low` to `high`. The library's own range lets pass what is no
 * number ("nan"). */
CLI::Validator numberFrom(double low, double high);

struct HelperOptions {
    bool isQuiet = false;
};
int runHelper(const CommonOptions& common, const HelperOptions& options);
void addHelper(CLI::App& app, Invocation& invocation);

struct CamerasOptions {
    bool showsDetails = false;
};
int runCameras(const CommonOptions& common, const CamerasOptions& options);
void addCameras(CLI::App& app, Invocation& invocation);

int runSettingsList(const CommonOptions& common);
int runSettingsGet(const CommonOptions& common, const std::vector<std::string>& names);
int runSettingsOptions(const CommonOptions& common, const std::string& name);
int runSettingsSet(const CommonOptions& common, const std::vector<std::string>& assignments, bool takesAny);
void addSettings(CLI::App& app, Invocation& invocation);

int runBattery(const CommonOptions& common);
void addBattery(CLI::App& app, Invocation& invocation);
int runBracketing(const CommonOptions& common);
void addBracketing(CLI::App& app, Invocation& invocation);
int runFocus(const CommonOptions& common, int steps);
void addFocus(CLI::App& app, Invocation& invocation);

struct ShootOptions {
    std::string path = "frame";
    std::string quality;       // empty: as the camera is set
    std::string at;            // a time of day; empty: none
    std::optional<double> in;  // seconds from now
    int count = 1;
    double interval = 0;     // seconds between the starts of two shots
    int start = 1;           // number of the first frame
    bool continues = false;  // number on after the highest one there is
    bool isForced = false;
    bool halfPress = false;
    double timeout = 60;  // seconds to wait for each file
};
int runShoot(const CommonOptions& common, const ShootOptions& options);
void addShoot(CLI::App& app, Invocation& invocation);

struct LiveOptions {
    LiveTarget target;
    int frames = 0;  // 0: until Ctrl-C
    double fps = 0;  // 0: as fast as they come
    bool isZoomed = false;
    std::vector<float> position;  // x, y
};
int runLive(const CommonOptions& common, const LiveOptions& options);
void addLive(CLI::App& app, Invocation& invocation);

struct WatchOptions {
    bool isJson = false;
    bool hidesProgress = false;
    bool opensSession = true;
    int count = 0;       // 0: any number of events
    double seconds = 0;  // 0: any time
    std::string save;    // path for pictures taken at the camera; empty: they are not downloaded
    std::function<void()> onReady;
};
int runWatch(const CommonOptions& common, const WatchOptions& options);
void addWatch(CLI::App& app, Invocation& invocation);

void addWebcam(CLI::App& app, Invocation& invocation);

void addLab(CLI::App& app, Invocation& invocation);

struct DemoOptions {
    std::string output = "demo-output";
};
/** A live frame, a still and an average of a noisy scene, and a sheet with the three side by side. */
int runWebcamDemo(const std::string& folder);
int runDemo(const CommonOptions& common, const DemoOptions& options);
void addDemo(CLI::App& app, Invocation& invocation);

}  // namespace tarvo
