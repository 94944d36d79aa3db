// fatal.h - faults of the other side after which the contract ends the process.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace qldapx {

[[noreturn]] inline void fatal(const char *function, const char *what) {
    std::fprintf(stderr, "libqldapx: %s: %s\n", function, what);
    std::abort();
}

} // namespace qldapx
