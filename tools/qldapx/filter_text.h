#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qldapx {

/** One object class of a replication filter and the attributes of it that are replicated. */
struct FilterClass {
    std::string name;
    std::vector<std::string> attributes;
};
using Filter = std::vector<FilterClass>;

/**
 * Reads a filter's text: groups of "class$", "attribute$" each and "$", and one closing "$".
 * Unlike the library it takes no text that goes on after the closing "$". Throws UsageError.
 */
Filter parseFilter(std::string_view text);

/** The text of a filter; names must have been checked. */
std::string filterText(const Filter &filter);

/** Reads CLASS=attribute,attribute or CLASS alone. Throws UsageError. */
FilterClass parseFilterClass(const std::string &text);

} // namespace qldapx
