#include "host/client/CallConnection.h"

#include <array>

namespace tarvo {

Error CallConnection::open(uint16_t port, std::chrono::milliseconds limit) {
    Patience patience;
    patience.limit = limit;
    patience.interruptFd = interruptFd_;
    auto connected = connectLoopback(port, patience);
    if (!connected.ok()) return connected.error;
    socket_ = std::move(connected.value);
    lostBy_.clear();
    return {};
}

Error CallConnection::make(const Call& call, const Arguments& arguments, const ReadResult& read) {
    if (arguments.error()) {
        return failed(Failure::badArgument, std::string(call.name) + ": " + arguments.error().text);
    }
    if (!isOpen()) {
        return failed(Failure::connectionLost, std::string(call.name) + ": no connection to the helper" +
                                                   (lostBy_.empty() ? "" : " since " + lostBy_));
    }
    auto error = exchange(call, arguments, read);
    if (error) {
        error.text = std::string(call.name) + ": " + error.text;
        lostBy_ = "(" + error.text + ")";
        close();
    }
    return error;
}

Error CallConnection::exchange(const Call& call, const Arguments& arguments, const ReadResult& read) {
    Patience patience;
    patience.limit = call.limit;
    patience.interruptFd = interruptFd_;
    if (call.prolonged) patience.activity = activity_;

    std::vector<uint8_t> request{call.module, call.method};
    request.insert(request.end(), arguments.bytes().begin(), arguments.bytes().end());
    if (auto error = sendAll(socket_.get(), request, patience)) return error;
    if (auto error = checkHeader(call, "start header", patience)) return error;
    if (auto error = checkHeader(call, "result header", patience)) return error;
    if (!read) return {};
    auto error = read(socket_.get(), patience);
    if (error) error.text = "while the result was awaited, " + error.text;
    return error;
}

Error CallConnection::checkHeader(const Call& call, const char* which, const Patience& patience) {
    std::array<uint8_t, 2> header{};
    if (auto error = receiveAll(socket_.get(), header, patience)) {
        error.text = "while the " + std::string(which) + " was awaited, " + error.text;
        return error;
    }
    if (header[0] == call.module && header[1] == call.method) return {};
    return failed(Failure::wrongAnswer, "the " + std::string(which) + " is " + std::to_string(header[0]) +
                                            " " + std::to_string(header[1]) + " instead of " +
                                            std::to_string(call.module) + " " + std::to_string(call.method));
}

}  // namespace tarvo
