/* HelperFinder.h: a helper that runs already.
 *
 * A helper listens on the first free port from kFirstPort on. What listens there is asked one harmless
 * question (is there a zoom on camera 0?), whose answer only a helper gives.
 *
 * Thread: any; blocks.
 * Errors: Result.h. notReachable: nobody listens, or nobody who answers like a helper; the text tells which.
 */
#pragma once

#include <chrono>
#include <cstdint>

#include "host/client/Result.h"

namespace tarvo {

/** No error: a helper answers at this port. */
Error probeHelper(uint16_t port, std::chrono::milliseconds limit, int interruptFd = -1);
/** The first port in the helper's range where one answers; `limit` is for each port that somebody listens on.
 */
Result<uint16_t> findHelper(std::chrono::milliseconds limit, int interruptFd = -1);

}  // namespace tarvo
