#pragma once

#include "events/event.h"

#include <string_view>

namespace stratasim {

/** Reads an event from a JSON object; throws std::runtime_error, which says what is wrong. */
EventPointer parseReplayLine(std::string_view line);

} // namespace stratasim
