// watch.h - a session that lasts as long as the soak, and monitors all changes to entries.
#pragma once

#include "crew.h"
#include "hand.h"

#include <atomic>

namespace soak {

/**
 * The work of a thread. The changes are numbered without a gap, so that none can be lost unnoticed;
 * at each rest all that have been made have been reported.
 */
void watchAll(Crew &crew, Hand &hand);

} // namespace soak
