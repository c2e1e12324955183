#include "tests/QTKitCapture/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> isCounting{false};
std::atomic<int> allocations{0};

std::atomic<int> untilFailure{0};

thread_local int pauses = 0;

/** False for the allocation that is to fail. */
bool count() {
    if (pauses > 0) return true;
    if (isCounting) ++allocations;
    return untilFailure <= 0 || --untilFailure > 0;
}

}  // namespace

void startCountingAllocations() {
    allocations = 0;
    isCounting = true;
}

void failAllocation(int number) {
    untilFailure = number;
}

bool isFailureAhead() {
    return untilFailure > 0;
}

AllocationPause::AllocationPause() {
    ++pauses;
}

AllocationPause::~AllocationPause() {
    --pauses;
}

int stopCountingAllocations() {
    isCounting = false;
    return allocations;
}

// The linker sends the program's own calls here; operator new counts those that libraries' templates make.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* memory, size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* memory, size_t size);

void* __wrap_malloc(size_t size) {
    return count() ? __real_malloc(size) : nullptr;
}
void* __wrap_calloc(size_t number, size_t size) {
    return count() ? __real_calloc(number, size) : nullptr;
}
void* __wrap_realloc(void* memory, size_t size) {
    return count() ? __real_realloc(memory, size) : nullptr;
}
}

void* operator new(size_t size) {
    void* memory = count() ? __real_malloc(size) : nullptr;
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return count() ? __real_malloc(size) : nullptr;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
// The sanitizers' own array forms do not come by those above.
void* operator new[](size_t size) {
    return operator new(size);
}
void* operator new[](size_t size, const std::nothrow_t& nothrow) noexcept {
    return operator new(size, nothrow);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
