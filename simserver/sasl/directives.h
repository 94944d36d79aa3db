#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** One name=value of the texts that DIGEST-MD5 exchanges (RFC 2831, 7). */
struct Directive {
    std::string name;
    std::string value;
    bool quoted = false;
};

std::string writeDirectives(const std::vector<Directive> &directives);

/**
 * Reads a list of directives, whose names it gives in lower case: names may be written in any
 * case, and every value with quotes or without. Throws protocolError naming the place when the
 * text is no such list.
 */
std::vector<Directive> readDirectives(std::string_view text);

} // namespace stratasim
