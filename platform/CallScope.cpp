#include "platform/CallScope.h"

namespace {

thread_local CallScope* innermost = nullptr;

/** Takes what is handed over outside all scopes, until the thread ends. */
struct OutermostScope {
    ~OutermostScope();
    CallScope scope;
};

// Outlives the scope within the thread's tear-down, since it needs none.
thread_local bool isThreadEnding = false;

OutermostScope::~OutermostScope() {
    isThreadEnding = true;
}

CallScope* outermostScope() {
    thread_local OutermostScope outermost;
    innermost = &outermost.scope;
    return innermost;
}

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
    if (innermost == nullptr && isThreadEnding) {
        deleter(object);  // nobody can come to use it any more
        return;
    }
    CallScope* const scope = innermost != nullptr ? innermost : outermostScope();
    try {
        scope->temporaries_.push_back({object, deleter});
    } catch (const std::bad_alloc&) {
        deleter(object);
        throw;
    }
}
