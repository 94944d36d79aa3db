#pragma once

#include <string>

namespace qldapx {

/** Draws a text for dot in one of its formats. Throws Failure. */
std::string renderGraph(const std::string &operation, const std::string &dot,
                        const std::string &format);

} // namespace qldapx
