/* Session.h: one input, one output, and the stream between them while it runs.
 *
 * Thread: any. The session's lock is taken before a stream's; nobody is called back while it is held.
 * Owns:   references on input and output, and its stream.
 */
#pragma once

#include <memory>
#include <mutex>

#include "frameworks/QTKit/gstreamer/Stream.h"

namespace capture {

class Session final : public QTCaptureSession {
public:
    bool addInput_error(QTCaptureDeviceInput& input, NSError** error) override;
    bool addOutput_error(QTCaptureDecompressedVideoOutput& output, NSError** error) override;
    void startRunning() override;
    void stopRunning() override;
    /** False from stopRunning() on: a stream that still lets go of its device is waited for by the next. */
    bool isRunning() const override;

    /** That stream cannot go on; false when it is not the session's any more. */
    bool abandon(const Stream& stream);

private:
    ~Session() override;

    Failure prepare();
    Failure start();

    mutable std::mutex mutex_;
    Ref<Input> input_;  // guarded by mutex_, as all below
    Ref<Output> output_;
    std::shared_ptr<Stream> stream_;
    bool isRunning_ = false;
};

}  // namespace capture
