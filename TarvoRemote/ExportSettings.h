/* ExportSettings.h: lets the user choose how a movie is exported, and keeps the choice in two files.
 *
 * Thread: main thread; it returns when the dialog is closed.
 * Errors: 0 also for a cancelled dialog and for a movie path that is no text; else the status of the call
 *         that failed, see QuickTime.h. Files that can't be loaded count as absent; those that can't be saved
 *         are logged.
 */
#pragma once

#include <cstdint>

/** Shows the export settings dialog for the movie at `moviePath` (UTF-8).
 *
 * With `useSaved` it opens with the settings of the first of the two files that holds any. When the user
 * accepts, the new settings are saved to both. Any path may be null, which names no file.
 */
int16_t doExportSettings(const char* settingsPath, const char* secondPath, const char* moviePath,
                         bool useSaved);
