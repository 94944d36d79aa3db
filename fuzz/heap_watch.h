// heap_watch.h - no run of a fuzz target may leave anything allocated, nor allocate more than its
// bytes can hold.
//
// Needs AddressSanitizer, which tells of every block; without it nothing is watched.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace qldapx_fuzz {

// Ends the process with that message unless the condition holds.
void require(bool condition, const char *message);

// What this thread allocates while it lives must have been released at its end, and no block of it
// may be out of proportion to the bytes received. One at a time.
class HeapWatch {
  public:
    explicit HeapWatch(std::size_t received);
    ~HeapWatch();
    // So much more has been received by now.
    void receive(std::size_t more);
    // Of what was allocated so far: how many blocks are left, the most bytes that there were at
    // once, and where a block that is left was allocated, on standard error.
    [[nodiscard]] std::size_t blocksLeft() const;
    [[nodiscard]] std::size_t peak() const;
    void describeLeft() const;
    // Releases what there is.
    void releaseAll();
    // Releases for each text a block that is left and holds it, where the heap is watched; ends the
    // process when there is none.
    void releaseLost(const std::vector<std::string> &texts);
    HeapWatch(const HeapWatch &) = delete;
    HeapWatch &operator=(const HeapWatch &) = delete;
};

// What is allocated while it lives is none of the run's. What the run has allocated may be
// released.
class Unwatched {
  public:
    Unwatched();
    ~Unwatched();
    Unwatched(const Unwatched &) = delete;
    Unwatched &operator=(const Unwatched &) = delete;

  private:
    bool before_;
};

// Whether the call returned. If not, it ended in one of the assertions that the contract requires,
// and what it had allocated is released. Every other end is the process' end. Under a HeapWatch.
bool returns(const std::function<void()> &call);

} // namespace qldapx_fuzz
