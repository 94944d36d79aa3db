// Bulk updates with a server that knows none.
#include "bulk_update_refusal.h"
#include "environment_389.h"

namespace {

class BulkUpdate389 : public test::With389 {};

TEST_F(BulkUpdate389, RequestsAreRefused) {
    test::expectBulkUpdateRefused(ld, base, LDAP_PROTOCOL_ERROR, "unsupported extended operation");
}

} // namespace
