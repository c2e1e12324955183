#include "placement.h"

#include <algorithm>

namespace {

// A title bar's height or so: each window's title stays readable above the next one.
constexpr int cascadeStep = 32;

}  // namespace

WindowPlace centred(const ScreenArea& screen, const WindowSize& window) {
    return {screen.x + std::max(0, (screen.width - window.width) / 2),
            screen.y + std::max(0, (screen.height - window.height) / 2)};
}

WindowPlace cascaded(const ScreenArea& screen, const WindowSize& window, unsigned n) {
    const int room = std::min(screen.width - window.width, screen.height - window.height);
    const int places = std::max(1, room / cascadeStep);
    const int offset = cascadeStep * (1 + static_cast<int>(n % static_cast<unsigned>(places)));
    // On a screen with no room to spare the corner is the best that can be done.
    const int inset = room < cascadeStep ? 0 : offset;
    return {screen.x + inset, screen.y + inset};
}
