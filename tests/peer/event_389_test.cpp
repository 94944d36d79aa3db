// Event monitoring with a server that has none.
#include "environment_389.h"
#include "event_refusal.h"

namespace {

class Events389 : public test::With389 {};

TEST_F(Events389, RegistrationsAreRefused) {
    test::expectEventsRefused(ld, base, LDAP_PROTOCOL_ERROR, "unsupported extended operation");
}

} // namespace
