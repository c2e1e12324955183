/* Object.h: reference-counted objects of the platform, and a pointer that keeps one alive.
 *
 * Thread: any; counting is atomic. What a class does besides is its own affair.
 * Owns:   whoever made an object or retained it owns one reference; the last release destroys it.
 */
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "platform/Export.h"

class TARVO_PLATFORM_API NSObject {
public:
    NSObject() = default;
    NSObject(const NSObject&) = delete;
    NSObject& operator=(const NSObject&) = delete;

    /** Adds a reference. Only for who holds one, or is sure that somebody does. */
    void retain() const;
    void release() const;
    /** Adds a reference unless the object's end has begun; for registries that hold none of their own. The
     *  object's memory must still be there, so its destructor has to pass the registry's lock. */
    bool retainIfAlive() const;
    /** For tests: how many references there were a moment ago. */
    int32_t retainCount() const { return references_.load(std::memory_order_relaxed); }

protected:
    virtual ~NSObject();

private:
    mutable std::atomic<int32_t> references_{1};
};

/** Owns one reference; empty when there is none. */
template <class T>
class Ref {
public:
    Ref() = default;
    Ref(const Ref& other) : object_(other.object_) {
        if (object_ != nullptr) object_->retain();
    }
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Ref() {
        if (object_ != nullptr) object_->release();
    }

    /** Takes over a reference that the caller owns. */
    static Ref adopt(T* object) {
        Ref ref;
        ref.object_ = object;
        return ref;
    }
    /** Adds a reference to one that somebody else owns. */
    static Ref share(T* object) {
        if (object != nullptr) object->retain();
        return adopt(object);
    }
    /** The reference is the caller's from here on. */
    [[nodiscard]] T* take() { return std::exchange(object_, nullptr); }

    explicit operator bool() const { return object_ != nullptr; }
    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }

private:
    T* object_ = nullptr;
};
