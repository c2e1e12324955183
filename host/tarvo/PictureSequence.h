/* PictureSequence.h: the files of a numbered picture sequence, from one of them or from their pattern.
 *
 * Thread: any.
 * Errors: Result.h: badArgument when there is no such file.
 */
#pragma once

#include <string>
#include <vector>

#include "host/client/Result.h"

namespace tarvo {

struct PictureSequence {
    std::vector<std::string> files;  // by their numbers
    size_t gaps = 0;                 // how many numbers are missing between the first and the last
};

/** Whether the path says pictures: by a picture's extension. */
bool isPictures(const std::string& path);

/** "frame_%04d.jpg" stands for every file whose name has a number there; "frame_0007.jpg" for that one and
 * those that follow it. A picture without a number is a sequence of one. */
Result<PictureSequence> findPictures(const std::string& path);

}  // namespace tarvo
