// Searches by URL with memory that runs out at each of their allocations.
#include "no_memory.h"

#include "support/ldap_message.h"

#include <qldapx.h>

namespace qldapx_test {
namespace {

constexpr const char *url = "ldap:///o=x?cn,sn?sub?(&(cn=a)(sn=b))";

TEST(UrlSearch, NoMemory) {
    LDAP *session = nullptr;
    LDAPMessage *res = nullptr;
    exhaust(
        {ScriptedPeer::answers({searchEntry("o=x"), searchDone(LDAP_SUCCESS)})},
        [&](LDAP *ld) {
            session = ld;
            return ldap_url_search_s(ld, url, 0, &res);
        },
        [&](int result) {
            EXPECT_TRUE(result != LDAP_SUCCESS || ldap_count_messages(session, res) == 2);
            ldap_msgfree(res);
        });
}

TEST(UrlSearch, NoMemoryWithoutWaiting) {
    exhaust(
        {}, [](LDAP *ld) { return ldap_url_search(ld, url, 0) > 0 ? LDAP_SUCCESS : -1; },
        [](int) {});
}

} // namespace
} // namespace qldapx_test
