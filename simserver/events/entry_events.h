#pragma once

#include "tree.h"

namespace stratasim {

class Directory;

/** Raises what a change to the tree comes to: events of the entry, its values, its members. */
void raiseEntryEvents(Directory &directory, const Change &change);

} // namespace stratasim
