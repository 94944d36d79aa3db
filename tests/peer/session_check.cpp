#include "session_check.h"

#include <gtest/gtest.h>

namespace test {

MessagePtr answerTo(LDAP *ld, int id) {
    LDAPMessage *answer = nullptr;
    timeval patience{10, 0};
    EXPECT_EQ(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &answer), LDAP_RES_EXTENDED);
    return MessagePtr(answer);
}

void expectSearchWorks(LDAP *ld, const std::string &base) {
    LDAPMessage *found = nullptr;
    EXPECT_EQ(ldap_search_ext_s(ld, base.c_str(), LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr,
                                nullptr, nullptr, LDAP_NO_LIMIT, &found),
              LDAP_SUCCESS);
    MessagePtr owner(found);
    EXPECT_EQ(ldap_count_entries(ld, found), 1);
}

} // namespace test
