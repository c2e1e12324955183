/* CallScope.h: a scope for the temporary objects of one call.
 *
 * What is handed to autorelease() lives until the innermost scope of the thread ends, so a function can
 * return an object that its caller need not release.
 *
 * Thread: scopes and their objects belong to the thread that made them.
 * Owns:   the objects, from autorelease() on. They go newest first. Outside all scopes they stay until the
 *         thread ends.
 */
#pragma once

#include <memory>
#include <vector>

#include "platform/Export.h"

class TARVO_PLATFORM_API CallScope {
public:
    CallScope();
    ~CallScope();
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

private:
    friend TARVO_PLATFORM_API void autorelease(void* object, void (*deleter)(void*));

    struct Temporary {
        void* object;
        void (*deleter)(void*);
    };

    std::vector<Temporary> temporaries_;
    CallScope* outer_;
};

/** Gives the object to the innermost scope, which calls `deleter(object)` when it ends. Null is ignored. */
TARVO_PLATFORM_API void autorelease(void* object, void (*deleter)(void*));

template <typename T>
T* autorelease(std::unique_ptr<T> object) {
    T* const lent = object.get();
    autorelease(static_cast<void*>(lent), [](void* owned) { delete static_cast<T*>(owned); });
    static_cast<void>(object.release());
    return lent;
}
