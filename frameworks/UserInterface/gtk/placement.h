/* placement.h: where new windows go on the screen.
 *
 * Units: pixels of the desktop, from its upper left corner.
 */
#pragma once

struct ScreenArea {
    int x;
    int y;
    int width;
    int height;
};

struct WindowSize {
    int width;
    int height;
};

struct WindowPlace {
    int x;
    int y;
};

WindowPlace centred(const ScreenArea& screen, const WindowSize& window);

/** The place of the n-th cascading window, counted from 0. The cascade starts again at the corner before a
 * window would leave the screen. */
WindowPlace cascaded(const ScreenArea& screen, const WindowSize& window, unsigned n);
