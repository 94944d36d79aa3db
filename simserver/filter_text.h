#pragma once

#include "filter.h"

#include <string_view>

namespace stratasim {

/**
 * Reads a filter in its string form (RFC 4515), with or without the outer parentheses; throws
 * protocolError naming the filter and the byte at which it goes wrong.
 */
Filter parseFilter(std::string_view text);

} // namespace stratasim
