#pragma once

#include "schema.h"
#include "tree.h"

namespace stratasim {

/** Names of attributes that entries have although the schema does not know them, in lower case. */
schema::TextSet undescribedNames(const Tree &tree, const schema::Model &model);

/**
 * Throws unwillingToPerform when an attribute or class of an entry would mean nothing any more, or
 * something else, if the schema `after` took the place of `before`.
 */
void requireNamesKept(const Tree &tree, const schema::Model &before, const schema::Model &after);

} // namespace stratasim
