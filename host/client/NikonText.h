/* NikonText.h: what the numbers of Nikon's capture calls mean, and what to do about them.
 *
 * Thread: plain functions over constant tables.
 * Owns:   nothing; the texts are constants.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tarvo {

struct NikonResultText {
    int32_t result;
    const char* meaning;  // one clause
    const char* advice;   // what a photographer can do
};

/** What capture() and preCapture() answer below 0. */
std::span<const NikonResultText> nikonCaptureResults();
/** What checkForImages() answers below 0. */
std::span<const NikonResultText> nikonCheckResults();

/** "result -3: the camera did not release the shutter. Focus by hand, ..." */
std::string nikonCaptureSentence(int32_t result);
std::string nikonCheckSentence(int32_t result);

}  // namespace tarvo
