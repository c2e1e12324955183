/* Session.h: inputs and outputs, and the streams between them while it runs.
 *
 * Thread: any. The session's lock is taken before a stream's; nobody is called back while it is held.
 * Owns:   references on inputs and outputs, and its streams.
 */
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "frameworks/QTKit/simulated/Library.h"
#include "frameworks/QTKit/simulated/Stream.h"

namespace capture {

class Session final : public QTCaptureSession {
public:
    Session();

    bool addInput_error(QTCaptureDeviceInput& input, NSError** error) override;
    bool addOutput_error(QTCaptureDecompressedVideoOutput& output, NSError** error) override;
    void startRunning() override;
    void stopRunning() override;
    bool isRunning() const override;

    /** Whether it runs on that plugging of the device. */
    bool streamsFrom(const lab::video::Camera& camera, lab::video::Link link) const;
    /** It cannot go on; nobody asked it to stop. */
    void abandon();

private:
    using Streams = std::vector<std::shared_ptr<Stream>>;

    ~Session() override;

    std::string deviceId() const;
    std::vector<std::unique_ptr<Feed>> makeFeeds(const lab::video::CameraSetup& setup) const;
    int64_t prepare(Streams& streams) const;
    int64_t start();
    void stop();

    mutable std::mutex mutex_;
    std::vector<Ref<Input>> inputs_;  // guarded by mutex_, as all below
    std::vector<Ref<Output>> outputs_;
    Streams streams_;
    bool isRunning_ = false;
    std::chrono::steady_clock::time_point stopsAt_;
    const Tally tally_{Kind::session};
};

}  // namespace capture
