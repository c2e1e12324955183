#include "frameworks/USB/linux/System.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <utility>

namespace usb {

namespace {

class RealSystem final : public System {
public:
    int open(const std::string& path) override {
        const int descriptor = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        return descriptor >= 0 ? descriptor : -errno;
    }

    void close(int descriptor) override { ::close(descriptor); }

    int control(int descriptor, unsigned long request, void* argument) override {
        for (;;) {
            const int result = ioctl(descriptor, request, argument);
            if (result >= 0) return result;
            if (errno != EINTR) return -errno;
        }
    }

    Duration now() override { return std::chrono::steady_clock::now().time_since_epoch(); }

    void sleepFor(Duration time) override {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        timespec rest{seconds.count(), (time - seconds).count()};
        while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
        }
    }

    const DirectAccess* directAccess() override { return loadDirectAccess(); }
};

std::atomic<System*> chosen{nullptr};

}  // namespace

System& realSystem() {
    static auto* const real = new RealSystem;  // threads may outlive main()
    return *real;
}

System& systemInUse() {
    System* const other = chosen;
    return other != nullptr ? *other : realSystem();
}

void use(System* system) {
    chosen = system;
}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : system_(other.system_), number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(system_, other.system_);
    std::swap(number_, other.number_);
    return *this;
}

Descriptor::~Descriptor() {
    if (isOpen()) system_->close(number_);
}

}  // namespace usb
