#include "platform/Object.h"

NSObject::~NSObject() = default;

void NSObject::retain() const {
    references_.fetch_add(1, std::memory_order_relaxed);
}

void NSObject::release() const {
    // What other owners did to the object happens before its end.
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

bool NSObject::retainIfAlive() const {
    int32_t references = references_.load(std::memory_order_relaxed);
    while (references > 0) {
        if (references_.compare_exchange_weak(references, references + 1, std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}
