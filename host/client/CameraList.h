/* CameraList.h: which cameras of the helper's list can be used.
 *
 * With n cameras attached the helper's list has n entries, but every camera is written to the first one: the
 * first entry is the last camera, and the others are 0. So of several cameras only the last can be reached;
 * the others must be unplugged or switched on one at a time.
 *
 * Thread: plain functions.
 */
#pragma once

#include <cstdint>
#include <vector>

namespace tarvo {

struct CameraChoice {
    std::vector<int32_t> reachable;  // references that can be named and opened
    size_t hidden = 0;               // attached cameras that the list does not give a reference for
};

inline CameraChoice chooseCameras(const std::vector<int32_t>& list) {
    CameraChoice choice;
    for (const int32_t reference : list) {
        if (reference != 0) {
            choice.reachable.push_back(reference);
        } else {
            ++choice.hidden;
        }
    }
    return choice;
}

}  // namespace tarvo
