#include "host/client/HelperFinder.h"

#include "host/client/CanonClient.h"
#include "host/client/protocol.h"

namespace tarvo {

Error probeHelper(uint16_t port, std::chrono::milliseconds limit, int interruptFd) {
    CallConnection connection;
    connection.setInterrupt(interruptFd);
    if (auto error = connection.open(port, limit)) return error;
    CanonClient client(connection);
    client.setLimit(limit);
    const auto answer = client.isLiveViewZoom(0);
    if (answer.ok()) return {};
    if (answer.error.failure == Failure::interrupted) return answer.error;
    return failed(Failure::notReachable, "what listens on port " + std::to_string(port) +
                                             " does not answer like a helper (" + answer.error.text + ")");
}

Result<uint16_t> findHelper(std::chrono::milliseconds limit, int interruptFd) {
    std::string strangers;
    for (uint16_t port = kFirstPort; port <= kLastPort; ++port) {
        auto error = probeHelper(port, limit, interruptFd);
        if (!error) return {{}, port};
        if (error.failure == Failure::interrupted) return {std::move(error), 0};
        if (error.text.starts_with("what listens")) strangers += "; " + error.text;
    }
    return {failed(Failure::notReachable, "no helper answers on ports " + std::to_string(kFirstPort) +
                                              " to " + std::to_string(kLastPort) + strangers),
            0};
}

}  // namespace tarvo
