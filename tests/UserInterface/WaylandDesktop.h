/* WaylandDesktop.h: a Wayland compositor (sway) of the test's own, on no screen at all, with a keyboard.
 *
 * Thread: one thread at a time.
 * Owns:   the compositor and its keyboard, until it goes; the folder with their sockets.
 * Errors: an empty display name when the compositor does not come up.
 */
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "tests/e2e/support/temp_folder.h"

struct WaylandWindow {
    std::string title;
    std::string program;  // its application id
    bool hasFocus = false;

    bool operator==(const WaylandWindow&) const = default;
};

class WaylandDesktop {
public:
    WaylandDesktop();
    ~WaylandDesktop();
    WaylandDesktop(const WaylandDesktop&) = delete;
    WaylandDesktop& operator=(const WaylandDesktop&) = delete;

    static bool isAvailable();
    /** As WAYLAND_DISPLAY has it. */
    const std::string& name() const { return name_; }
    /** What a program needs to find it. */
    std::map<std::string, std::string> environment() const;

    /** All that are to be seen. */
    std::vector<WaylandWindow> windows() const;
    /** Waits until exactly these are. */
    bool showsWindows(const std::vector<WaylandWindow>& wanted) const;
    /** Presses keys, as the arguments of wtype have them. */
    void pressKeys(const std::vector<std::string>& keys) const;
    /** The same, and goes on with it after returning. */
    void holdKeys(const std::vector<std::string>& keys);

    /** Ends the compositor under its clients' feet. */
    void end();
    /** Starts it again, under the same name. */
    void start();

private:
    std::string findName() const;
    /** Empty when the compositor does not answer. */
    std::string ask(const std::string& request) const;

    e2e::TempFolder folder_;
    std::string name_;
    std::unique_ptr<ChildProcess> compositor_;
    std::unique_ptr<ChildProcess> keyboard_;
    std::unique_ptr<ChildProcess> keys_;
};
