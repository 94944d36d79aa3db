#pragma once

#include "tree.h"

#include <istream>
#include <stdexcept>
#include <string>

namespace stratasim {

/** A text that is not LDIF; what() begins with the line's number. */
struct LdifError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/**
 * Reads the entries of an LDIF file (RFC 2849, content records only) into the tree. An entry
 * whose parent is in the tree goes below it, any other one begins a naming context.
 */
void loadLdif(std::istream &in, Tree &tree);

} // namespace stratasim
