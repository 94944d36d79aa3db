// event_refusal.h - registrations for events with servers that know none.
#pragma once

#include <ldap.h>
#include <string>

namespace test {

// Expects that the server refuses registrations with and without filters, by that code and that
// message, and that the session is as good as before, though a registration is abandoned.
void expectEventsRefused(LDAP *ld, const std::string &base, int code, const std::string &message);

} // namespace test
