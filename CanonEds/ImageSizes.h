/* ImageSizes.h: what must be known of a camera model beforehand, since the library does not tell.
 *
 * Thread: any; the table never changes.
 */
#pragma once

#include <cstdint>

struct ImageSize {
    const char* model;  // the camera's device description, to the letter
    int32_t width;      // full image, pixels; 0 ends the table
    int32_t height;
    bool pressShutter;  // released by shutter-button commands instead of the take-picture command
};

/** The row of a model, or 4000 x 3000 without shutter button for one that is not known. */
ImageSize findImageSize(const char* deviceDescription);
