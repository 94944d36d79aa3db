#pragma once

#include <string>
#include <string_view>

namespace stratasim {

/** Writes a line to standard error. Nobody reading it, or a full disk, changes nothing. */
void report(std::string_view line);

/** What a client has had a part in, as a line: control characters as \xNN, and not too long. */
std::string printable(std::string_view text);

/** Sends what standard output still holds; throws std::runtime_error when it cannot be written. */
void finishOutput();

/**
 * Opens those of the three standard streams that are closed. A socket or a file would otherwise
 * get the number of one, and what is meant for the stream.
 */
void openStandardStreams();

} // namespace stratasim
