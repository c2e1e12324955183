#include "host/client/NikonText.h"

#include <array>

#include "host/client/protocol.h"

namespace tarvo {
namespace {

constexpr const char* kReconnect = "Switch the camera off and on, then list the cameras again.";
constexpr const char* kLookAgain =
    "The picture is still on the camera: wait a moment and look again, or switch the camera off and on.";

constexpr auto kCapture = std::to_array<NikonResultText>({
    {kNikonNoSource, "the camera is not open any more", kReconnect},
    {kNikonPathTooLong, "the picture's path is too long", "Use one of at most 1013 bytes."},
    {kNikonCaptureFailed, "the camera did not release the shutter",
     "Focus by hand, look at the card and at what the camera's display says, then shoot again."},
    {kNikonModuleFailed, "the camera's module stopped working", kReconnect},
    {kNikonNoImage, "no picture came from the camera within about 5 s",
     "It may still come: look for pictures again. If none does, look at the card, and check that the "
     "picture's "
     "folder can be written to."},
});

constexpr auto kCheck = std::to_array<NikonResultText>({
    {kNikonNoImage, "the picture on the camera cannot be opened", kLookAgain},
    {kNikonImageNotOpened, "the picture's data cannot be opened", kLookAgain},
    {kNikonImageNotFound, "the picture's data was opened and is not there", kLookAgain},
    {kNikonTransferFailed, "the picture was not transferred whole",
     "It is still on the camera. Check the folder's rights and the free space, then look for pictures "
     "again."},
});

std::string sentence(std::span<const NikonResultText> texts, int32_t result) {
    const std::string number = "result " + std::to_string(result);
    for (const auto& text : texts) {
        if (text.result == result) return number + ": " + text.meaning + ". " + text.advice;
    }
    return number + ": a number that is not known here. Keep the helper's log.";
}

}  // namespace

std::span<const NikonResultText> nikonCaptureResults() {
    return kCapture;
}
std::span<const NikonResultText> nikonCheckResults() {
    return kCheck;
}

std::string nikonCaptureSentence(int32_t result) {
    return sentence(kCapture, result);
}
std::string nikonCheckSentence(int32_t result) {
    return sentence(kCheck, result);
}

}  // namespace tarvo
