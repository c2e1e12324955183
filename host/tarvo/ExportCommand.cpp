#include <dlfcn.h>
#include <CLI/CLI.hpp>

#include <filesystem>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "host/export/ExportJob.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/ExportCommands.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/PictureSequence.h"
#include "host/tarvo/Places.h"
#include "host/tarvo/SettingsTree.h"

namespace tarvo {
namespace {

namespace fs = std::filesystem;

constexpr double kHighestPictureRate = 240;

/** Null, with a complaint, when this machine lacks what the library needs. */
ExportEntry loadLibrary() {
    const std::string path = (treeFolder() / "lib/tarvo" / kExportLibrary).string();
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const entry = library != nullptr ? dlsym(library, kExportSymbol) : nullptr;
    if (entry == nullptr) complain("movies cannot be exported here: {}", dlerror());
    return reinterpret_cast<ExportEntry>(entry);
}

int checkOutput(const ExportOptions& options) {
    std::error_code problem;
    if (fs::is_directory(options.output, problem)) {
        complain("{} is a folder; name the movie that is to be written", options.output);
        return kExitUsage;
    }
    if (fs::exists(options.output, problem) && !options.isForced) {
        complain("{} exists already; --force replaces it", options.output);
        return kExitFiles;
    }
    return kExitOk;
}

int describeSource(const ExportOptions& options, ExportJob& job) {
    if (!isPictures(options.source)) {
        std::error_code problem;
        if (!fs::exists(options.source, problem)) {
            complain("{}: there is no such movie", options.source);
            return kExitUsage;
        }
        job.movie = options.source;
        return kExitOk;
    }
    const auto pictures = findPictures(options.source);
    if (!pictures.ok()) {
        complain("{}", pictures.error.text);
        return kExitUsage;
    }
    if (pictures.value.gaps > 0) note("Numbers without a picture in between: {}", pictures.value.gaps);
    job.pictures = pictures.value.files;
    job.pictureRate = options.pictureRate;
    return kExitOk;
}

int exitStatusOf(ExportResult result) {
    switch (result) {
        case ExportResult::done:
            return kExitOk;
        case ExportResult::interrupted:
            return kExitInterrupted;
        case ExportResult::badSource:
            return kExitUsage;
        case ExportResult::notWritable:
            return kExitFiles;
        default:
            return kExitFailed;
    }
}

void showPercent(void* label, int percent) {
    console::showProgress(*static_cast<const std::string*>(label), percent);
}

bool isInterrupted(void* /*label*/) {
    return interrupt::isRequested();
}

int encode(ExportEntry entry, const ExportJob& job) {
    std::string label = job.output;
    const ExportWatch watch{&label, showPercent, isInterrupted};
    std::string problem;
    const ExportResult result = entry(job, watch, problem);
    console::endProgress();
    if (!problem.empty()) complain("{}", problem);
    return exitStatusOf(result);
}

}  // namespace

int runExport(const ExportOptions& options) {
    const auto settings = readSettingsFile(options.settings);
    if (!settings.ok()) {
        complain("{}", settings.error.text);
        return kExitUsage;
    }
    ExportJob job;
    atoms::readChoice(settings.value, job.choice);
    job.output = options.output;
    if (const int status = checkOutput(options); status != kExitOk) return status;
    if (const int status = describeSource(options, job); status != kExitOk) return status;
    const ExportEntry entry = loadLibrary();
    return entry != nullptr ? encode(entry, job) : kExitFailed;
}

void addExport(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("export", "Encode a movie, or numbered pictures, by a settings file");
    auto options = std::make_shared<ExportOptions>();
    command
        ->add_option("source", options->source,
                     "A movie; or pictures: the first one (frame_0001.jpg) or their pattern (frame_%04d.jpg)")
        ->required();
    command->add_option("--settings", options->settings, "What tarvo export-settings has written")
        ->required();
    command->add_option("-o,--output", options->output, "The QuickTime movie to write")->required();
    command
        ->add_option("--fps", options->pictureRate,
                     "Pictures a second, where the settings leave it to the movie (24)")
        ->check(numberFrom(0.1, kHighestPictureRate));
    command->add_flag("--force", options->isForced, "Replace the movie if it exists");
    describe(
        *command,
        "The movie gets exactly the codec, size and rates of the settings. It appears when it is whole;\n"
        "Ctrl-C leaves nothing behind. No helper is needed.\n\n"
        "Examples:\n"
        "  tarvo export film.mov --settings film.settings -o small.mov\n"
        "  tarvo export scene/frame_0001.jpg --settings film.settings --fps 12 -o scene.mov\n");
    command->callback([options, &invocation] { invocation.status = runExport(*options); });
}

}  // namespace tarvo
