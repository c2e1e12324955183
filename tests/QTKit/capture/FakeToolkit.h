/* FakeToolkit.h: webcams that tests play themselves, in GStreamer's place. All code of the process is ours
 * then, so the thread sanitizer sees everything.
 *
 * Thread: the test's; each source has a thread of its own, from which it calls its listener.
 * Owns:   threads end before the toolkit is cleared.
 */
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "frameworks/QTKit/gstreamer/Toolkit.h"

namespace test {

/** Knows its number. */
class NumberedFrame final : public CVImageBuffer {
public:
    explicit NumberedFrame(uint64_t number);
    CVReturn lockBaseAddress() override { return kCVReturnSuccess; }
    void unlockBaseAddress() override {}
    const void* baseAddress() const override { return pixels_; }
    size_t width() const override { return 1; }
    size_t height() const override { return 2; }
    size_t bytesPerRow() const override { return 4; }
    size_t dataSize() const override { return sizeof pixels_; }

    static uint64_t numberOf(CVImageBuffer& frame);
    static std::atomic<int> living;

private:
    ~NumberedFrame() override;
    const uint64_t pixels_[1];
};

class FakeCamera final : public capture::Camera, public std::enable_shared_from_this<FakeCamera> {
public:
    explicit FakeCamera(std::string id) : name_("fake " + id), id_(std::move(id)) {}
    ~FakeCamera() override;

    const std::string& name() const override { return name_; }
    const std::string& uniqueId() const override { return id_; }
    capture::Failure reserve(bool isStreamingHere, std::unique_ptr<capture::Reservation>& out) override;
    std::shared_ptr<capture::Source> start(std::optional<capture::FrameSize> size,
                                           std::shared_ptr<capture::StreamListener> listener) override;

    /** Whether it delivers at the moment. */
    std::atomic<bool> isSilent{false};
    /** Its driver hangs when it is to let go. */
    std::atomic<bool> isStuck{false};
    std::atomic<int> reservations{0};
    std::atomic<int> streams{0};      // under way
    std::atomic<int> mostStreams{0};  // at a time
    std::atomic<int> starts{0};
    /** They may hold what holds this, so it must not end before they did. */
    std::atomic<int> threadsUnderway{0};
    std::atomic<uint64_t> frames{0};  // told of

    /** The stream that is under way fails. */
    void fail(const capture::Failure& failure);
    /** Whether the stream has taken that up. */
    bool hasFailed() const;
    void refuseToOpen(const capture::Failure& failure);
    /** Makes frames in the place of the numbered ones; while nothing streams. */
    void setFrames(std::function<Ref<CVImageBuffer>()> make);
    /** Called in the place of the next start. */
    void setNextStart(std::function<void()> action);
    bool wasStreamingHere() const;
    std::optional<capture::FrameSize> lastSize() const;

private:
    friend class FakeSource;

    const std::string name_;
    const std::string id_;
    mutable std::mutex mutex_;
    capture::Failure refusal_;  // guarded by mutex_, as all below
    capture::Failure failure_;
    std::function<void()> nextStart_;
    std::function<Ref<CVImageBuffer>()> makeFrame_;
    std::optional<capture::FrameSize> lastSize_;
    bool wasStreamingHere_ = false;
    std::vector<std::thread> threads_;
};
using FakeCameraRef = std::shared_ptr<FakeCamera>;

/** What the framework finds; `canTell`: whether it can be told at all. */
void setCameras(const std::vector<FakeCameraRef>& cameras, bool canTell = true);

}  // namespace test
