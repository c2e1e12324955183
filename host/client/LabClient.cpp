#include "host/client/LabClient.h"

#include <algorithm>
#include <array>

#include "host/client/Socket.h"

namespace tarvo {

Error LabClient::open(const std::string& path, std::chrono::milliseconds limit) {
    Patience patience;
    patience.limit = limit;
    auto connected = connectUnix(path, patience);
    if (!connected.ok()) return connected.error;
    socket_ = std::move(connected.value);
    received_.clear();
    return {};
}

Result<std::string> LabClient::command(const std::string& json, std::chrono::milliseconds limit) {
    if (!socket_.isOpen()) return {failed(Failure::connectionLost, "no connection to the lab"), {}};
    Patience patience;
    patience.limit = limit;
    std::string line = json;
    std::replace(line.begin(), line.end(), '\n', ' ');
    line += '\n';
    if (auto error =
            sendAll(socket_.get(), {reinterpret_cast<const uint8_t*>(line.data()), line.size()}, patience)) {
        socket_.reset();
        return {std::move(error), {}};
    }
    for (size_t searched = 0;;) {
        const auto end = received_.find('\n', searched);
        if (end != std::string::npos) {
            std::string answer = received_.substr(0, end);
            received_.erase(0, end + 1);
            return {{}, std::move(answer)};
        }
        searched = received_.size();
        std::array<uint8_t, 65536> buffer{};
        auto got = receiveSome(socket_.get(), buffer, patience);
        if (got.ok() && got.value == 0)
            got.error = failed(Failure::connectionLost, "the lab closed the connection");
        if (!got.ok()) {
            socket_.reset();
            return {std::move(got.error), {}};
        }
        received_.append(reinterpret_cast<const char*>(buffer.data()), got.value);
    }
}

}  // namespace tarvo
