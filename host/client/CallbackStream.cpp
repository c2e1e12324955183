#include "host/client/CallbackStream.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "host/client/Deadline.h"
#include "host/client/Wire.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

// No wait inside a message is bounded by its own length of time: the helper writes each in one go, and the
// stream lives as long as its host wants. Longer than any host runs.
constexpr std::chrono::hours kForever{24 * 365 * 10};

// How many ints follow the kind byte; 0: no such message.
size_t payloadInts(uint8_t module, uint8_t kind) {
    if (module == kModuleCanon) {
        switch (kind) {
            case kEventObject:
            case kEventState:
                return 3;
            case kEventProperty:
                return 4;
            case kEventProgress:
                return 2;
            default:
                return 0;
        }
    }
    const bool isOther = module == kModuleNikon || module == kModuleVideo;
    return isOther && (kind == kEventState || kind == kEventProgress) ? 1 : 0;
}

Event makeEvent(uint8_t module, uint8_t kind, const std::array<int32_t, 4>& ints) {
    if (module != kModuleCanon) {
        if (kind == kEventProgress) return ProgressEvent{module, 0, ints[0]};
        return StatusEvent{module, ints[0]};
    }
    switch (kind) {
        case kEventObject:
            return ObjectEvent{ints[0], ints[1], ints[2]};
        case kEventProperty:
            return PropertyEvent{ints[0], ints[1], ints[2], ints[3]};
        case kEventState:
            return StateEvent{ints[0], ints[1], ints[2]};
        default:
            return ProgressEvent{module, ints[0], ints[1]};
    }
}

void raise(int fd) {
    ::eventfd_write(fd, 1);
}

void lower(int fd) {
    eventfd_t count = 0;
    ::eventfd_read(fd, &count);
}

Error cannotUnderstand(const std::string& what) {
    return failed(Failure::wrongAnswer,
                  "the callback stream cannot be understood any further: " + what +
                      ". Reconnect, and check that helper and host are of the same version");
}

}  // namespace

Error CallbackStream::open(uint16_t port, std::chrono::milliseconds limit, Listener listener) {
    close();
    Patience patience;
    patience.limit = limit;
    auto connected = connectLoopback(port, patience);
    if (!connected.ok()) return connected.error;
    const std::array<uint8_t, 1> registration{kModuleCallback};
    if (auto error = sendAll(connected.value.get(), registration, patience)) return error;
    if (auto error = waitUntilTaken(connected.value.get(), port, patience)) return error;

    stop_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    signal_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!stop_.isOpen() || !signal_.isOpen()) {
        return failed(Failure::notReachable, "no event descriptor to be had");
    }
    socket_ = std::move(connected.value);
    {
        const std::lock_guard lock(mutex_);
        queue_.clear();
        hasEnded_ = false;
        ending_ = {};
    }
    thread_ = std::thread([this, kept = std::move(listener)] { run(kept); });
    return {};
}

void CallbackStream::close() {
    if (thread_.joinable()) {
        raise(stop_.get());
        thread_.join();
    }
    socket_.reset();
}

void CallbackStream::run(const Listener& listener) {
    for (;;) {
        auto event = receiveEvent();
        if (!event.ok()) {
            finish(std::move(event.error));
            return;
        }
        const int64_t arrival = wallClockMicroseconds();
        activity_.store(
            std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count(),
            std::memory_order_relaxed);
        if (listener) listener(event.value);
        const std::lock_guard lock(mutex_);
        queue_.push_back({event.value, arrival});
        raise(signal_.get());
    }
}

Result<Event> CallbackStream::receiveEvent() {
    Patience patience;
    patience.limit = kForever;
    patience.interruptFd = stop_.get();
    const int fd = socket_.get();

    auto module = receiveByte(fd, patience);
    if (!module.ok()) return {std::move(module.error), {}};
    const bool isKnown =
        module.value == kModuleCanon || module.value == kModuleNikon || module.value == kModuleVideo;
    if (!isKnown) {
        return {cannotUnderstand("a message of the unknown module " + std::to_string(module.value)), {}};
    }
    auto marker = receiveInt(fd, patience);
    if (!marker.ok()) return {std::move(marker.error), {}};
    if (marker.value != kCallbackMarker) {
        return {cannotUnderstand("a message without its marker (" + std::to_string(marker.value) +
                                 " instead of " + std::to_string(kCallbackMarker) + ")"),
                {}};
    }
    auto kind = receiveByte(fd, patience);
    if (!kind.ok()) return {std::move(kind.error), {}};
    const size_t count = payloadInts(module.value, kind.value);
    if (count == 0) {
        return {cannotUnderstand("an event of the unknown kind " + std::to_string(kind.value) +
                                 " from module " + std::to_string(module.value)),
                {}};
    }
    std::array<int32_t, 4> ints{};
    for (size_t i = 0; i < count; ++i) {
        auto value = receiveInt(fd, patience);
        if (!value.ok()) return {std::move(value.error), {}};
        ints[i] = value.value;
    }
    return {{}, makeEvent(module.value, kind.value, ints)};
}

void CallbackStream::finish(Error ending) {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
    if (ending.failure != Failure::interrupted) ending_ = std::move(ending);  // close() is no failure
    raise(signal_.get());
}

Result<Event> CallbackStream::next(std::chrono::milliseconds limit, int interruptFd) {
    const auto end = Clock::now() + limit;
    for (;;) {
        Event event;
        if (tryNext(event)) return {{}, event};
        {
            const std::lock_guard lock(mutex_);
            if (hasEnded_ && queue_.empty()) {
                if (ending_) return {ending_, {}};
                return {failed(Failure::connectionLost, "the callback stream is closed"), {}};
            }
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd watched[2] = {{signal_.get(), POLLIN, 0}, {interruptFd, POLLIN, 0}};
        const int ready = ::poll(watched, 2, static_cast<int>(std::clamp<int64_t>(left, 0, 60'000)));
        if (ready > 0 && watched[1].revents != 0) return {failed(Failure::interrupted, "interrupted"), {}};
        if (ready > 0) continue;
        if (ready < 0 && errno != EINTR) {
            return {failed(Failure::connectionLost, "waiting for events failed"), {}};
        }
        if (Clock::now() >= end) {
            return {failed(Failure::timeout, "no event came within " + std::to_string(limit.count()) + " ms"),
                    {}};
        }
    }
}

bool CallbackStream::tryNext(Event& event) {
    const std::lock_guard lock(mutex_);
    if (queue_.empty()) return false;
    event = queue_.front().event;
    arrivalTime_ = queue_.front().time;
    queue_.pop_front();
    // An ended stream stays readable, so that everyone who waits learns of it.
    if (queue_.empty() && !hasEnded_) lower(signal_.get());
    return true;
}

int64_t CallbackStream::arrivalTime() const {
    const std::lock_guard lock(mutex_);
    return arrivalTime_;
}

Error CallbackStream::ending() const {
    const std::lock_guard lock(mutex_);
    return ending_;
}

}  // namespace tarvo
