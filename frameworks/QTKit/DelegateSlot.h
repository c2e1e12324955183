/* DelegateSlot.h: who takes an output's frames, and whether he has one in hand; the same whoever brings them.
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

class DelegateSlot {
public:
    /** Null: nobody. */
    void set(QTCaptureDecompressedVideoOutputDelegate* delegate);

    /** Whether a frame would be taken at the moment. */
    bool isReady() const;
    /** Nothing when there is no delegate, or the call before has not ended. Otherwise end() follows. */
    std::optional<Delivery> begin();
    void end();

private:
    mutable std::mutex mutex_;
    QTCaptureDecompressedVideoOutputDelegate* delegate_ = nullptr;  // guarded by mutex_, as all below
    NSObject* delegateObject_ = nullptr;
    bool isDelivering_ = false;
};

}  // namespace capture
