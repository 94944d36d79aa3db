#pragma once

#include "directory.h"

#include <istream>

namespace stratasim {

/** Makes the subschema entry of a directory. */
void addSubschema(Directory &directory);

/** Lets the attributes show the directory's schema; a kind without elements has no attribute. */
void showSchema(Entry &entry, const schema::Model &model);

/**
 * Lets the subschema entry have the attributes of an LDIF record as they stand there, whatever
 * they are; throws LdifError. A name that comes again after another one is a second attribute.
 */
void showVerbatim(Directory &directory, std::istream &ldif);

} // namespace stratasim
