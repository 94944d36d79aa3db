#pragma once

#include <ldap.h>

namespace qldapx {

/**
 * Whether the server's root DSE lists bulk updates. One that cannot be read may: the start request
 * will tell. `code` receives the result of the search.
 */
bool listsBulkUpdate(LDAP *ld, int &code);

} // namespace qldapx
