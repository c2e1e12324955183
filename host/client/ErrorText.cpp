#include "host/client/ErrorText.h"

#include <array>
#include <cstdio>

#include "host/client/protocol.h"

namespace tarvo {
namespace {

constexpr const char* kReconnect = "Check cable and power, then list the cameras again.";
constexpr const char* kDisk = "Check the folder's rights and the free space, then shoot again.";
constexpr const char* kOwnBug = "Start the helper anew; if it comes back, keep the helper's log.";
constexpr const char* kTryAgain = "Wait a moment and try again.";

constexpr auto kTexts = std::to_array<StatusText>({
    {kStatusOk, "EDS_ERR_OK", "done", ""},
    {kStatusRefused, "refused", "the helper refused the call, or the camera refused to shoot",
     "Check path, lens cap, focus and free space; after a capture, list the cameras to see whether the "
     "session "
     "still lives."},
    {0x01, "EDS_ERR_UNIMPLEMENTED", "the camera library cannot do this", "Another camera model may."},
    {0x02, "EDS_ERR_INTERNAL_ERROR", "the camera library failed inside", kOwnBug},
    {0x03, "EDS_ERR_MEM_ALLOC_FAILED", "memory ran out", "Close other programs."},
    {0x05, "EDS_ERR_OPERATION_CANCELLED", "the operation was cancelled", ""},
    {0x07, "EDS_ERR_NOT_SUPPORTED", "the camera does not support this",
     "Look at the options that the camera offers (tarvo settings)."},
    {0x20, "EDS_ERR_FILE_IO_ERROR", "a file could not be read or written", kDisk},
    {0x22, "EDS_ERR_FILE_NOT_FOUND", "a file was not found", kDisk},
    {0x23, "EDS_ERR_FILE_OPEN_ERROR", "the picture's file could not be opened", kDisk},
    {0x28, "EDS_ERR_FILE_WRITE_ERROR", "the picture's file could not be written", kDisk},
    {0x29, "EDS_ERR_FILE_PERMISSION_ERROR", "the helper may not write there", kDisk},
    {0x2A, "EDS_ERR_FILE_DISK_FULL_ERROR", "the disk is full", "Make room, then shoot again."},
    {0x2B, "EDS_ERR_FILE_ALREADY_EXISTS", "the file exists", "Choose another name."},
    {0x50, "EDS_ERR_PROPERTIES_UNAVAILABLE", "the camera does not have this property now",
     "Some properties need live view or another exposure mode."},
    {0x51, "EDS_ERR_PROPERTIES_MISMATCH", "the value does not fit the property",
     "Look at the options that the camera offers (tarvo settings)."},
    {0x60, "EDS_ERR_INVALID_PARAMETER", "a value is not allowed",
     "Look at the options that the camera offers (tarvo settings)."},
    {0x61, "EDS_ERR_INVALID_HANDLE", "the camera or file is not there any more", kReconnect},
    {0x62, "EDS_ERR_INVALID_POINTER", "the camera library was given no place for its answer", kOwnBug},
    {0x63, "EDS_ERR_INVALID_INDEX", "there is no entry with this number", kReconnect},
    {0x64, "EDS_ERR_INVALID_LENGTH", "a length is not allowed", kOwnBug},
    {0x80, "EDS_ERR_DEVICE_NOT_FOUND", "the camera was not found", kReconnect},
    {0x81, "EDS_ERR_DEVICE_BUSY", "the camera is busy", kTryAgain},
    {0x84, "EDS_ERR_DEVICE_MEMORY_FULL", "the camera's memory is full",
     "Change the card, or wait for transfers."},
    {0x85, "EDS_ERR_DEVICE_INTERNAL_ERROR", "the camera failed inside", "Switch the camera off and on."},
    // The library's EDS_ERR_DEVICE_INVALID, which the helper takes for its own meaning.
    {kStatusNoSession, "no session", "there is no session with a camera under this handle",
     "The camera was unplugged, switched off or closed: list the cameras and open it again."},
    {kStatusLiveViewRefused, "EDS_ERR_DEVICE_INVALID_PARAMETER",
     "the camera refuses this in its exposure mode",
     "Live view needs a creative mode: turn the mode dial to P, Tv, Av or M."},
    {0xA0, "EDS_ERR_STREAM_IO_ERROR", "the transfer failed", kDisk},
    {0xA1, "EDS_ERR_STREAM_NOT_OPEN", "the transfer's file is not open", kDisk},
    {0xA2, "EDS_ERR_STREAM_ALREADY_OPEN", "the transfer's file is open already", kDisk},
    {0xA3, "EDS_ERR_STREAM_OPEN_ERROR", "the transfer's file could not be opened", kDisk},
    {0xA5, "EDS_ERR_STREAM_SEEK_ERROR", "the transfer's file cannot be positioned", kDisk},
    {0xA6, "EDS_ERR_STREAM_END_OF_STREAM", "the transfer ended too early", "Shoot again."},
    {0xA7, "EDS_ERR_STREAM_READ_ERROR", "the transfer could not be read", "Shoot again."},
    {0xA8, "EDS_ERR_STREAM_WRITE_ERROR", "the transfer could not be written", kDisk},
    {0xA9, "EDS_ERR_STREAM_PERMISSION_ERROR", "the helper may not write there", kDisk},
    {0xC0, "EDS_ERR_COMM_PORT_IS_IN_USE", "another program has the camera",
     "Close other camera programs, file managers included."},
    {0xC1, "EDS_ERR_COMM_DISCONNECTED", "the camera was unplugged or switched off", kReconnect},
    {0xC2, "EDS_ERR_COMM_DEVICE_INCOMPATIBLE", "the camera speaks another protocol", ""},
    {0xC3, "EDS_ERR_COMM_BUFFER_FULL", "the connection is overloaded", kTryAgain},
    {0xC4, "EDS_ERR_COMM_USB_BUS_ERR", "the USB connection failed", "Use a shorter cable or another port."},
    {kStatusPathText, "path text", "the picture's path is no readable text", "Use a path in UTF-8."},
    {kStatusPathAddress, "path address", "the picture's path cannot be made into a file address",
     "Use a plain absolute path."},
    {0x2003, "EDS_ERR_SESSION_NOT_OPEN", "no session with the camera is open",
     "List the cameras and open it again."},
    {0x2007, "EDS_ERR_INCOMPLETE_TRANSFER", "the transfer stopped halfway", "Shoot again."},
    {0x2013, "EDS_ERR_STORE_NOT_AVAILABLE", "the card is not available", "Take the card out and in."},
    {0x2019, "EDS_ERR_PTP_DEVICE_BUSY", "the camera is busy", kTryAgain},
    {0x201E, "EDS_ERR_SESSION_ALREADY_OPEN", "a session with the camera is open already",
     "Close the other program that uses it."},
    {0x8D01, "EDS_ERR_TAKE_PICTURE_AF_NG", "the lens found no focus",
     "Focus by hand, or point at more contrast."},
    {0x8D03, "EDS_ERR_TAKE_PICTURE_MIRROR_UP_NG", "the mirror is up", "End mirror lock-up on the camera."},
    {0x8D06, "EDS_ERR_TAKE_PICTURE_NO_CARD_NG", "there is no card", "Put a card in."},
    {0x8D07, "EDS_ERR_TAKE_PICTURE_CARD_NG", "the card is faulty", "Change the card."},
    {0x8D08, "EDS_ERR_TAKE_PICTURE_CARD_PROTECT_NG", "the card is write-protected", "Unlock the card."},
    {0xA102, "EDS_ERR_OBJECT_NOTREADY", "the camera has nothing to give yet", kTryAgain},
});

constexpr bool eachStatusOnce() {
    for (size_t i = 0; i < kTexts.size(); ++i) {
        for (size_t j = i + 1; j < kTexts.size(); ++j) {
            if (kTexts[i].status == kTexts[j].status) return false;
        }
    }
    return true;
}
static_assert(eachStatusOnce());

constexpr StatusText kUnknown{0, "unknown", "the camera library answered a number that is not known here",
                              "Keep the helper's log."};

}  // namespace

const StatusText& describeStatus(int32_t status) {
    for (const auto& text : kTexts) {
        if (text.status == status) return text;
    }
    return kUnknown;
}

std::string statusSentence(int32_t status) {
    const auto& text = describeStatus(status);
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "0x%X", static_cast<uint32_t>(status));
    // The helper's own numbers are told as people know them, the library's as its documents print them.
    const bool isOwn = status == kStatusRefused || status == kStatusNoSession ||
                       status == kStatusLiveViewRefused || status == kStatusPathText ||
                       status == kStatusPathAddress;
    std::string sentence = "status " + (isOwn ? std::to_string(status) : std::string(number.data())) + " (" +
                           text.name + "): " + text.meaning + ".";
    if (text.advice[0] != '\0') sentence += std::string(" ") + text.advice;
    return sentence;
}

}  // namespace tarvo
