// assertion_trap.h - lets a test go on after one of the assertions that the contract requires.
//
// Linking this replaces the end of assert() in the whole program.
#pragma once

#include <functional>

namespace qldapx_test {

// Runs the call; true when it ended in a required assertion. What the call had allocated is lost
// then, and the leak check knows nothing of what it allocates at all: to test that, call again. Any
// other assertion ends the process as ever.
bool endsInAssertion(const std::function<void()> &call);

// What the last assertion that failed said, whichever it was; static texts, NULL before the first.
struct FailedAssertion {
    const char *expression = nullptr;
    const char *file = nullptr;
    unsigned line = 0;
    const char *function = nullptr;
    bool isRequired = false;
};
extern thread_local FailedAssertion lastAssertion;

} // namespace qldapx_test
