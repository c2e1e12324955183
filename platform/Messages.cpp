#include "platform/Messages.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

void MessageWriter::append(const void* data, size_t size) {
    const auto* const first = static_cast<const uint8_t*>(data);
    bytes_.insert(bytes_.end(), first, first + size);
}

void MessageWriter::add(std::string_view text) {
    add(static_cast<uint32_t>(text.size()));
    append(text.data(), text.size());
}

void MessageWriter::add(const std::vector<uint8_t>& data) {
    add(static_cast<uint32_t>(data.size()));
    append(data.data(), data.size());
}

bool MessageReader::copy(void* out, size_t size) {
    if (left_.size() < size) return false;
    std::memcpy(out, left_.data(), size);
    left_ = left_.subspan(size);
    return true;
}

bool MessageReader::takeCounted(std::span<const uint8_t>& out) {
    uint32_t size = 0;
    if (!take(size) || left_.size() < size) return false;
    out = left_.first(size);
    left_ = left_.subspan(size);
    return true;
}

bool MessageReader::take(bool& value) {
    uint8_t byte = 0;
    if (!take(byte) || byte > 1) return false;
    value = byte != 0;
    return true;
}

bool MessageReader::take(std::string& text) {
    std::span<const uint8_t> bytes;
    if (!takeCounted(bytes)) return false;
    text.assign(bytes.begin(), bytes.end());
    return true;
}

bool MessageReader::take(std::vector<uint8_t>& data) {
    std::span<const uint8_t> bytes;
    if (!takeCounted(bytes)) return false;
    data.assign(bytes.begin(), bytes.end());
    return true;
}

MessageSocket::MessageSocket(MessageSocket&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

MessageSocket& MessageSocket::operator=(MessageSocket&& other) noexcept {
    if (this != &other) {
        close();
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

void MessageSocket::close() {
    if (isOpen()) ::close(std::exchange(descriptor_, -1));
}

bool MessageSocket::send(const MessageWriter& message) const {
    const std::span<const uint8_t> bytes = message.bytes();
    if (bytes.size() > kLongestMessage) {
        errno = EMSGSIZE;
        return false;
    }
    ssize_t sent = 0;
    do {
        sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(bytes.size());
}

MessageSocket::Arrival MessageSocket::receive(std::vector<uint8_t>& out) const {
    if (!isOpen()) return Arrival::ended;
    out.resize(kLongestMessage);
    ssize_t size = 0;
    do {
        size = ::recv(descriptor_, out.data(), out.size(), MSG_TRUNC);  // tells the whole length
    } while (size < 0 && errno == EINTR);
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return Arrival::nothing;
    if (size <= 0 || static_cast<size_t>(size) > out.size()) return Arrival::ended;
    out.resize(static_cast<size_t>(size));
    return Arrival::message;
}
