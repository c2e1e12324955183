/* The plug-in: webcams of GStreamer for libQTKit.so. */
#include "frameworks/QTKit/gstreamer/Monitor.h"

const capture::Toolkit* tarvoCaptureToolkit() {
    static constexpr capture::Toolkit toolkit = {capture::listWebcams};
    return gst_init_check(nullptr, nullptr, nullptr) != FALSE ? &toolkit : nullptr;
}
