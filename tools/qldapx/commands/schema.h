#pragma once

#include "command.h"

namespace qldapx {

// The commands of "schema", by what they are for.
void addSchemaReading(CLI::App &group, Tool &tool);
void addSchemaEditing(CLI::App &group, Tool &tool);
void addSchemaDiff(CLI::App &group, Tool &tool);
void addSchemaGraph(CLI::App &group, Tool &tool);

} // namespace qldapx
