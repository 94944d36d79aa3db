#pragma once

#include "output.h"
#include "schema/element.h"

namespace qldapx {

/** A field's key: the keyword as a word of JSON, "NO-USER-MODIFICATION" as noUserModification. */
std::string jsonKey(const std::string &keyword);
/** A list, a text, or true for a flag. */
Output::Json jsonField(Kind kind, const Field &field);
/** Kind, all fields, extensions apart, and the definition. */
Output::Json jsonElement(const Element &element);
/** Kind, name and OID only. */
Output::Json jsonReference(const Element &element);

} // namespace qldapx
