// System calls of the link that can be made to fail: whoever links this calls malloc, free, mq_open, mq_close,
// mq_unlink, gettimeofday and clock_gettime through it. Undisturbed, they do what the real ones do.
#pragma once

#include <atomic>
#include <cstddef>
#include <mqueue.h>
#include <string>
#include <vector>

namespace faults {

// A call to mq_open as the link made it.
struct OpenCall {
    std::string name;
    int flags;
    unsigned mode;      // of a creating call
    mq_attr attributes; // of a creating call
};

// Number of the allocation of the opening that fails, from 1; 0 for none.
extern int failingAllocation;
// A queue of this name cannot be opened, so many times, for this reason; an empty name for none.
extern std::string unopenableQueue;
extern int unopenableTimes;
extern int unopenableError;
// Closing a descriptor of the queue of this name fails, although it is closed; empty for none.
extern std::string unclosableQueue;
// Removing a queue fails, although it is removed.
extern bool unlinkFails;
// A signal that comes just after a queue has been created, or removed; 0 for none. Also while nothing is armed.
extern int signalAfterCreating;
extern int signalAfterRemoving;
// Seconds added to the time of day, which moves deadlines.
extern int clockOffset;
// Seconds added to the monotonic time. The peer may move it while it answers.
extern std::atomic<int> monotonicOffset;

// Between these two, calls are counted, kept and disturbed.
void arm();
void disarm();

extern std::vector<std::size_t> allocations; // sizes asked for
extern std::vector<OpenCall> opens;
extern std::vector<std::string> unlinks;
extern int closes;
// Allocations made while armed that have not been freed.
std::size_t unfreed();
// Frees them: what the link leaves behind.
void freeUnfreed();

} // namespace faults
