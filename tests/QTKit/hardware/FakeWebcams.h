/* FakeWebcams.h: webcams for GStreamer's device monitor that are none: a device provider and a source
 * element, both registered in the test's process, so that the hardware library meets them as it would meet a
 * real one.
 *
 * Thread: the test's; pictures are painted on GStreamer's.
 * Owns:   a fake stays plugged in until it is pulled out; whoever streams from it shares in it.
 */
#pragma once

#include <gst/video/video.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace test {

/** What it does when it is to deliver. */
enum class Manner {
    Well,
    Silent,      // no frame, no error
    ReadError,   // as V4L2's source reports any trouble, a pulled cable included
    Busy,        // refuses its format, as a webcam that another program uses
    Denied,      // cannot be opened
    NotItsWord,  // takes no size that it offered but the one it has
    EndOfStream
};

/** A picture as a webcam hands it over. */
struct Raw {
    std::vector<uint8_t> bytes;
    int bytesPerRow = 0;  // 0: as GStreamer thinks; -1: coded, there are no rows
};

struct FakeWebcam {
    std::string name;
    std::string caps;
    std::map<std::string, std::string> properties;
    std::function<Raw(int width, int height, const std::string& format, uint64_t number)> paint;

    std::atomic<Manner> manner{Manner::Well};
    /** Its driver hangs when it is to let go. */
    std::atomic<bool> isStuck{false};
    std::atomic<int> intervalMs{2};
    std::atomic<uint64_t> frames{0};  // delivered by it
    std::atomic<int> openCount{0};    // sources that are there
    std::string lastCaps() const;
    void noteCaps(const std::string& caps);

private:
    mutable std::mutex mutex_;
    std::string lastCaps_;  // what was agreed on last, guarded by mutex_
};
using FakeRef = std::shared_ptr<FakeWebcam>;

/** Before anybody asks for devices. Once is enough. */
void registerFakes();
void plugIn(const FakeRef& fake);
void pullOut(const FakeRef& fake);
void pullOutAll();

}  // namespace test
