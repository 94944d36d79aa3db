// qop.h - the qualities of protection that have names (RFC 2831, 2.1.1), in order of preference:
// the one at place n is bit n of a challenge's qopOptions.
#pragma once

#include <array>

namespace qldapx {

inline constexpr std::array qopNames = {"auth", "auth-int", "auth-conf"};

} // namespace qldapx
