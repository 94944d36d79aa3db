#include "sasl_bind.h"

#include "support/expected_leak.h"

#include <gtest/gtest.h>

namespace test {

DigestBind::DigestBind(LDAP *ld) {
    EXPECT_EQ(ldap_bind_digest_md5_start(ld, &context_), LDAP_SUCCESS);
    EXPECT_TRUE(isHeld());
}

std::vector<std::string> DigestBind::realms() const {
    char **realms = nullptr, **again = nullptr;
    EXPECT_EQ(ldap_get_digest_md5_realms(context_, &realms), LDAP_SUCCESS);
    EXPECT_EQ(ldap_get_digest_md5_realms(context_, &again), LDAP_SUCCESS);
    EXPECT_EQ(again, realms);
    std::vector<std::string> texts;
    for (char **realm = realms; realm != nullptr && *realm != nullptr; ++realm)
        texts.emplace_back(*realm);
    return texts;
}

int DigestBind::finish(const DigestAnswer &answer) {
    return ldap_bind_digest_md5_finish(&context_, answer.user, answer.password, answer.length,
                                       answer.realm, answer.mode);
}

int DigestBind::finish(const std::string &user, const std::string &password) {
    return finish({.user = user.c_str(), .password = password.c_str()});
}

int digestBind(LDAP *ld, const std::string &user, const std::string &password) {
    DigestBind bind(ld);
    int result = bind.finish(user, password);
    EXPECT_FALSE(bind.isHeld());
    return result;
}

int finishWithoutRealm(LDAP *ld, const DigestAnswer &answer) {
    qldapx_test::ExpectedLeak realm;
    DigestBind bind(ld);
    int result = bind.finish(answer);
    EXPECT_FALSE(bind.isHeld());
    return result;
}

} // namespace test
