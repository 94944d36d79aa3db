#pragma once

#include "events/stream.h"

namespace qldapx {

/** Shows on the terminal what comes and how often; ends after so many seconds, if any. */
void showEvents(Run &run, const EventOptions &events, std::optional<double> seconds);

} // namespace qldapx
