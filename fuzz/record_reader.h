// record_reader.h - reads all that an event's record points to.
#pragma once

namespace qldapx_fuzz {

// Reads every byte of every field, so that the sanitizers see what must not be read, and releases
// the record with all that ldap_event_free leaves. NULL is ignored.
void readAndFree(void *eventData);

} // namespace qldapx_fuzz
