#include "frameworks/QuickTime/gstreamer/Gst.h"

namespace movies {

bool startGst() {
    static const bool isStarted = gst_init_check(nullptr, nullptr, nullptr) != FALSE;
    return isStarted;
}

}  // namespace movies
