// What an answer to operations gives when libldap cannot parse it: the codes that are passed on,
// and the one that is not. libldap's own function stands aside here.
#include <gtest/gtest.h>
#include <qldapx.h>

namespace {

int parseResult = LDAP_SUCCESS;
int extendedResult = LDAP_SUCCESS;

} // namespace

extern "C" {

int ldap_parse_result(LDAP *, LDAPMessage *, int *, char **, char **, char ***, LDAPControl ***,
                      int) {
    return parseResult;
}

int ldap_parse_extended_result(LDAP *, LDAPMessage *, char **oid, berval **value, int) {
    *oid = ber_strdup("2.16.840.1.907341.1.142.100.7");
    *value = nullptr;
    return extendedResult;
}
}

namespace {

struct Mapping {
    int libldap;
    int result;
};

const Mapping mappings[] = {
    {LDAP_SUCCESS, LDAP_SUCCESS},
    {LDAP_SERVER_DOWN, LDAP_SERVER_DOWN},
    {LDAP_DECODING_ERROR, LDAP_DECODING_ERROR},
    {LDAP_NO_MEMORY, LDAP_NO_MEMORY},
    {LDAP_BUSY, LDAP_BUSY},
    {LDAP_OTHER, LDAP_SUCCESS},
    {LDAP_OTHER + 1, LDAP_OTHER + 1},
};

class MappingTest : public testing::TestWithParam<Mapping> {
  protected:
    void SetUp() override { ASSERT_EQ(ldap_initialize(&ld_, nullptr), LDAP_SUCCESS); }
    void TearDown() override {
        parseResult = extendedResult = LDAP_SUCCESS;
        ldap_unbind_ext_s(ld_, nullptr, nullptr);
    }
    void expectMapped() {
        int count = -1, code = -1, stored = -1;
        auto *failures = reinterpret_cast<LBURPOperationFailure *>(1);
        EXPECT_EQ(
            ldap_parse_lburp_operation_response(ld_, nullptr, &code, nullptr, &count, &failures, 0),
            GetParam().result);
        ldap_get_option(ld_, LDAP_OPT_RESULT_CODE, &stored);
        EXPECT_EQ(stored, GetParam().result);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(failures, nullptr);
    }

    LDAP *ld_ = nullptr;
};

TEST_P(MappingTest, OfTheResult) {
    parseResult = GetParam().libldap;
    expectMapped();
}

TEST_P(MappingTest, OfTheExtendedPart) {
    extendedResult = GetParam().libldap;
    expectMapped();
}

INSTANTIATE_TEST_SUITE_P(Lburp, MappingTest, testing::ValuesIn(mappings));

} // namespace
