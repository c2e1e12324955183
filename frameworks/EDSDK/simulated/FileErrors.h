/* FileErrors.h: what the system says about files, in the vendor's numbers. The one place that knows both. */
#pragma once

#include "EDSDK.h"

namespace sim {

/** For opening and making files. */
EdsError openError(int systemError);
/** For writing to them and closing them. */
EdsError writeError(int systemError);

}  // namespace sim
