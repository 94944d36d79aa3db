#pragma once

#include <chrono>
#include <string>

namespace qldapx {

using Moment = std::chrono::system_clock::time_point;

/** For people: 2026-11-21 14:40:00.123, in the local time. */
std::string localTime(Moment moment);
/** For programs: 2026-11-21T13:40:00.123Z. */
std::string universalTime(Moment moment);

} // namespace qldapx
