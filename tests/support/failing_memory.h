// failing_memory.h - memory that runs out on demand, and what is in use, for the calling thread
// alone.
//
// Linking this replaces malloc, calloc, realloc and free of the whole program (strdup and its
// siblings go through them).
#pragma once

namespace qldapx_test::failing_memory {

// Lets this thread's allocation with that number, counted from 1, fail; and the others after it
// succeed, or fail, too, until it is ended.
enum class Shortage { once, lasting };
void failAllocation(long number, Shortage shortage = Shortage::once);
// Ends it; true when that allocation was asked for, hence failed.
bool disarm();
// Allocations left until the one that fails, itself counted; 0 when it was asked for.
long untilFailure();
// Counts as an allocation that the caller makes by other means; true: it is the one that fails.
bool failsNow();
// While it lives, no allocation of this thread fails, nor takes a number.
class Pause {
  public:
    Pause();
    ~Pause();
    Pause(const Pause &) = delete;
    Pause &operator=(const Pause &) = delete;

  private:
    long countdown_;
};
// Blocks allocated minus blocks released by this thread so far.
long liveBlocks();
// Bytes that this thread has had in use at once since the last call of markPeak(), beyond those in
// use then. (A block that is reallocated counts once: the large ones are moved by page.)
void markPeak();
long peakBytes();

} // namespace qldapx_test::failing_memory
