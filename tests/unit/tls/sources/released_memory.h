// released_memory.h - what stands in memory when it is released.
//
// Linking this replaces malloc, calloc, realloc and free of the whole program: blocks that are
// released are looked into and cleared, and a block that is reallocated is a new one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qldapx_test::released_memory {

// While it lives, blocks that this thread releases are searched for the texts, which must outlive
// it. One at a time.
class Watch {
  public:
    explicit Watch(const std::vector<std::string> &texts);
    ~Watch();
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    // How many released blocks held one of them so far.
    [[nodiscard]] static int found();
};

} // namespace qldapx_test::released_memory
