// watched_calls.h - the system calls of a process that is supervised.
#pragma once

#include "system/supervised.h"

namespace test {

struct Call {
    unsigned number;
    const char *name;
    bool ofFiles;
};

const Call &callOf(int number);

/** Reports the calls to who has the descriptor that this gives, and allows all others. */
int watch(Watched watched);

} // namespace test
