#pragma once

#include "schema/element.h"

namespace qldapx {

/** A description that was read, or why it cannot be. */
struct ParsedDescription {
    std::optional<Element> element;
    std::string fault;
};

/** How a description is read: as RFC 4512 has it, or with what servers' files get away with. */
enum class Reading { Strict, Lenient };

ParsedDescription parseDescription(Kind kind, const std::string &text, Reading reading);

} // namespace qldapx
