// debug_items.h - the list that closes a DebugEventData.
#pragma once

#include "events/record.h"

namespace qldapx::events {

[[nodiscard]] int readDebugItems(BerElement *ber, char *record, const Field &field);
void releaseDebugItems(char *record, const Field &field);

} // namespace qldapx::events
