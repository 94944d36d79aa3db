// failing_memory.h - memory that runs out on demand, for the calling thread alone.
//
// Linking this replaces malloc, calloc, realloc and free of the whole program (strdup and its
// siblings go through them).
#pragma once

namespace qldapx_test::failing_memory {

// Lets this thread's allocation with that number, counted from 1, fail; the others succeed.
void failAllocation(long number);
// Ends it; true when that allocation was asked for, hence failed.
bool disarm();
// Blocks allocated minus blocks released by this thread so far.
long liveBlocks();

} // namespace qldapx_test::failing_memory
