#pragma once

#include "schema/element.h"

namespace qldapx {

/** How classes of a kind look, also without colour. */
struct ClassLook {
    const char *kind; // its keyword
    const char *word;
    const char *fill;
    const char *border; // what a cell's STYLE takes
};
const ClassLook &lookOf(const Element &element);
const ClassLook &lookOf(std::string_view kind);

/** The start of every picture. */
std::string graphStart(const std::string &title);
/** A table that says how the kinds look. */
std::string legendTable(const char *note);
/** OID and DESC, for who points at a class. */
std::string tooltipOf(const Element &element);
/** The table's cells in so many columns, each row's first. */
std::string cellRows(const std::vector<std::string> &cells, std::size_t columns);

} // namespace qldapx
