/* System.h: the little of the operating system that the library stands on, so that tests can stand in for it.
 *
 * Thread: any.
 * Errors: negative errno values.
 */
#pragma once

#include <chrono>
#include <string>

#include "frameworks/USB/linux/DirectAccess.h"

namespace usb {

using Duration = std::chrono::nanoseconds;

/** Calls of the kernel. */
class System {
public:
    System() = default;
    System(const System&) = delete;
    System& operator=(const System&) = delete;
    virtual ~System() = default;

    /** For reading and writing, without waiting. A descriptor, or an error. */
    virtual int open(const std::string& path) = 0;
    virtual void close(int descriptor) = 0;
    /** 0 or more, or an error. Interrupted calls are begun again. */
    virtual int control(int descriptor, unsigned long request, void* argument) = 0;

    /** Time since some start, which never goes back. */
    virtual Duration now() = 0;
    virtual void sleepFor(Duration time) = 0;

    /** The library that speaks to devices without a driver; null when it cannot be loaded. */
    virtual const DirectAccess* directAccess() = 0;

    std::string devices = "/sys/bus/usb/devices";
    std::string nodes = "/dev";
};

/** The system that this process runs on. */
System& realSystem();

/** What the library uses: the real one, unless a test has put another in its place. */
System& systemInUse();
/** Null: the real one. Not while anything of the library is in use. */
void use(System* system);

/** A descriptor, closed with the object. */
class Descriptor {
public:
    Descriptor() = default;
    Descriptor(System& system, int number) : system_(&system), number_(number) {}
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    int get() const { return number_; }
    bool isOpen() const { return number_ >= 0; }

private:
    System* system_ = nullptr;
    int number_ = -1;
};

}  // namespace usb
