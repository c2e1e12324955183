/* The plug-in: examines movies and lists formats for libQuickTime.so. No exception may pass through it. */
#include <exception>

#include "frameworks/QuickTime/gstreamer/Encoders.h"
#include "frameworks/QuickTime/gstreamer/Examine.h"
#include "frameworks/QuickTime/gstreamer/Gst.h"
#include "frameworks/QuickTime/gstreamer/MovieToolkit.h"

namespace {

OSErr listFormats(movies::Formats& out) {
    try {
        out = movies::listFormats();
        return 0;
    } catch (const std::exception&) {
        return kQTNotEnoughMemory;
    }
}

OSErr examine(const char* path, movies::MovieFacts& out) {
    try {
        return movies::examine(path, out);
    } catch (const std::exception&) {
        return kQTNotEnoughMemory;
    }
}

}  // namespace

const MovieToolkit* tarvoMovieToolkit() {
    static constexpr MovieToolkit toolkit = {examine, listFormats};
    return movies::startGst() ? &toolkit : nullptr;
}
