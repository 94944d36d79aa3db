#pragma once

#include "events/stream.h"

namespace qldapx {

struct WatchOptions {
    std::optional<std::size_t> count; // end after so many events
    std::optional<double> seconds;    // end after so long
};

/** Prints events as the server reports them. */
void watchEvents(Run &run, const EventOptions &events, const WatchOptions &options);

} // namespace qldapx
