// events_by_hand.h - event payloads decoded and released as plainly as liblber allows.
#pragma once

#include <ldap.h>

namespace bench {

// Of the same bytes, with the same result, as ldap_parse_ds_event's decoder of that kind and
// ldap_event_free.
int decodeByHand(unsigned kind, LDAP *ld, BerElement *ber);

} // namespace bench
