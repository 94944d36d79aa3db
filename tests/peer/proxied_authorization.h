// proxied_authorization.h - what the tests of the library's proxied authorisation share.
#pragma once

#include "persistent_search.h"

namespace test {

// The library's control for this text, which must succeed.
ControlPtr proxyControl(LDAP *ld, const char *text);

// Whom the server's who-am-i operation (RFC 4532) names when it gets the control (with NULL, those
// of the session), or "result 123".
std::string identityWith(LDAP *ld, LDAPControl *control);

} // namespace test
