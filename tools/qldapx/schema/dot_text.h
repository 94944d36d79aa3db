#pragma once

#include <string>
#include <string_view>

namespace qldapx {

/** A text inside of quotes of DOT, as it stands. */
std::string dotQuoted(std::string_view text);
/** A text inside of a label like HTML. */
std::string dotMarkup(std::string_view text);
/** A text in quotes inside of such a label, where backslashes count. */
std::string dotMarkupAttribute(std::string_view text);

} // namespace qldapx
