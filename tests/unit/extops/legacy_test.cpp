// The entry points of the modular authentication: there, and never available.
#include "extops/request_case.h"

namespace qldapx_test {
namespace {

const SilentCase cases[] = {
    {"Bind", LDAP_NOT_SUPPORTED, CALL(ldap_bind_quill_s(ld, "o=a", "secret"))},
    {"BindWithSequence", LDAP_NOT_SUPPORTED, CALL(ldap_bind_quill_ex_s(ld, "o=a", "secret", "s"))},
    {"BindWithNulls", LDAP_NOT_SUPPORTED,
     CALL((void(ld), ldap_bind_quill_s(nullptr, nullptr, nullptr)))},
    {"BindWithSequenceOfNulls", LDAP_NOT_SUPPORTED,
     CALL((void(ld), ldap_bind_quill_ex_s(nullptr, nullptr, nullptr, nullptr)))},
    {"ErrorCodeWithNulls", LDAP_NOT_SUPPORTED,
     CALL((void(ld), ldap_quill_get_errcode(nullptr, nullptr)))},
};
INSTANTIATE_TEST_SUITE_P(Legacy, SilentTest, testing::ValuesIn(cases), caseName<SilentCase>);

TEST(Legacy, ErrorCodeTouchesNothing) {
    ScriptedPeer peer({});
    int code = 4711;
    EXPECT_EQ(ldap_quill_get_errcode(peer.session(), &code), LDAP_NOT_SUPPORTED);
    EXPECT_EQ(code, 4711);
    EXPECT_TRUE(peer.received().empty());
}

} // namespace
} // namespace qldapx_test
