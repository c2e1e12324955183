#include "tests/QTKitCapture/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> isCounting{false};
std::atomic<int> allocations{0};

void count() {
    if (isCounting) ++allocations;
}

}  // namespace

void startCountingAllocations() {
    allocations = 0;
    isCounting = true;
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
    count();
    return __real_malloc(size);
}
void* __wrap_calloc(size_t number, size_t size) {
    count();
    return __real_calloc(number, size);
}
void* __wrap_realloc(void* memory, size_t size) {
    count();
    return __real_realloc(memory, size);
}
}

void* operator new(size_t size) {
    count();
    if (void* memory = __real_malloc(size)) return memory;
    throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    count();
    return __real_malloc(size);
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
