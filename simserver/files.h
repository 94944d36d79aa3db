#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace stratasim {

/**
 * Writes the file with these permissions; whoever waits for it sees it whole or not at all. Throws
 * std::runtime_error naming it.
 */
void writeWhole(const std::string &path, std::string_view content, mode_t permissions = 0666);

} // namespace stratasim
