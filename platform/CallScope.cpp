#include "platform/CallScope.h"

namespace {

thread_local CallScope* innermost = nullptr;

}  // namespace

CallScope::CallScope() : outer_(innermost) {
    innermost = this;
}

CallScope::~CallScope() {
    // A deleter may hand over further objects; they go with this scope too.
    while (!temporaries_.empty()) {
        const Temporary last = temporaries_.back();
        temporaries_.pop_back();
        last.deleter(last.object);
    }
    innermost = outer_;
}

void autorelease(void* object, void (*deleter)(void*)) {
    if (object == nullptr) {
        return;
    }
    if (innermost == nullptr) {
        // Becomes the thread's outermost scope and stays until the thread ends.
        thread_local CallScope outermost;
        innermost = &outermost;
    }
    try {
        innermost->temporaries_.push_back({object, deleter});
    } catch (const std::bad_alloc&) {
        deleter(object);
        throw;
    }
}
