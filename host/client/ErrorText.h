/* ErrorText.h: what a status of a Canon call means, and what to do about it.
 *
 * Thread: plain functions over constant tables.
 * Owns:   nothing; the texts are constants.
 */
#pragma once

#include <cstdint>
#include <string>

namespace tarvo {

struct StatusText {
    int32_t status;
    const char* name;     // the camera library's name, or what the helper means by it
    const char* meaning;  // one clause
    const char* advice;   // what a photographer can do; may be empty
};

/** The entry for a status; a general one for a number that nobody knows. */
const StatusText& describeStatus(int32_t status);
/** "status 0x81 (EDS_ERR_DEVICE_BUSY): the camera is busy. Wait ..." */
std::string statusSentence(int32_t status);

}  // namespace tarvo
