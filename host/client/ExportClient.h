/* ExportClient.h: asks the helper for its export-settings dialog.
 *
 * The request has a connection of its own: the helper answers when the user has closed the dialog, however
 * long that takes, and closes the connection.
 *
 * Thread: any; it blocks.
 * Errors: Result.h for the connection. The value is the helper's status: 0 for OK and for Cancel, else what
 * went wrong with the movie or the dialog. A request that another host's newer one has overtaken is never
 * answered.
 */
#pragma once

#include <cstdint>
#include <string>

#include "host/client/Result.h"

namespace tarvo {

struct ExportSettingsRequest {
    std::string settings;  // absolute paths, as the helper's folder is not the host's
    std::string second;
    std::string movie;
    bool usesSaved = false;
};

Result<int32_t> askForExportSettings(uint16_t port, const ExportSettingsRequest& request, int interruptFd);

/** What a status means, as a sentence without its end; empty for one that is not known. */
std::string exportStatusText(int32_t status);

}  // namespace tarvo
