#include "proxied_authorization.h"

#include <gtest/gtest.h>
#include <qldapx.h>

namespace test {

ControlPtr proxyControl(LDAP *ld, const char *text) {
    LDAPControl *control = nullptr;
    spoilSessionCode(ld);
    EXPECT_EQ(ldap_create_proxyauth_control(ld, text, &control), LDAP_SUCCESS);
    EXPECT_EQ(sessionCode(ld), LDAP_SUCCESS);
    return ControlPtr(control);
}

std::string identityWith(LDAP *ld, LDAPControl *control) {
    LDAPControl *controls[] = {control, nullptr};
    berval *identity = nullptr;
    int result = ldap_whoami_s(ld, &identity, control != nullptr ? controls : nullptr, nullptr);
    if (result != LDAP_SUCCESS)
        return "result " + std::to_string(result);
    std::string name(identity->bv_val, identity->bv_len);
    ber_bvfree(identity);
    return name;
}

} // namespace test
