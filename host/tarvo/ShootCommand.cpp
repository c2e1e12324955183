#include <CLI/CLI.hpp>
#include <atomic>
#include <filesystem>

#include "host/client/Deadline.h"
#include "host/client/ErrorText.h"
#include "host/client/ShotTaker.h"
#include "host/client/protocol.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/FrameFiles.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/NikonSeries.h"
#include "host/tarvo/NikonSettings.h"
#include "host/tarvo/Properties.h"
#include "host/tarvo/ShotSchedule.h"
#include "host/tarvo/TimeText.h"

namespace tarvo {
namespace {

constexpr int64_t kSecond = 1'000'000;

std::chrono::milliseconds inMilliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
}

/** A series of shots under way. */
class Series {
public:
    /** `number` tells other threads which frame is under way. */
    Series(CameraAccess& access, FrameFiles& files, const ShootOptions& options, std::atomic<int>& number)
        : access_(access),
          files_(files),
          options_(options),
          number_(number),
          taker_(access.client(), access.events(),
                 [this](const auto& download) { return onDownload(download); }) {
        taker_.setInterrupt(interrupt::fd());
    }

    /** `firstMoment` 0: at once. */
    int run(int firstNumber, int64_t firstMoment);

private:
    ShotRequest requestOf(int number, int64_t deadline) const;
    bool onDownload(const ShotTaker::Download& download);
    int judge(const ShotOutcome& outcome) const;

    CameraAccess& access_;
    FrameFiles& files_;
    const ShootOptions& options_;
    std::atomic<int>& number_;  // of the frame whose files arrive
    ShotTaker taker_;
    int fileStatus_ = 0;  // of what the disk had to say
};

ShotRequest Series::requestOf(int number, int64_t deadline) const {
    ShotRequest request;
    request.handle = access_.handle();
    request.path = files_.arrivalPath(number);
    request.halfPress = options_.halfPress;
    request.deadline = deadline;
    request.offerLimit = inMilliseconds(options_.timeout);
    request.stallLimit = inMilliseconds(options_.timeout);
    return request;
}

bool Series::onDownload(const ShotTaker::Download& download) {
    console::endProgress();
    if (download.status != kStatusOk) {
        files_.discard();
        complain("{}: a file of the shot was not transferred: {} The picture cannot be asked for again",
                 files_.nameOf(number_), statusSentence(download.status));
        return false;
    }
    const auto published = files_.publish(number_, download.isExtra ? "-extra" : "");
    for (const auto& file : published.files) {
        std::error_code problem;
        const auto size = std::filesystem::file_size(file, problem);
        say("{}  {} bytes", file.string(), size);
        if (download.isExtra) note("  taken at the camera itself");
    }
    if (published.error) fileStatus_ = report(published.error);
    return !published.files.empty();
}

int Series::judge(const ShotOutcome& outcome) const {
    const auto name = files_.nameOf(number_);
    if (outcome.error) return report(outcome.error);
    if (fileStatus_ != kExitOk) return fileStatus_;
    if (outcome.prepareStatus != kStatusOk || outcome.captureStatus != kStatusOk) {
        const bool isPrepared = outcome.prepareStatus == kStatusOk;
        complain("{}: the camera did not {}: {}", name, isPrepared ? "shoot" : "get ready",
                 statusSentence(isPrepared ? outcome.captureStatus : outcome.prepareStatus));
        return kExitFailed;
    }
    if (outcome.isComplete()) return kExitOk;
    const char* reason = outcome.isCameraGone      ? "the camera was unplugged or switched off"
                         : outcome.hasCaptureError ? "the camera reported that the shot failed"
                                                   : "see above";
    complain("{}: {} of {} files stored: {}", name, outcome.storedFiles, outcome.expectedFiles, reason);
    return kExitFailed;
}

int Series::run(int firstNumber, int64_t firstMoment) {
    ShotSchedule schedule(firstMoment, options_.interval);
    for (int i = 0; i < options_.count; ++i) {
        number_ = firstNumber + i;
        const auto outcome = taker_.take(requestOf(number_, schedule.next(files_.nameOf(number_))));
        console::endProgress();
        files_.discard();
        if (const int status = judge(outcome); status != kExitOk) return status;
    }
    return report(taker_.collectExtra(requestOf(number_, 0)));
}

int setQuality(CameraAccess& access, const std::string& text) {
    const auto options = access.client().getSettingOptions(access.handle(), kPropertyQuality);
    if (!options.ok()) return report(options.error);
    const auto code = parseValue(kPropertyQuality, text, options.value);
    if (!code) {
        complain(
            "--quality: '{}' is none of the qualities that the camera offers; see 'tarvo settings options "
            "quality'",
            text);
        return kExitUsage;
    }
    const auto isSet = access.client().setSetting(access.handle(), kPropertyQuality, *code);
    if (!isSet.ok()) return report(isSet.error);
    const auto now = access.client().getSetting(access.handle(), kPropertyQuality);
    if (!now.ok()) return report(now.error);
    if (!isSet.value || now.value != *code) {
        complain("--quality: the camera does not take {}; it stays at {}", valueText(kPropertyQuality, *code),
                 valueText(kPropertyQuality, now.value));
        return kExitFailed;
    }
    return kExitOk;
}

int firstMoment(const ShootOptions& options, int64_t& moment) {
    const int64_t now = wallClockMicroseconds();
    moment = 0;
    if (options.in) moment = now + static_cast<int64_t>(*options.in * static_cast<double>(kSecond));
    if (options.at.empty()) return kExitOk;
    const auto at = parseMoment(options.at, now);
    if (!at) {
        complain("--at: '{}' is no moment; write 18:30:00, 2026-11-21T18:30:00 or @SECONDS", options.at);
        return kExitUsage;
    }
    if (*at <= now) {
        complain("--at: {} has passed; it is {}", options.at, timeOfDay(now));
        return kExitUsage;
    }
    moment = *at;
    return kExitOk;
}

}  // namespace

int runShoot(const CommonOptions& common, const ShootOptions& options) {
    int64_t moment = 0;
    if (const int status = firstMoment(options, moment); status != kExitOk) return status;
    FrameFiles files;
    if (auto error = files.open(options.path, options.isForced)) return report(error);
    const int first = options.continues ? files.nextNumber() : options.start;
    if (const auto taken = files.findTaken(first, options.count); !taken.empty() && !options.isForced) {
        complain("{} exists. Choose another --path, --next to number on, or --force to replace it", taken);
        return kExitFiles;
    }

    std::atomic<int> number{first};
    const auto onEvent = [&files, &number](const Event& event) {
        if (const auto* progress = std::get_if<ProgressEvent>(&event)) {
            console::showProgress(files.nameOf(number), progress->percent);
        }
    };
    CameraAccess access;  // its events end before what they use
    if (const int status = access.connect(common, onEvent); status != kExitOk) return status;
    if (const int status = access.openCamera(); status != kExitOk) return status;
    if (!options.quality.empty()) {
        const int status =
            access.isNikon() ? setNikonQuality(access, options.quality) : setQuality(access, options.quality);
        if (status != kExitOk) return status;
    }
    const int status = access.isNikon() ? NikonSeries(access, files, options, number).run(first, moment)
                                        : Series(access, files, options, number).run(first, moment);
    console::endProgress();
    return status;
}

void addShoot(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("shoot", "Take pictures and store them");
    auto options = std::make_shared<ShootOptions>();
    command
        ->add_option("--path", options->path,
                     "Folder and beginning of the names; the number and the camera's\n"
                     "extension are added (frame0001.cr2)")
        ->capture_default_str();
    command->add_option("--quality", options->quality,
                        "Set the image quality first: raw, jpeg, raw+jpeg, or as 'settings' shows it");
    auto* at = command->add_option("--at", options->at, "Release the (first) shutter at this moment");
    command->add_option("--in", options->in, "... or so many seconds from now")
        ->check(numberFrom(0.0, 604800.0))
        ->excludes(at);
    command->add_option("--count", options->count, "Number of shots")
        ->check(CLI::Range(1, 1'000'000))
        ->capture_default_str();
    command
        ->add_option("--interval", options->interval,
                     "Seconds from shutter to shutter; 0: as fast as it goes")
        ->check(numberFrom(0.0, 604800.0))
        ->capture_default_str();
    auto* start = command->add_option("--start", options->start, "Number of the first frame")
                      ->check(CLI::Range(0, 100'000'000))
                      ->capture_default_str();
    command->add_flag("--next", options->continues, "Number on after the highest frame there is")
        ->excludes(start);
    command->add_flag("--force", options->isForced, "Replace frames that exist");
    command->add_flag("--half-press", options->halfPress,
                      "Half-press the shutter beforehand, on bodies that know it");
    command->add_option("--timeout", options->timeout, "Seconds to wait for each file")
        ->check(numberFrom(0.1, 86400.0))
        ->capture_default_str();
    describe(*command,
             "Waits until all files of every shot are stored whole; RAW+JPEG makes two files of one shot. "
             "What the\n"
             "photographer takes at the camera meanwhile is stored as frameNNNN-extra. A series keeps its "
             "rhythm by\n"
             "the clock: each shutter is released by the helper at its own deadline. A Nikon camera stores "
             "what it\n"
             "is set to; --quality there is the text of any of its settings' values (tarvo settings).\n\n"
             "Examples:\n"
             "  tarvo shoot --path scene1/frame\n"
             "  tarvo shoot --quality raw+jpeg --in 3\n"
             "  tarvo shoot --path sunset/ --at 18:30:00 --count 60 --interval 10\n"
             "  tarvo shoot --simulated --next\n"
             "  tarvo shoot --camera nikon --in 3\n");
    command->callback([options, &invocation] { invocation.status = runShoot(invocation.common, *options); });
}

}  // namespace tarvo
