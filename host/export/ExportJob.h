/* ExportJob.h: what the tarvo command and its export library agree on. GStreamer comes in with the library,
 * so that every other command starts without it.
 *
 * Thread: one call at a time. `progress` is called from the caller's thread.
 * Owns:   everything is lent for the call.
 * Errors: the result, and a sentence for people in `problem`. Whatever it is but `done`, the output is as it
 * was before.
 */
#pragma once

#include <string>
#include <vector>

#include "frameworks/QuickTime/atoms/ExportChoice.h"

namespace tarvo {

struct ExportJob {
    std::string movie;                  // path; empty: the pictures
    std::vector<std::string> pictures;  // paths of JPEG or PNG files, in their order
    double pictureRate = 24;            // pictures a second, where the choice leaves it to the movie
    atoms::ExportChoice choice;
    std::string output;  // path
};

struct ExportWatch {
    void* context = nullptr;
    void (*progress)(void* context, int percent) = nullptr;
    bool (*isInterrupted)(void* context) = nullptr;
};

enum class ExportResult {
    done,
    interrupted,
    badSource,     // cannot be opened, or has nothing that is to be exported
    notEncodable,  // this machine has no encoder for the codec
    notWritable,
    failed,
};

/** The library's only symbol. */
using ExportEntry = ExportResult (*)(const ExportJob& job, const ExportWatch& watch, std::string& problem);
constexpr const char* kExportSymbol = "tarvoExport";
constexpr const char* kExportLibrary = "libTarvoExport.so";

}  // namespace tarvo
