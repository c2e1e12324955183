// webcam: live, still, average, get, set and focus.
#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>

#include "host/client/protocol.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/WebcamPictures.h"

namespace tarvo {
namespace {

constexpr int kWidestStep = 3;
constexpr double kWideDrive = 0.2;
constexpr double kMiddleDrive = 0.05;
constexpr double kSmallDrive = 0.004;
constexpr int kWideDrivesToTheEnd = 6;  // one more than the range has: steps are cut to the control's own
constexpr int kLargestSide = 16384;

std::optional<FrameSize> parseSize(const std::string& text) {
    FrameSize size;
    const char* end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return std::nullopt;
    const auto height = std::from_chars(width.ptr + 1, end, size.height);
    if (height.ec != std::errc() || height.ptr != end) return std::nullopt;
    const auto isSide = [](int32_t side) { return side > 0 && side <= kLargestSide; };
    return isSide(size.width) && isSide(size.height) ? std::optional(size) : std::nullopt;
}

std::string sizeProblem(const std::string& text) {
    return parseSize(text) ? "" : "'" + text + "' is no size such as 640x480";
}

void addSetup(CLI::App& command, WebcamSetup& setup) {
    command
        .add_option_function<std::string>(
            "--size", [&setup](const std::string& text) { setup.size = *parseSize(text); },
            "Frames of WIDTHxHEIGHT; else the webcam's own size")
        ->check(CLI::Validator(sizeProblem, "WIDTHxHEIGHT"));
    command.add_option("--set", setup.assignments, "Settings to change first: NAME=VALUE ...");
    command.add_option("--settle", setup.settle, "Let the webcam adjust itself for so many seconds first")
        ->check(numberFrom(0.0, 600.0))
        ->capture_default_str();
}

void addWebcamLive(CLI::App& webcam, Invocation& invocation) {
    auto* command = webcam.add_subcommand("live", "Save live frames as PNG files");
    auto options = std::make_shared<WebcamLiveOptions>();
    addLiveTarget(*command, options->target, ".png");
    command->add_option("--frames", options->frames, "End after so many frames; 0: never")
        ->check(CLI::Range(0, 100'000'000))
        ->capture_default_str();
    command->add_option("--for", options->seconds, "End after so many seconds; 0: never")
        ->check(numberFrom(0.0, 604800.0))
        ->capture_default_str();
    command->add_option("--fps", options->fps, "At most so many frames a second; 0: as fast as they come")
        ->check(numberFrom(0.0, 1000.0))
        ->capture_default_str();
    addSetup(*command, options->setup);
    describe(*command,
             "Examples:\n"
             "  tarvo webcam live --single now.png --fps 5\n"
             "  tarvo webcam live --path preview/live --frames 25 --size 640x480\n");
    command->callback(
        [options, &invocation] { invocation.status = runWebcamLive(invocation.common, *options); });
}

void addPicture(CLI::App& command, const std::shared_ptr<WebcamStillOptions>& options,
                Invocation& invocation) {
    command.add_option("-o,--output", options->output, "The PNG file to write")->required();
    command.add_flag("--force", options->isForced, "Replace the file if it exists");
    addSetup(command, options->setup);
    command.callback(
        [options, &invocation] { invocation.status = runWebcamStill(invocation.common, *options); });
}

void addWebcamStill(CLI::App& webcam, Invocation& invocation) {
    auto* command = webcam.add_subcommand("still", "Save one frame as a PNG file");
    addPicture(*command, std::make_shared<WebcamStillOptions>(), invocation);
    describe(*command,
             "The frame comes after the command was given.\n\n"
             "Examples:\n"
             "  tarvo webcam still -o still.png\n"
             "  tarvo webcam still -o still.png --camera c920 --size 1920x1080 --settle 1\n"
             "  tarvo webcam still -o still.png --set auto-exposure=off exposure=0.7 gain=0.1\n");
}

void addWebcamAverage(CLI::App& webcam, Invocation& invocation) {
    auto* command = webcam.add_subcommand("average", "Save the mean of many frames, which has less noise");
    auto options = std::make_shared<WebcamStillOptions>();
    options->frames = 32;
    command->add_option("--frames", options->frames, "How many")
        ->check(CLI::Range(2, kMostAveragedFrames))
        ->capture_default_str();
    addPicture(*command, options, invocation);
    describe(*command,
             "Four times as many frames have half the noise. Nothing in the picture may move.\n\n"
             "Examples:\n"
             "  tarvo webcam average -o calm.png\n"
             "  tarvo webcam average -o calm.png --frames 120 --set gain=0.8\n");
}

int runGet(const CommonOptions& common, const std::vector<std::string>& names) {
    for (const auto& name : names) {
        if (findWebcamSetting(name) == nullptr) return kExitUsage;
    }
    WebcamAccess access;
    if (const int status = access.open(common); status != kExitOk) return status;
    return showWebcamSettings(access.webcam(), names);
}

int runSet(const CommonOptions& common, const std::vector<std::string>& texts) {
    const auto assignments = parseWebcamAssignments(texts);
    if (!assignments) return kExitUsage;
    WebcamAccess access;
    if (const int status = access.open(common); status != kExitOk) return status;
    return setWebcamSettings(access.webcam(), *assignments);
}

constexpr const char* kSelectionChanges =
    "The helper drives a webcam's exposure nearly to its longest when it opens it (or its brightness or\n"
    "gain, when it has no exposure), and every command opens it anew: to take pictures with another\n"
    "exposure give it to the command that takes them, with --set.\n\n";

void addWebcamGet(CLI::App& webcam, Invocation& invocation) {
    auto* command = webcam.add_subcommand("get", "Show the webcam's settings and their ranges");
    auto names = std::make_shared<std::vector<std::string>>();
    command->add_option("NAME", *names, "Some of them; else all");
    describe(*command, std::string("A '-' stands for what the webcam does not have. ") + kSelectionChanges +
                           "Examples:\n"
                           "  tarvo webcam get\n"
                           "  tarvo webcam get gain exposure --camera c920\n");
    command->callback([names, &invocation] { invocation.status = runGet(invocation.common, *names); });
}

void addWebcamSet(CLI::App& webcam, Invocation& invocation) {
    auto* command = webcam.add_subcommand("set", "Change settings, in the order given");
    auto texts = std::make_shared<std::vector<std::string>>();
    command->add_option("NAME=VALUE", *texts, "A fraction of the webcam's range, 0 to 1; on or off")
        ->required();
    describe(*command, std::string("Each is read back and shown. ") + kSelectionChanges +
                           "Examples:\n"
                           "  tarvo webcam set gain=0.25 auto-white-balance=off white-balance=0.6\n");
    command->callback([texts, &invocation] { invocation.status = runSet(invocation.common, *texts); });
}

/** Drives so often by this amount, and answers kExitInterrupted after Ctrl-C. */
int drive(WebcamSession& webcam, int32_t amount, int times) {
    for (; times > 0; --times) {
        if (interrupt::isRequested()) return kExitInterrupted;
        if (auto error = webcam.client().driveFocus(webcam.camera(), amount)) return report(error);
    }
    return kExitOk;
}

/** Focus can only be moved, so a place is reached from the nearer end. */
int driveTo(WebcamSession& webcam, double place) {
    const bool isUpward = place <= 0.5;
    const int sign = isUpward ? 1 : -1;
    double left = isUpward ? place : 1 - place;
    if (const int status = drive(webcam, -sign * 3, kWideDrivesToTheEnd); status != kExitOk) return status;
    for (const auto& [amount, step] : {std::pair{3, kWideDrive}, {2, kMiddleDrive}, {1, kSmallDrive}}) {
        const int times = static_cast<int>(left / step + (amount == 1 ? 0.5 : 1e-9));
        left -= times * step;
        if (const int status = drive(webcam, sign * amount, times); status != kExitOk) return status;
    }
    return kExitOk;
}

struct FocusOptions {
    std::optional<int> step;
    int times = 1;
    std::optional<double> place;
};

int runWebcamFocus(const CommonOptions& common, const FocusOptions& options) {
    if (options.step.has_value() == options.place.has_value()) {
        complain("webcam focus: say either how to move it, --step, or where to, --to");
        return kExitUsage;
    }
    if (options.step == 0) {
        complain("webcam focus: a step of 0 moves nothing");
        return kExitUsage;
    }
    WebcamAccess access;
    if (const int status = access.open(common); status != kExitOk) return status;
    auto& webcam = access.webcam();
    if (const int status = requireWebcamControls(webcam); status != kExitOk) return status;
    return options.place ? driveTo(webcam, *options.place) : drive(webcam, *options.step, options.times);
}

void addWebcamFocus(CLI::App& webcam, Invocation& invocation) {
    auto* command = webcam.add_subcommand("focus", "Move the webcam's focus");
    auto options = std::make_shared<FocusOptions>();
    command
        ->add_option("--step", options->step, "1, 2 or 3: by 0.004, 0.05 or 0.2 of the range; or less than 0")
        ->check(CLI::Range(-kWidestStep, kWidestStep));
    command->add_option("--times", options->times, "So many steps")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command->add_option("--to", options->place, "To this fraction of the range, about; 0 to 1")
        ->check(numberFrom(0.0, 1.0));
    describe(
        *command,
        "The helper switches the automatic on for a moment when it opens a webcam, then off: the focus\n"
        "starts from what that has found. It tells no focus, so --to drives to the nearer end first and\n"
        "counts steps from there. A webcam without the vendor's focus control is driven by the standard\n"
        "one, and from then on all webcams of that helper are.\n\n"
        "Examples:\n"
        "  tarvo webcam focus --step -2\n"
        "  tarvo webcam focus --step 1 --times 5\n"
        "  tarvo webcam focus --to 0.3\n");
    command->callback(
        [options, &invocation] { invocation.status = runWebcamFocus(invocation.common, *options); });
}

}  // namespace

void addWebcam(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("webcam", "Live frames, stills, averages and settings of a webcam");
    command->require_subcommand(1);
    describe(*command,
             "With several webcams --camera chooses one, by a part of its name in 'tarvo cameras'.\n\n"
             "Examples:\n"
             "  tarvo webcam still -o still.png --scenario noisy-webcam\n"
             "  tarvo webcam average -o calm.png --scenario noisy-webcam\n"
             "  tarvo webcam get --camera webcam --scenario webcam\n"
             "  tarvo webcam live --help                        more about one of them\n");
    addWebcamLive(*command, invocation);
    addWebcamStill(*command, invocation);
    addWebcamAverage(*command, invocation);
    addWebcamGet(*command, invocation);
    addWebcamSet(*command, invocation);
    addWebcamFocus(*command, invocation);
}

}  // namespace tarvo
