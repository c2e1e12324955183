/* PixelArrays.h: the int arrays in which a camera's frames go to the host.
 *
 * One of them is the camera's own: the last frame's words. It is written into again for the next frame, so
 * that live view allocates nothing; but never while somebody else holds it, since it may be on its way
 * through a socket. Then another array takes its place, and the old one is used again once it is free.
 *
 * Thread: any; one thread writes at a time (the camera's fetch lock). The lock in here is a leaf.
 * Owns:   the arrays, each until nobody holds it and the camera has no use for it.
 * Errors: an empty hold, or the step that had no memory.
 */
#pragma once

#include <cstdint>
#include <mutex>
#include <utility>

#include "TarvoRemote/jni_env.h"

class PixelArrays;

/** One array. Its elements are the camera's words themselves: at 8 MB a frame a second copy would be what a
 *  fetch costs most. */
struct PixelArray {
    jintArray array = nullptr;
    uint32_t* words = nullptr;
    int32_t count = 0;
    int32_t holders = 0;  // guarded by the pool's lock
    PixelArray* next = nullptr;
};

/** Keeps an array as it is while somebody reads it. */
class PixelHold {
public:
    PixelHold() = default;
    PixelHold(PixelHold&& other) noexcept
        : pool_(std::exchange(other.pool_, nullptr)), held_(std::exchange(other.held_, nullptr)) {}
    PixelHold& operator=(PixelHold&& other) noexcept {
        std::swap(pool_, other.pool_);
        std::swap(held_, other.held_);
        return *this;
    }
    PixelHold(const PixelHold&) = delete;
    PixelHold& operator=(const PixelHold&) = delete;
    ~PixelHold();

    explicit operator bool() const { return held_ != nullptr; }
    jintArray array() const { return held_ == nullptr ? nullptr : held_->array; }
    uint32_t* words() const { return held_ == nullptr ? nullptr : held_->words; }
    int32_t count() const { return held_ == nullptr ? 0 : held_->count; }

private:
    friend class PixelArrays;
    PixelHold(PixelArrays* pool, PixelArray* held) : pool_(pool), held_(held) {}

    PixelArrays* pool_ = nullptr;
    PixelArray* held_ = nullptr;
};

class PixelArrays {
public:
    enum class Failure { None, Words, Array };

    PixelArrays() = default;
    ~PixelArrays();
    PixelArrays(const PixelArrays&) = delete;
    PixelArrays& operator=(const PixelArrays&) = delete;

    /** The camera's array, as the last frame left it. */
    PixelHold current();
    /** The camera's array from here on, of so many words and read by nobody else. What is in it is chance.
     *  Empty when there was no memory; the camera has none then, unless one of this size was there. */
    PixelHold forWriting(JNIEnv* env, int32_t count, Failure* failure);
    /** The camera has no array any more; those that are held go with their last hold. */
    void clear();

private:
    friend class PixelHold;
    PixelHold holdLocked(PixelArray* array);
    PixelArray* findFreeLocked(int32_t count);
    void freeUnusedLocked(int32_t countToKeep);
    void letGo(PixelArray* array);

    std::mutex mutex_;
    PixelArray* all_ = nullptr;      // guarded by mutex_
    PixelArray* current_ = nullptr;  // guarded by mutex_
};
