/* AccessibilityBus.h: a session bus of the test's own with the accessibility bus behind it, and what a screen
 * reader finds there.
 *
 * Thread: one thread at a time.
 * Owns:   the buses, until it goes, and the folder with their sockets.
 * Errors: an empty address when the bus does not come up; nothing found when nobody is on it.
 */
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "tests/e2e/support/temp_folder.h"

struct AccessibleThing {
    std::string role;  // "push button"
    std::string name;
    bool canHaveFocus = false;

    bool operator==(const AccessibleThing&) const = default;
};

class AccessibilityBus {
public:
    AccessibilityBus();
    ~AccessibilityBus();
    AccessibilityBus(const AccessibilityBus&) = delete;
    AccessibilityBus& operator=(const AccessibilityBus&) = delete;

    static bool isAvailable();
    const std::string& address() const { return address_; }
    /** What a program needs to find it. */
    std::map<std::string, std::string> environment() const;

    /** All that can be seen of the program of that name, from its windows down. */
    std::vector<AccessibleThing> thingsOf(const std::string& program) const;

private:
    struct Connection;

    e2e::TempFolder folder_;
    std::unique_ptr<ChildProcess> daemon_;
    std::string address_;
    std::unique_ptr<Connection> connection_;
};
