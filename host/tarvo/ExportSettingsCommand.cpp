#include <sys/stat.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>

#include "host/client/ExportClient.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/ExportCommands.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/SettingsTree.h"

namespace tarvo {
namespace {

constexpr int32_t kStatusesOfTheMovie[] = {-43, -50, -54, -2048};

std::string absolute(const std::string& path) {
    std::error_code problem;
    const auto found = std::filesystem::absolute(path, problem);
    return problem ? path : found.string();
}

/** What changes when a file is written: the helper puts a new one in its place. */
struct FileState {
    ino_t number = 0;
    timespec changed{};

    bool operator==(const FileState& other) const {
        return number == other.number && changed.tv_sec == other.changed.tv_sec &&
               changed.tv_nsec == other.changed.tv_nsec;
    }
};

FileState stateOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return {};
    return {status.st_ino, status.st_ctim};
}

int show(const std::string& path) {
    const auto container = readSettingsFile(path);
    if (!container.ok()) {
        complain("{}", container.error.text);
        return kExitUsage;
    }
    for (const auto& line : treeOf(container.value))
        say("{}", line);
    return kExitOk;
}

int reportStatus(int32_t status, const std::string& movie) {
    const std::string text = exportStatusText(status);
    complain("{}: {} (status {})", movie, text.empty() ? "the dialog was not shown" : text, status);
    const bool isMovies = std::find(std::begin(kStatusesOfTheMovie), std::end(kStatusesOfTheMovie), status) !=
                          std::end(kStatusesOfTheMovie);
    return isMovies ? kExitUsage : kExitFailed;
}

int ask(const CommonOptions& common, const ExportSettingsOptions& options) {
    HelperAccess helper;
    if (const int status = helper.open(common); status != kExitOk) return status;
    ExportSettingsRequest request;
    request.settings = absolute(options.settings);
    // The helper saves to two files. Without a second one both are the same.
    request.second = options.second.empty() ? request.settings : absolute(options.second);
    request.movie = absolute(options.movie);
    request.usesSaved = options.usesSaved;
    const FileState before = stateOf(request.settings);
    const auto answer = askForExportSettings(helper.port(), request, interrupt::fd());
    if (!answer.ok()) return report(answer.error);
    if (answer.value != 0) return reportStatus(answer.value, options.movie);
    if (stateOf(request.settings) == before) {
        note("Cancelled, or not saved: {} is as it was.", options.settings);
        return kExitOk;
    }
    note("Saved: {}", options.settings);
    return kExitOk;
}

}  // namespace

int runExportSettings(const CommonOptions& common, const ExportSettingsOptions& options) {
    if (!options.shown.empty()) return show(options.shown);
    if (options.movie.empty() || options.settings.empty()) {
        complain("say which movie it is about and where to keep the settings: MOVIE --settings FILE");
        return kExitUsage;
    }
    return ask(common, options);
}

void addExportSettings(CLI::App& app, Invocation& invocation) {
    auto* command =
        app.add_subcommand("export-settings", "Let the user choose how a movie is to be exported");
    auto options = std::make_shared<ExportSettingsOptions>();
    auto* movie = command->add_option("movie", options->movie, "The movie");
    auto* settings = command->add_option("--settings", options->settings, "File to keep the settings in");
    auto* second = command->add_option("--second", options->second, "A second file to keep them in");
    auto* saved = command->add_flag("--use-saved", options->usesSaved,
                                    "Begin with the settings of the first file, or of the second");
    auto* shown = command->add_option("--show", options->shown, "Print a settings file as a tree, no more");
    for (auto* other : {movie, settings, second, saved})
        shown->excludes(other);
    describe(*command,
             "The helper shows a dialog; this command waits until it is closed. A dialog that is cancelled\n"
             "leaves the files alone.\n\n"
             "Examples:\n"
             "  tarvo export-settings film.mov --settings film.settings\n"
             "  tarvo export-settings film.mov --settings film.settings --use-saved\n"
             "  tarvo export-settings --show film.settings\n");
    command->callback(
        [options, &invocation] { invocation.status = runExportSettings(invocation.common, *options); });
}

}  // namespace tarvo
