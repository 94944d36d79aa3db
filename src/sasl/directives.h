// directives.h - the parts of the list parsers that the challenge needs.
#pragma once

#include "core/handle.h"
#include "qldapx/digest_challenge.h"

#include <limits>

namespace qldapx {

using DirectivesPtr = std::unique_ptr<ParsedDirective, Releaser<freeParsedDirectives>>;

// More than positions can say.
constexpr bool isTooLong(std::uint32_t length) {
    return length > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
}

// The directives of credentials, which may be NULL for none; the result of the bind's functions.
int parseCredentials(const berval *credentials, DirectivesPtr &directives);

// size bytes and a zero behind them, or null.
HeapPtr copyBytes(const char *bytes, std::size_t size);

} // namespace qldapx
