#pragma once

#include "load/journal.h"
#include "output.h"

#include <optional>
#include <string>

namespace qldapx {

/** How a load ended. */
struct LoadOutcome {
    enum class End { Done, Failures, Stopped, Interrupted, Broken };

    std::string file;
    std::string mode; // "bulk", "ordinary", "dry run"
    End end = End::Done;
    Counts counts;
    std::uint64_t records = 0; // that were read
    std::uint64_t skipped = 0; // of them, by --resume
    double seconds = 0;
    std::uint64_t updates = 0; // of this run, for the rate
    std::optional<std::string> rejects, checkpoint;
    bool cannotResume = false;
};

/** The summary, on standard output. */
void printOutcome(Output &out, const LoadOutcome &outcome);

} // namespace qldapx
