#include "Desktop.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

namespace {

/** Windows may go while we look at them; the default handler would end the test. */
int ignoreError(Display*, XErrorEvent*) {
    return 0;
}

/** Waits for what a client brings about; false if it does not come in a long time. */
template <typename Condition>
bool eventually(Condition condition) {
    for (int waitedMs = 0; waitedMs < 60'000; waitedMs += 10) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::string titleOf(Display* display, Window window) {
    char* title = nullptr;
    if (XFetchName(display, window, &title) == 0) {
        return {};
    }
    std::string text(title);
    XFree(title);
    return text;
}

std::vector<Window> topLevels(Display* display) {
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count) == 0) {
        return {};
    }
    std::vector<Window> found(children, children + count);
    XFree(children);
    std::sort(found.begin(), found.end());  // the server's order is the stack's; numbers tell the age
    return found;
}

/** A display that no other test takes, not even while ours is down: its windows would appear on ours. */
std::string ownDisplay() {
    constexpr int kFirst = 100;  // below are those of people
    constexpr int kCount = 50'000;
    return ":" + std::to_string(kFirst + getpid() % kCount);
}

}  // namespace

struct Desktop::Connection {
    explicit Connection(const std::string& name) : display(XOpenDisplay(name.c_str())) {
        XSetErrorHandler(ignoreError);
    }
    ~Connection() {
        if (display != nullptr) {
            XCloseDisplay(display);
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Display* display;
};

Desktop::Desktop() {
    const std::string screen = std::to_string(kWidth) + "x" + std::to_string(kHeight) + "x24";
    // The server tells its display's number on its standard output, once it is ready.
    const std::vector<std::string> command{"Xvfb", "-displayfd", "1",   "-screen",  "0",
                                           screen, "-nolisten",  "tcp", "-noreset", ownDisplay()};
    server_ = std::make_unique<ChildProcess>(command, std::map<std::string, std::string>{});
    const std::string number = server_->readLine();
    if (!number.empty()) {
        name_ = ":" + number;
        connection_ = std::make_unique<Connection>(name_);
    }
}

Desktop::~Desktop() {
    end();
}

std::vector<SeenWindow> Desktop::windows(const std::string& title) const {
    if (!connection_) return {};
    Display* const display = connection_->display;
    std::vector<SeenWindow> found;
    for (const Window window : topLevels(display)) {
        XWindowAttributes attributes{};
        if (XGetWindowAttributes(display, window, &attributes) != 0 && attributes.map_state == IsViewable &&
            titleOf(display, window) == title) {
            found.push_back({window, title, attributes.x, attributes.y, attributes.width, attributes.height});
        }
    }
    return found;
}

bool Desktop::showsWindows(const std::string& title, size_t count) const {
    return eventually([&] { return windows(title).size() == count; });
}

bool Desktop::showsWindowAt(const std::string& title, int x, int y) const {
    return eventually([&] {
        const std::vector<SeenWindow> found = windows(title);
        return std::any_of(found.begin(), found.end(),
                           [x, y](const SeenWindow& each) { return each.x == x && each.y == y; });
    });
}

bool Desktop::isDrawn(const SeenWindow& window) const {
    if (window.id == 0) return false;
    XImage* const image =
        XGetImage(connection_->display, window.id, 0, 0, static_cast<unsigned>(window.width),
                  static_cast<unsigned>(window.height), AllPlanes, ZPixmap);
    if (image == nullptr) return false;
    bool isPlain = true;
    for (int y = 0; isPlain && y < image->height; ++y) {
        for (int x = 0; isPlain && x < image->width; ++x)
            isPlain = XGetPixel(image, x, y) == XGetPixel(image, 0, 0);
    }
    XDestroyImage(image);
    return !isPlain;
}

void Desktop::closeWindow(const SeenWindow& window) const {
    Display* const display = connection_->display;
    XEvent message{};
    message.xclient.type = ClientMessage;
    message.xclient.window = window.id;
    message.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    message.xclient.format = 32;
    message.xclient.data.l[0] = static_cast<long>(XInternAtom(display, "WM_DELETE_WINDOW", False));
    XSendEvent(display, window.id, False, NoEventMask, &message);
    XSync(display, False);
}

void Desktop::pressKeys(const SeenWindow& window, const std::string& keys) const {
    XSetInputFocus(connection_->display, window.id, RevertToPointerRoot, CurrentTime);
    XSync(connection_->display, False);
    ChildProcess({"xdotool", "key", keys}, {{"DISPLAY", name_}}).finish();
}

void Desktop::holdKeys(const SeenWindow& window, const std::string& keys) {
    XSetInputFocus(connection_->display, window.id, RevertToPointerRoot, CurrentTime);
    XSync(connection_->display, False);
    std::vector<std::string> command{"xdotool", "key"};
    std::istringstream words(keys);
    for (std::string key; words >> key;)
        command.push_back(key);
    keys_ = std::make_unique<ChildProcess>(command, std::map<std::string, std::string>{{"DISPLAY", name_}});
}

void Desktop::click(const SeenWindow& window, int x, int y) const {
    // From the window's corner as it is by then: windows move while they open.
    const int left = (x < 0 ? window.width : 0) + x;
    const int top = (y < 0 ? window.height : 0) + y;
    ChildProcess({"xdotool", "mousemove", "--window", std::to_string(window.id), std::to_string(left),
                  std::to_string(top), "click", "1"},
                 {{"DISPLAY", name_}})
        .finish();
}

void Desktop::end() {
    connection_.reset();
    server_->end(SIGTERM);
}
