/* AllocationCounter.h: counts what a program allocates, and lets it fail, by taking the allocator's place.
 *
 * The operators have a file of their own: next to a test that uses them the compiler looks through them and
 * takes their memory for mismatched.
 *
 * Thread: any; all threads count.
 */
#pragma once

void startCountingAllocations();
int stopCountingAllocations();

/** Of the allocations from here on the one with the number, from 1, fails; 0: none. */
void failAllocation(int number);
/** Whether it is still to come. */
bool isFailureAhead();

/** While one lives, allocations of its thread neither count nor fail: for what a test itself does meanwhile.
 */
class AllocationPause {
public:
    AllocationPause();
    ~AllocationPause();
    AllocationPause(const AllocationPause&) = delete;
    AllocationPause& operator=(const AllocationPause&) = delete;
};
