/* ArrayRecord.h: an array as it is sent and as the emulated Java arrays hold it. */
#pragma once

#include <cstdint>

/** Heap record; both it and its elements are released with free(). */
struct ArrayRecord {
    int32_t count;   // number of elements
    void* elements;  // count elements: 32-bit ints, bytes, or string pointers
};
