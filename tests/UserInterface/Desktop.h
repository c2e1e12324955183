/* Desktop.h: an X server of the test's own, without a window manager, and what a user sees and does on it.
 *
 * Thread: one thread at a time.
 * Owns:   the server, until it goes.
 */
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"

struct SeenWindow {
    unsigned long id = 0;
    std::string title;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const SeenWindow&) const = default;
};

class Desktop {
public:
    static constexpr int kWidth = 1280;
    static constexpr int kHeight = 1024;

    /** On the same display each time in this process: two at a time there cannot be. */
    Desktop();
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    static bool isAvailable() { return isInstalled("Xvfb"); }
    /** As DISPLAY has it: ":77"; empty if the server did not come up. */
    const std::string& name() const { return name_; }

    /** The visible windows of that title, in the order of their making. */
    std::vector<SeenWindow> windows(const std::string& title) const;
    /** Waits until there are so many. */
    bool showsWindows(const std::string& title, size_t count) const;
    /** Whether anything but a plain area can be seen of it. */
    bool isDrawn(const SeenWindow& window) const;
    /** Waits until one stands there. */
    bool showsWindowAt(const std::string& title, int x, int y) const;
    /** Presses the button that every title bar has. */
    void closeWindow(const SeenWindow& window) const;
    /** Presses keys as xdotool names them ("ctrl+n") while the window has the focus. */
    void pressKeys(const SeenWindow& window, const std::string& keys) const;
    /** Presses key after key, separated by blanks, and goes on with it after returning. */
    void holdKeys(const SeenWindow& window, const std::string& keys);
    /** Clicks at a place of the window, from its upper left corner; negative: from its lower right one. */
    void click(const SeenWindow& window, int x, int y) const;
    /** Ends the server under its clients' feet. */
    void end();

private:
    struct Connection;

    std::unique_ptr<ChildProcess> server_;
    std::string name_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<ChildProcess> keys_;
};
