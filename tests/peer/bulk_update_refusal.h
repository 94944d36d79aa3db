// bulk_update_refusal.h - a bulk update with servers that know none.
#pragma once

#include <ldap.h>
#include <string>

namespace test {

// Expects that the server refuses each of the three requests by that code and that message, that
// nothing of a batch is carried out, and that the session is as good as before, though a request is
// abandoned.
void expectBulkUpdateRefused(LDAP *ld, const std::string &base, int code,
                             const std::string &message);

} // namespace test
