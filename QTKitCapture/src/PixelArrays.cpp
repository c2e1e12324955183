#include "QTKitCapture/src/PixelArrays.h"

#include <cstdlib>
#include <new>

namespace {

void destroy(PixelArray* array) {
    freeIntArray(array->array);  // frees the words, too
    delete array;
}

/** An int array around words that are there already. */
jintArray arrayAround(JNIEnv* env, uint32_t* words, int32_t count) {
    auto* array = static_cast<jintArray>((*env)->NewGlobalRef(env, (*env)->NewIntArray(env, 0)));
    if (array == nullptr) return nullptr;
    std::free(array->elements);
    array->elements = words;
    array->count = count;
    return array;
}

PixelArray* newPixelArray(JNIEnv* env, int32_t count, PixelArrays::Failure* failure) {
    auto* words = static_cast<uint32_t*>(std::malloc(static_cast<size_t>(count) * sizeof(uint32_t)));
    *failure = words == nullptr ? PixelArrays::Failure::Words : PixelArrays::Failure::None;
    if (words == nullptr) return nullptr;
    auto* made = new (std::nothrow) PixelArray;
    jintArray array = made == nullptr ? nullptr : arrayAround(env, words, count);
    if (array == nullptr) {
        *failure = PixelArrays::Failure::Array;
        std::free(words);
        delete made;
        return nullptr;
    }
    made->array = array;
    made->words = words;
    made->count = count;
    return made;
}

}  // namespace

PixelHold::~PixelHold() {
    if (pool_ != nullptr) pool_->letGo(held_);
}

PixelArrays::~PixelArrays() {
    clear();
}

PixelHold PixelArrays::current() {
    const std::lock_guard guard(mutex_);
    return holdLocked(current_);
}

PixelHold PixelArrays::forWriting(JNIEnv* env, int32_t count, Failure* failure) {
    *failure = Failure::None;
    {
        const std::lock_guard guard(mutex_);
        freeUnusedLocked(count);
        if (PixelArray* array = findFreeLocked(count)) {
            current_ = array;
            return holdLocked(array);
        }
        if (current_ != nullptr && current_->count != count) current_ = nullptr;
    }
    PixelArray* made = newPixelArray(env, count, failure);
    if (made == nullptr) return {};
    const std::lock_guard guard(mutex_);
    made->next = std::exchange(all_, made);
    current_ = made;
    return holdLocked(made);
}

void PixelArrays::clear() {
    const std::lock_guard guard(mutex_);
    current_ = nullptr;
    freeUnusedLocked(-1);
}

PixelHold PixelArrays::holdLocked(PixelArray* array) {
    if (array == nullptr) return {};
    ++array->holders;
    return PixelHold(this, array);
}

/** The camera's own before all others: the same array for every frame, as long as nobody else reads it. */
PixelArray* PixelArrays::findFreeLocked(int32_t count) {
    if (current_ != nullptr && current_->count == count && current_->holders == 0) return current_;
    PixelArray* array = all_;
    while (array != nullptr && (array->count != count || array->holders > 0)) {
        array = array->next;
    }
    return array;
}

void PixelArrays::freeUnusedLocked(int32_t countToKeep) {
    for (PixelArray** link = &all_; *link != nullptr;) {
        PixelArray* array = *link;
        if (array->holders > 0 || array->count == countToKeep) {
            link = &array->next;
            continue;
        }
        *link = array->next;
        if (array == current_) current_ = nullptr;
        destroy(array);
    }
}

void PixelArrays::letGo(PixelArray* array) {
    const std::lock_guard guard(mutex_);
    --array->holders;
    const bool isWanted = current_ != nullptr && current_->count == array->count;
    if (array->holders == 0 && !isWanted) freeUnusedLocked(current_ == nullptr ? -1 : current_->count);
}
