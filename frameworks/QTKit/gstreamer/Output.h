/* Output.h: where frames leave a session.
 *
 * Thread: any. The lock is a leaf; the delegate is called without it.
 * Owns:   the delegate, during each call of it only.
 */
#pragma once

#include <mutex>
#include <optional>

#include "QTKit.h"

namespace capture {

/** A call of the delegate that may be made, once. */
struct Delivery {
    QTCaptureDecompressedVideoOutputDelegate* delegate;
    Ref<NSObject> keeper;
};

class Output final : public QTCaptureDecompressedVideoOutput {
public:
    void setPixelBufferAttributes(const PixelBufferAttributes& attributes) override;
    void setDelegate(QTCaptureDecompressedVideoOutputDelegate* delegate) override;

    PixelBufferAttributes attributes() const;

    /** Belongs to the session from now on; false when it belongs to another one. */
    bool join(const void* session);
    void leave(const void* session);

    /** Nothing when there is no delegate, or the one before has not ended. Otherwise end() follows. */
    std::optional<Delivery> begin();
    void end();

private:
    ~Output() override = default;

    mutable std::mutex mutex_;
    PixelBufferAttributes attributes_;  // guarded by mutex_, as all below
    QTCaptureDecompressedVideoOutputDelegate* delegate_ = nullptr;
    NSObject* delegateObject_ = nullptr;
    bool isDelivering_ = false;
    const void* session_ = nullptr;
};

}  // namespace capture
