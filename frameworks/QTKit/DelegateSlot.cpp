#include "frameworks/QTKit/DelegateSlot.h"

namespace capture {

void DelegateSlot::set(QTCaptureDecompressedVideoOutputDelegate* delegate) {
    // Asked here and not for each frame: nothing of the delegate's is called under the lock.
    NSObject* object = delegate == nullptr ? nullptr : &delegate->delegateObject();
    const std::lock_guard guard(mutex_);
    delegate_ = delegate;
    delegateObject_ = object;
}

bool DelegateSlot::isReady() const {
    const std::lock_guard guard(mutex_);
    return delegate_ != nullptr && !isDelivering_;
}

std::optional<Delivery> DelegateSlot::begin() {
    const std::lock_guard guard(mutex_);
    if (delegate_ == nullptr || isDelivering_ || !delegateObject_->retainIfAlive()) return std::nullopt;
    isDelivering_ = true;
    return Delivery{delegate_, Ref<NSObject>::adopt(delegateObject_)};
}

void DelegateSlot::end() {
    const std::lock_guard guard(mutex_);
    isDelivering_ = false;
}

}  // namespace capture
