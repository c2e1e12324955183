/* CameraData.h: the record of one selected camera; its address is the handle that the host holds.
 *
 * Thread: the one that works with the camera's module.
 * Owns:   nothing. The source object belongs to the tree and points back here through its cameraData; whoever
 *         ends this record clears that first.
 * Units:  live-view sizes and positions as the latest frame's header gave them: the picture's in its own
 *         pixels, the rest in pixels of the whole image.
 */
#pragma once

#include <cstdint>

namespace nikon {

struct tagRefObj;

struct CameraData {
    tagRefObj* source = nullptr;     // cleared on release
    char imagePath[1024] = {};       // where the next pictures go, without extension
    uint16_t acquiring = 0;          // 1 while a transfer is being issued; each block clears it
    uint16_t active = 0;             // 1 while the camera is there
    uint8_t removeItem = 0;          // the module asks for the transferred item to be removed
    uint32_t ulSingleDualImage = 0;  // 1 when a shot yields two pictures
    uint32_t imagesTransferred = 0;  // in this look for pictures

    uint16_t lvImageWidth = 0;
    uint16_t lvImageHeight = 0;
    uint16_t lvWholeWidth = 0;
    uint16_t lvWholeHeight = 0;
    uint16_t lvFurther[4] = {};  // kept as they come
    uint16_t lvZoomWidth = 0;
    uint16_t lvZoomHeight = 0;
    uint16_t lvZoomX = 0;
    uint16_t lvZoomY = 0;
    uint8_t lvFocusDriving = 0;  // not 0 while the lens moves
    uint16_t lvCountdown = 0;    // until live view ends because of the heat
};

}  // namespace nikon
