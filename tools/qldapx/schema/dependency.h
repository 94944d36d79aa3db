#pragma once

#include "schema/model.h"

namespace qldapx {

/**
 * The elements in an order in which they can come one by one: what others name is before them.
 * Among those that name each other the order is theirs.
 */
std::vector<const Element *> inDependencyOrder(const std::vector<const Element *> &elements);

} // namespace qldapx
