#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/client/LabClient.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/Places.h"

namespace tarvo {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::chrono::seconds kLabLimit{10};

/** A folder for the lab's socket, whose path has to be short. */
class SocketFolder {
public:
    SocketFolder() {
        std::error_code problem;
        std::string name = (fs::temp_directory_path(problem) / "tarvo-demo-XXXXXX").string();
        if (::mkdtemp(name.data()) != nullptr) path_ = name;
    }
    SocketFolder(const SocketFolder&) = delete;
    SocketFolder& operator=(const SocketFolder&) = delete;
    ~SocketFolder() {
        std::error_code ignored;
        if (!path_.empty()) fs::remove_all(path_, ignored);
    }
    std::string socket() const { return (path_ / "lab").string(); }

private:
    fs::path path_;
};

std::string readWhole(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/** The originals of the first camera of a family, shot by shot, as the scenario names them. */
std::vector<std::vector<fs::path>> originalsOf(const fs::path& scenario, const std::string& family) {
    std::vector<std::vector<fs::path>> shots;
    const auto document = json::parse(readWhole(scenario), nullptr, false);
    if (document.is_discarded()) return shots;
    for (const auto& device : document.value("devices", json::array())) {
        if (device.value("family", "") != family || !shots.empty()) continue;
        for (const auto& shot : device.value("shots", json::array())) {
            std::vector<fs::path> files;
            for (const auto& file : shot)
                files.push_back(scenario.parent_path() / file.value("file", ""));
            shots.push_back(files);
        }
    }
    return shots;
}

std::string lowerExtension(const fs::path& path) {
    std::string extension = path.extension().string();
    for (char& c : extension)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

int compare(const std::string& base, const std::vector<fs::path>& originals) {
    for (const auto& original : originals) {
        const fs::path copy = base + lowerExtension(original);
        const auto wanted = readWhole(original);
        const auto got = readWhole(copy);
        if (wanted.empty() || wanted != got) {
            complain("{} differs from the camera's {} ({} and {} bytes)", copy.string(),
                     original.filename().string(), got.size(), wanted.size());
            return kExitFailed;
        }
        say("{} is the camera's {} byte for byte ({} bytes)", copy.string(), original.filename().string(),
            got.size());
    }
    return originals.empty() ? kExitFailed : kExitOk;
}

class Tour {
public:
    Tour(const CommonOptions& common, std::string output, std::string scenario)
        : common_(common), output_(std::move(output)), scenario_(std::move(scenario)) {}

    int run();

private:
    void announce(const std::string& title, const std::string& command) const {
        note("\n== {}\n$ tarvo {}", title, command);
    }
    int shootPair();
    int shootSeries();
    int saveLiveView();
    int watchCamera();
    int useNikon();
    int shootNikonPair(const CommonOptions& nikon);
    int averageWebcam() const;
    void turnDialsAndPress() const;

    CommonOptions common_;
    std::string output_;
    fs::path scenario_;
};

int Tour::shootPair() {
    announce("A RAW+JPEG shot, released by the clock two seconds from now",
             "shoot --path " + output_ + "/pair/frame --quality raw+jpeg --in 2");
    ShootOptions shot;
    shot.path = output_ + "/pair/frame";
    shot.quality = "raw+jpeg";
    shot.in = 2.0;
    shot.isForced = true;
    if (const int status = runShoot(common_, shot); status != kExitOk) return status;
    const auto shots = originalsOf(scenario_, "canon");
    if (shots.empty()) {
        complain("the scenario names no pictures to compare with");
        return kExitFailed;
    }
    return compare(output_ + "/pair/frame0001", shots.front());
}

int Tour::shootSeries() {
    announce("Three shots, two seconds apart",
             "shoot --path " + output_ + "/series/frame --count 3 --interval 2");
    ShootOptions series;
    series.path = output_ + "/series/frame";
    series.count = 3;
    series.interval = 2;
    series.isForced = true;
    return runShoot(common_, series);
}

int Tour::saveLiveView() {
    announce("Live view: ten frames, five a second",
             "live --path " + output_ + "/live/live --frames 10 --fps 5");
    LiveOptions live;
    live.target.path = output_ + "/live/live";
    live.frames = 10;
    live.fps = 5;
    live.target.isForced = true;
    return runLive(common_, live);
}

void Tour::turnDialsAndPress() const {
    LabClient lab;
    if (lab.open(common_.labSocket, kLabLimit))
        return;  // watching will then run into its time limit and say so
    for (const char* command : {R"({"cmd":"set","id":"canon-1","property":"0x402","value":96})",
                                R"({"cmd":"set","id":"canon-1","property":"0x406","value":104})",
                                R"({"cmd":"press","id":"canon-1"})"}) {
        const auto answer = lab.command(command, kLabLimit);
        if (!answer.ok()) return;
    }
}

int Tour::watchCamera() {
    announce("What the camera reports while somebody turns its dials and presses its shutter",
             "watch --for 3 --no-progress --save " + output_ + "/camera/frame");
    std::error_code ignored;
    fs::remove_all(output_ + "/camera", ignored);
    WatchOptions watch;
    watch.seconds = 3;
    watch.hidesProgress = true;
    watch.save = output_ + "/camera/frame";
    std::thread photographer;
    watch.onReady = [&] { photographer = std::thread([this] { turnDialsAndPress(); }); };
    const int status = runWatch(common_, watch);
    if (photographer.joinable()) photographer.join();
    if (status != kExitOk) return status;
    if (!fs::exists(output_ + "/camera", ignored) || fs::is_empty(output_ + "/camera", ignored)) {
        complain("the picture taken at the camera did not arrive");
        return kExitFailed;
    }
    return kExitOk;
}

int Tour::shootNikonPair(const CommonOptions& nikon) {
    announce("A RAW+JPEG shot with the Nikon, two seconds from now",
             "shoot --camera nikon --path " + output_ + "/nikon/frame --in 2");
    ShootOptions shot;
    shot.path = output_ + "/nikon/frame";
    shot.in = 2.0;
    shot.isForced = true;
    if (const int status = runShoot(nikon, shot); status != kExitOk) return status;
    const auto shots = originalsOf(scenario_, "nikon");
    if (shots.empty()) {
        complain("the scenario names no pictures of a Nikon to compare with");
        return kExitFailed;
    }
    return compare(output_ + "/nikon/frame0001", shots.front());
}

int Tour::useNikon() {
    CommonOptions nikon = common_;
    nikon.camera = "nikon";
    announce("A Nikon camera's settings, by its own texts",
             "settings set mode=Aperture metering=Spot --camera nikon");
    const int status = runSettingsSet(nikon, {"mode=Aperture", "metering=Spot"}, false);
    if (status != kExitOk) return status;
    announce("All that it lets us choose", "settings --camera nikon");
    if (const int listed = runSettingsList(nikon); listed != kExitOk) return listed;
    if (const int shot = shootNikonPair(nikon); shot != kExitOk) return shot;
    announce("Live view of the Nikon: five frames",
             "live --camera nikon --path " + output_ + "/nikon/live --frames 5");
    LiveOptions live;
    live.target.path = output_ + "/nikon/live";
    live.frames = 5;
    live.target.isForced = true;
    return runLive(nikon, live);
}

int Tour::averageWebcam() const {
    announce("A webcam in the dark: a live frame, a still, and the mean of 32 frames",
             "webcam average --frames 32 --scenario noisy-webcam -o " + output_ + "/webcam/average.png");
    return runWebcamDemo(output_ + "/webcam");
}

int Tour::run() {
    announce("Cameras", "cameras --details");
    CamerasOptions details;
    details.showsDetails = true;
    if (const int status = runCameras(common_, details); status != kExitOk) return status;
    announce("Settings", "settings");
    if (const int status = runSettingsList(common_); status != kExitOk) return status;
    announce("Changing some", "settings set iso=400 tv=1/125");
    if (const int status = runSettingsSet(common_, {"iso=400", "tv=1/125"}, false); status != kExitOk)
        return status;
    if (const int status = shootPair(); status != kExitOk) return status;
    if (const int status = shootSeries(); status != kExitOk) return status;
    if (const int status = saveLiveView(); status != kExitOk) return status;
    if (const int status = watchCamera(); status != kExitOk) return status;
    if (const int status = useNikon(); status != kExitOk) return status;
    return averageWebcam();
}

}  // namespace

int runDemo(const CommonOptions& common, const DemoOptions& options) {
    CommonOptions own = common;
    own.isSimulated = true;
    if (own.port) {
        complain("demo: it starts a helper of its own; leave --port out");
        return kExitUsage;
    }
    if (own.scenario.empty()) own.scenario = "demo";
    const auto scenario = resolveScenario(own.scenario);
    if (!scenario.ok()) return report(scenario.error);
    const SocketFolder folder;
    own.labSocket = folder.socket();
    HelperAccess helper;
    if (const int status = helper.open(own); status != kExitOk) return status;
    note("A helper with simulated cameras runs on port {}. No camera is needed.", helper.port());

    CommonOptions shared;  // the steps use the helper as any other host would
    shared.port = helper.port();
    shared.labSocket = own.labSocket;
    shared.nikonModules = nikonFolder(true).string();
    const int status = Tour(shared, options.output, scenario.value).run();
    if (status == kExitOk) {
        note(
            "\nAll done. Look into {0}/:\n"
            "  pair/    one shot, RAW and JPEG, the same bytes as on the camera's card\n"
            "  series/  three shots in rhythm\n"
            "  live/    live-view frames\n"
            "  camera/  what was taken at the camera itself\n"
            "  nikon/   a RAW+JPEG shot and live-view frames of a Nikon camera\n"
            "  webcam/  a live frame, a still and an average of a noisy scene, side by side in sheet.png",
            options.output);
    }
    return status;
}

void addDemo(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("demo", "Show it all on simulated cameras with real photographs");
    auto options = std::make_shared<DemoOptions>();
    command->add_option("--output", options->output, "Folder for the pictures")->capture_default_str();
    describe(
        *command,
        "Lists the cameras, changes settings, takes a timed RAW+JPEG shot and compares it with the camera's\n"
        "originals, takes a series, saves live view, and watches the camera; then a Nikon camera, and a\n"
        "webcam's noise and its average side by side. Takes about 25 seconds.\n\n"
        "Examples:\n"
        "  tarvo demo\n"
        "  tarvo demo --output /tmp/demo\n");
    command->callback([options, &invocation] { invocation.status = runDemo(invocation.common, *options); });
}

}  // namespace tarvo
