/* DialogCompanion.h: the settings dialog, shown by a companion: GTK ends its process with the display, and
 * the cameras must stay.
 *
 * Thread: main thread. Its other work, but no posted event, goes on while a function here waits.
 * Owns:   the companion, which ends with this object, whatever is shown.
 * Errors: kQTNoWindowSystem: no display, or the companion is gone, for whatever reason.
 */
#pragma once

#include <memory>
#include <optional>

#include "QuickTime.h"
#include "frameworks/QuickTime/gtk/DialogMessages.h"

namespace movies {

class DialogCompanion {
public:
    DialogCompanion();
    ~DialogCompanion();
    DialogCompanion(const DialogCompanion&) = delete;
    DialogCompanion& operator=(const DialogCompanion&) = delete;

    /** 0 once it has connected to a display. */
    OSErr open();
    /** Shows the dialog until the user closes it. The choice comes out when it was accepted, nothing when it
     * was cancelled; on failure `out` is left alone. */
    OSErr run(const ExportDialogRequest& request, std::optional<atoms::ExportChoice>& out);

private:
    struct Talk;

    std::unique_ptr<Talk> talk_;
};

}  // namespace movies
