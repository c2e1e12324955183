/* Output.h: where frames leave a session.
 *
 * Thread: any. The lock is a leaf.
 * Owns:   the delegate, during each call of it only.
 */
#pragma once

#include <mutex>

#include "frameworks/QTKit/DelegateSlot.h"

namespace capture {

class Output final : public QTCaptureDecompressedVideoOutput {
public:
    void setPixelBufferAttributes(const PixelBufferAttributes& attributes) override;
    void setDelegate(QTCaptureDecompressedVideoOutputDelegate* delegate) override { slot_.set(delegate); }

    PixelBufferAttributes attributes() const;

    /** Belongs to the session from now on; false when it belongs to another one. */
    bool join(const void* session);
    void leave(const void* session);

    DelegateSlot& slot() { return slot_; }

private:
    ~Output() override = default;

    DelegateSlot slot_;
    mutable std::mutex mutex_;
    PixelBufferAttributes attributes_;  // guarded by mutex_, as all below
    const void* session_ = nullptr;
};

}  // namespace capture
