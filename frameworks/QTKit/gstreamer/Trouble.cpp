#include "frameworks/QTKit/gstreamer/Trouble.h"

#include <chrono>
#include <thread>

#include "frameworks/QTKit/gstreamer/Errors.h"

namespace capture {

namespace {

/** What GStreamer adds for developers ends with what the system said. */
std::string lastLine(const gchar* debug) {
    const std::string text = debug == nullptr ? "" : debug;
    const size_t end = text.rfind('\n');
    return end == std::string::npos ? text : text.substr(end + 1);
}

Trouble troubleOfError(GstMessage* message) {
    GError* error = nullptr;
    gchar* debug = nullptr;
    gst_message_parse_error(message, &error, &debug);
    const Held<GError> heldError(error);
    const Held<gchar> heldDebug(debug);
    Trouble trouble{error->domain, error->code, error->message};
    const std::string detail = lastLine(debug);
    if (!detail.empty()) trouble.text += " (" + detail + ")";
    return trouble;
}

/** GStreamer reports a webcam that was pulled out as one that cannot be read, in the same words as any other
 *  error of reading. Whether it is there tells them apart. */
bool goesAway(const Webcam& webcam) {
    constexpr std::chrono::milliseconds kStep{20};
    constexpr int kSteps = 25;
    for (int step = 0; step < kSteps; ++step) {
        if (webcam.isGone()) return true;
        std::this_thread::sleep_for(kStep);
    }
    return false;
}

/** That source and sink could not agree is told as an error of the stream, among others. */
bool isAboutModes(const Trouble& trouble) {
    if (trouble.domain == GST_CORE_ERROR) return trouble.code == GST_CORE_ERROR_NEGOTIATION;
    return trouble.domain == GST_STREAM_ERROR && trouble.code != GST_STREAM_ERROR_DECODE;
}

int64_t codeOf(const Trouble& trouble, bool hasFrames) {
    if (trouble.domain == GST_RESOURCE_ERROR) {
        switch (trouble.code) {
            case GST_RESOURCE_ERROR_BUSY:
                return kErrorDeviceBusy;
            case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
                return kErrorPermissionDenied;
            case GST_RESOURCE_ERROR_SETTINGS:
                return kErrorNoUsableMode;
            default:
                return kErrorStreamFailed;
        }
    }
    return !hasFrames && isAboutModes(trouble) ? kErrorNoUsableMode : kErrorStreamFailed;
}

}  // namespace

std::optional<Trouble> troubleOf(GstMessage* message) {
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) return troubleOfError(message);
    if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_EOS) return std::nullopt;
    return Trouble{GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_READ, "The stream ended."};
}

Failure failureOf(const Trouble& trouble, bool hasFrames, const Webcam& webcam) {
    const int64_t code = codeOf(trouble, hasFrames);
    const bool isGone = code == kErrorStreamFailed ? goesAway(webcam) : webcam.isGone();
    return {isGone ? QTErrorDeviceWasDisconnected : code, trouble.text};
}

}  // namespace capture
