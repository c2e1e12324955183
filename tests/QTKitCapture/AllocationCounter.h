/* AllocationCounter.h: counts what a program allocates, by taking the allocator's place.
 *
 * The operators have a file of their own: next to a test that uses them the compiler looks through them and
 * takes their memory for mismatched.
 *
 * Thread: any; all threads count.
 */
#pragma once

void startCountingAllocations();
int stopCountingAllocations();
