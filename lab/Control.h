/* Control.h: the commands of the control socket.
 *
 * Thread: any; commands of several connections may run at the same time.
 * Errors: an answer {"ok":false,"error":"…"}; such a command has changed nothing.
 * Follows: docs/camera-lab.md.
 */
#pragma once

#include <string>
#include <string_view>

#include "lab/Export.h"

namespace lab {

/** One line in, one line out, both without their newline. */
LAB_EXPORT std::string control(std::string_view line);
/** What is answered to a line that cannot be a command. */
std::string refusal(std::string_view why);

}  // namespace lab
