/* ExportCommands.h: the subcommands about exporting movies; see Commands.h.
 *
 * Thread: main.
 */
#pragma once

#include <string>

#include "host/tarvo/Commands.h"

namespace tarvo {

struct ExportSettingsOptions {
    std::string movie;
    std::string settings;
    std::string second;  // empty: none
    bool usesSaved = false;
    std::string shown;  // a settings file to print; empty: none
};
int runExportSettings(const CommonOptions& common, const ExportSettingsOptions& options);
void addExportSettings(CLI::App& app, Invocation& invocation);

struct ExportOptions {
    std::string source;
    std::string settings;
    std::string output;
    double pictureRate = 24;
    bool isForced = false;
};
int runExport(const ExportOptions& options);
void addExport(CLI::App& app, Invocation& invocation);

}  // namespace tarvo
