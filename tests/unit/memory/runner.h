// runner.h - lets each allocation of the rows fail, and tells what came of it.
#pragma once

#include "memory/rows.h"

#include <map>
#include <set>

namespace qldapx_test::memory {

// What a function did, over all its rows.
struct Record {
    long tried = 0;                // allocations that failed
    bool allocates = false;        // when none fails
    std::set<std::string> results; // without memory
    long lost = 0; // of the trials, those that lost memory; the most blocks that one did
    long mostLost = 0;
    long lostByContract = 0; // the most blocks that one did
    long ended = 0;          // of the trials, those that ended the process; by what, at which place
    std::set<std::string> ends;
    std::set<std::string> complaints;
};
using Records = std::map<std::string, Record>;

enum class Depth { some, all };

Records runAll(const Rows &rows, Depth depth);

} // namespace qldapx_test::memory
