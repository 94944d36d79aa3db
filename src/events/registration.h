// registration.h - keeps a registration for events open in libldap.
#pragma once

#include <ldap.h>

namespace qldapx::events {

// libldap closes a request with its extended response and drops every later message on that id.
// Enters the id again among the requests that libldap waits for; nothing goes to the server. It
// leaves libldap like any request: with the next extended response, by ldap_abandon_ext or with
// the session.
//
// Changes the session's result code. The result is LDAP_SUCCESS also where there is nothing to keep
// (the id waits already, the connection is gone) or no way to (a libldap without the functions
// needed): the server's answer is what it is. Otherwise it says why events would be lost.
[[nodiscard]] int keepOpen(LDAP *ld, int msgid);

} // namespace qldapx::events
