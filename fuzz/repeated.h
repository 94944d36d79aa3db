// repeated.h - runs of code that keeps what it sets up once: tables, locales, formats.
#pragma once

#include "heap_watch.h"

namespace qldapx_fuzz {

// Runs it twice, and watches the heap the second time. What a run may take at once is the code's
// own rule here, not the input's size.
template <class Run>
void runTwice(Run run) {
    constexpr std::size_t most = std::size_t{8} << 20U;
    run();
    HeapWatch watch(most);
    run();
}

} // namespace qldapx_fuzz
