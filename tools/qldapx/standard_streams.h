#pragma once

#include <string_view>

namespace qldapx {

/**
 * What of standard input, output and error is closed stays unusable: no file or connection that is
 * opened later takes its place, to be written into.
 */
void reserveStandardStreams();

/** All that went to standard output is where it was to go, as far as can be known. */
void finishOutput();

/** Writes to standard error. That nobody reads it, or its disk is full, changes nothing. */
void tell(std::string_view text);

} // namespace qldapx
