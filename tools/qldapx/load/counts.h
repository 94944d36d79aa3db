#pragma once

#include "load/record.h"

#include <array>
#include <cstdint>
#include <map>

namespace qldapx {

/** What became of the updates of one kind. */
struct Tally {
    std::uint64_t done = 0, failed = 0;
    std::uint64_t unknown = 0; // no answer came, and a later one has made it of no matter
    std::uint64_t inDoubt = 0;
    Tally &operator+=(const Tally &other);
};

/** What became of a load's records. */
struct Counts {
    std::array<Tally, updateKinds> updates;
    std::map<int, std::uint64_t> results; // of those that failed, by result code
    std::uint64_t malformed = 0;

    Tally &of(Update kind) { return updates[static_cast<std::size_t>(kind)]; }
    [[nodiscard]] Tally total() const;
    [[nodiscard]] bool hasFailures() const { return total().failed + malformed > 0; }
    Counts &operator+=(const Counts &other);
};

} // namespace qldapx
