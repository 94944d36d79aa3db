#pragma once

#include "schema/field_argument.h"
#include "schema/model.h"

namespace qldapx {

/** An element of these fields. Throws UsageError. */
Element newElement(Kind kind, const std::vector<std::string> &arguments);

/** The element with these changes; names and OIDs of one thing are the same. Throws UsageError. */
Element changedElement(const Model &model, const Element &element,
                       const std::vector<std::string> &arguments);

/**
 * Makes the element's description; throws UsageError when its key or a name is none, unless they
 * are to be sent all the same, or libldap does not understand it.
 */
void complete(Element &element, bool force);

} // namespace qldapx
