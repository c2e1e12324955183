/* DialogMessages.h: what libQuickTime.so and its companion, the program TarvoExportDialog, say to each other.
 *
 * One companion shows one dialog: it says whether there is a display, is told what to show, says that it is
 * to be seen, and at last what the user did. Then it ends.
 *
 * Thread: any.
 * Owns:   a request owns all that it holds.
 * Errors: reading answers false for a message that is not what it should be.
 */
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"
#include "platform/Messages.h"

namespace movies {

/** What is said, in the order in which it is said. */
enum class DialogWord : uint32_t {
    ready = 1,  // companion: hasDisplay (bool)
    request,    // library: what to show
    shown,      // companion
    accepted,   // companion: the choice
    cancelled,  // companion
};

struct ExportDialogRequest {
    MovieFacts movie;
    double seconds = 0;                  // of the movie, that are to be exported
    Formats formats;                     // their names point into formatNames, once received
    atoms::ExportChoice choice;          // preset
    std::list<std::string> formatNames;  // a list: its texts stay where they are
};

MessageWriter write(const ExportDialogRequest& request);
/** The word is read already. */
bool read(MessageReader& message, ExportDialogRequest& out);

MessageWriter writeAccepted(const atoms::ExportChoice& choice);
bool readAccepted(MessageReader& message, atoms::ExportChoice& choice);

}  // namespace movies
