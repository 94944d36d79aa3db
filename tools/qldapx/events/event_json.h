#pragma once

#include "events/event.h"

namespace qldapx {

/** The event as one line of JSON, its end included. */
std::string eventJson(const Event &event);

} // namespace qldapx
