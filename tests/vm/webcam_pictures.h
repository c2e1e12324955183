/* webcam_pictures.h: the pictures of the webcam made of software, as words of a frame.
 *
 * Thread: any; plain values.
 * Units:  pixels; colours 0 to 255.
 * Follows: camera/picture.py, written out once more: a mistake there must show here.
 */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "tests/e2e/support/video_calls.h"

namespace vm {

struct Size {
    int width = 0;
    int height = 0;
    bool operator==(const Size&) const = default;
};

/** The number that the strip on top tells; nothing when the strip is none. */
std::optional<uint32_t> pictureNumber(const e2e::Words& words, Size size);

/** The words are one whole picture, whichever it is, and opaque. What lies next to an edge between cells may
 * have the colour of both, and every colour may be off by what conversion between colour spaces rounds. */
::testing::AssertionResult isPicture(const e2e::Words& words, Size size);

}  // namespace vm
