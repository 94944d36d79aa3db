#pragma once

#include "connection.h"
#include "directory.h"
#include "result.h"

namespace stratasim {

void raiseConnectionOpened(Directory &directory, const Connection &connection);
void raiseConnectionClosed(Directory &directory, const Connection &connection);
/** A bind has said anew who the connection speaks as. */
void raiseConnectionState(Directory &directory, const Connection &connection, const Result &bound);

} // namespace stratasim
