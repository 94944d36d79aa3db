// The request controls: OID, value byte for byte, criticality; and what is refused.
#include "session.h"
#include "support/ber.h"
#include "support/case_name.h"

#include <climits>
#include <qldapx.h>

namespace qldapx_test {
namespace {

// A row of a table: a call in the session ld that stores its control through ctrlp.
#define CALL(expression)                                                                           \
    []([[maybe_unused]] LDAP *ld, [[maybe_unused]] LDAPControl **ctrlp) { return expression; }

using Call = int (*)(LDAP *ld, LDAPControl **ctrlp);

struct CreateCase {
    const char *name;
    const char *oid;
    // The value in hexadecimal; nullptr: the control has none.
    const char *value;
    int criticality;
    Call call;
};

void PrintTo(const CreateCase &row, std::ostream *out) {
    *out << row.name;
}

int createStatus(LDAP *ld, std::initializer_list<int> flags, int isCritical, LDAPControl **ctrlp) {
    std::vector<int> copy(flags);
    return ldap_create_sstatus_control(ld, copy.data(), isCritical, ctrlp);
}

int createRights(LDAP *ld, std::vector<GetEffectiveItem> items, int mode, int isCritical,
                 LDAPControl **ctrlp) {
    std::vector<GetEffectiveItem *> list;
    for (GetEffectiveItem &item : items)
        list.push_back(&item);
    list.push_back(nullptr);
    return ldap_create_geteffective_control(ld, list.data(), mode, isCritical, ctrlp);
}

constexpr char persistent[] = "2.16.840.1.113730.3.4.3";
constexpr char proxy[] = "2.16.840.1.113730.3.4.18";
constexpr char rights[] = "2.16.840.1.907341.1.27.101.33";
constexpr char status[] = "2.16.840.1.907341.1.27.101.40";
constexpr char reference[] = "2.16.840.1.907341.1.1.5150.101.1";

const CreateCase createCases[] = {
    {"PersistentAll", persistent, "30 09 02 01 0f 01 01 ff 01 01 ff", 1,
     CALL(ldap_create_persistentsearch_control(ld, 15, 1, 1, 1, ctrlp))},
    {"PersistentNone", persistent, "30 09 02 01 00 01 01 00 01 01 00", 0,
     CALL(ldap_create_persistentsearch_control(ld, 0, 0, 0, 0, ctrlp))},
    {"PersistentChangesOnly", persistent, "30 09 02 01 01 01 01 ff 01 01 00", 0,
     CALL(ldap_create_persistentsearch_control(ld, 1, 1, 0, 0, ctrlp))},
    {"PersistentWithControls", persistent, "30 09 02 01 08 01 01 00 01 01 ff", 0,
     CALL(ldap_create_persistentsearch_control(ld, 8, 0, 1, 0, ctrlp))},
    // libldap's own function of the name refuses what is above 15.
    {"PersistentUnknownTypes", persistent, "30 0a 02 02 00 80 01 01 ff 01 01 ff", 1,
     CALL(ldap_create_persistentsearch_control(ld, 128, 7, -7, 1, ctrlp))},
    {"PersistentSixteen", persistent, "30 09 02 01 10 01 01 00 01 01 00", 0,
     CALL(ldap_create_persistentsearch_control(ld, 16, 0, 0, 0, ctrlp))},
    {"PersistentLargest", persistent, "30 0c 02 04 7f ff ff ff 01 01 00 01 01 ff", 0,
     CALL(ldap_create_persistentsearch_control(ld, INT_MAX, 0, 256, 0, ctrlp))},
    {"PersistentNegative", persistent, "30 09 02 01 ff 01 01 00 01 01 00", 0,
     CALL(ldap_create_persistentsearch_control(ld, -1, 0, 0, 0, ctrlp))},
    {"PersistentOddCriticality", persistent, "30 09 02 01 01 01 01 00 01 01 00", 127,
     CALL(ldap_create_persistentsearch_control(ld, 1, 0, 0, 127, ctrlp))},
    {"PersistentNegativeCriticality", persistent, "30 09 02 01 01 01 01 00 01 01 00", -1,
     CALL(ldap_create_persistentsearch_control(ld, 1, 0, 0, -1, ctrlp))},

    {"ProxyDn", proxy, "63 6e 3d 61 64 6d 69 6e", 1,
     CALL(ldap_create_proxyauth_control(ld, "cn=admin", ctrlp))},
    {"ProxyEmpty", proxy, "", 1, CALL(ldap_create_proxyauth_control(ld, "", ctrlp))},
    {"ProxyAuthzId", proxy, "64 6e 3a 6f 3d c3 bc", 1,
     CALL(ldap_create_proxyauth_control(ld, "dn:o=\xc3\xbc", ctrlp))},

    {"RightsModeZero", rights, "30 03 80 01 00", 0,
     CALL(ldap_create_geteffective_control(ld, nullptr, 0, 0, ctrlp))},
    {"RightsModeOne", rights, "30 03 80 01 01", 1,
     CALL(ldap_create_geteffective_control(ld, nullptr, 1, 1, ctrlp))},
    {"RightsTwoItems", rights, "30 0b 81 09 80 02 63 6e 81 03 6f 3d 61", 1,
     CALL(createRights(ld, {{"cn", nullptr}, {nullptr, "o=a"}}, 2, 1, ctrlp))},
    {"RightsFirstGoesBeforeSecond", rights, "30 06 81 04 80 02 63 6e", 0,
     CALL(createRights(ld, {{"cn", "o=a"}}, 2, 0, ctrlp))},
    {"RightsNoItems", rights, "30 02 81 00", 0, CALL(createRights(ld, {}, 2, 0, ctrlp))},
    {"RightsEmptyTexts", rights, "30 06 81 04 80 00 81 00", 0,
     CALL(createRights(ld, {{"", nullptr}, {nullptr, ""}}, 3, 0, ctrlp))},
    // The mode is unsigned: a negative one is the list form.
    {"RightsNegativeMode", rights, "30 05 81 03 81 01 78", 0,
     CALL(createRights(ld, {{nullptr, "x"}}, -1, 0, ctrlp))},
    {"RightsModeOfManyBits", rights, "30 05 81 03 80 01 78", 0,
     CALL(createRights(ld, {{"x", nullptr}}, 256, 0, ctrlp))},

    {"StatusAsDocumented", status, "30 12 80 01 ff 81 01 00 82 01 ff 83 01 00 84 01 00 86 01 00", 1,
     CALL(createStatus(ld, {1, 0, 5, 0, 1, 9, 1}, 1, ctrlp))},
    {"StatusNothing", status, "30 00", 0,
     CALL(createStatus(ld, {-1, -1, -1, -1, -1, -1, -1}, 0, ctrlp))},
    {"StatusAllTrue", status,
     "30 15 80 01 ff 81 01 ff 82 01 ff 83 01 ff 84 01 ff 85 01 ff 86 01 ff", 0,
     CALL(createStatus(ld, {1, 1, 1, 1, 1, 1, 1}, 0, ctrlp))},
    {"StatusAllFalse", status,
     "30 15 80 01 00 81 01 00 82 01 00 83 01 00 84 01 00 85 01 00 86 01 00", 0,
     CALL(createStatus(ld, {0, 0, 0, 0, 0, 0, 0}, 0, ctrlp))},
    {"StatusOutOfRange", status, "30 03 82 01 ff", 0,
     CALL(createStatus(ld, {2, -2, -2, 2, 3, INT_MAX, INT_MIN}, 0, ctrlp))},
    {"StatusLastCarryTheSecond", status, "30 0c 83 01 ff 84 01 ff 85 01 ff 86 01 ff", 0,
     CALL(createStatus(ld, {-1, 7, -1, 0, 0, 0, 0}, 0, ctrlp))},
    {"StatusThirdFalse", status, "30 03 82 01 00", 0,
     CALL(createStatus(ld, {-1, -1, 0, -1, -1, -1, -1}, 0, ctrlp))},

    {"Reference", reference, nullptr, 0, CALL(ldap_create_reference_control(ld, 0, ctrlp))},
    {"ReferenceCritical", reference, nullptr, 1, CALL(ldap_create_reference_control(ld, 1, ctrlp))},
};

class CreateTest : public testing::TestWithParam<CreateCase> {};

TEST_P(CreateTest, Ok) {
    Session session;
    LDAPControl *control = nullptr;
    ASSERT_EQ(GetParam().call(session, &control), LDAP_SUCCESS);
    EXPECT_EQ(session.resultCode(), LDAP_SUCCESS);
    ASSERT_NE(control, nullptr);
    EXPECT_STREQ(control->ldctl_oid, GetParam().oid);
    EXPECT_EQ(control->ldctl_iscritical, GetParam().criticality);
    if (GetParam().value == nullptr) {
        EXPECT_EQ(control->ldctl_value.bv_val, nullptr);
        EXPECT_EQ(control->ldctl_value.bv_len, 0U);
    } else {
        ASSERT_NE(control->ldctl_value.bv_val, nullptr);
        EXPECT_EQ(toHex({control->ldctl_value.bv_val, control->ldctl_value.bv_len}),
                  GetParam().value);
    }
    ldap_control_free(control);
}

INSTANTIATE_TEST_SUITE_P(Controls, CreateTest, testing::ValuesIn(createCases),
                         caseName<CreateCase>);

TEST(CreateControl, ProxyValueEndsWithANul) {
    Session session;
    LDAPControl *control = nullptr;
    ASSERT_EQ(ldap_create_proxyauth_control(session, "o=a", &control), LDAP_SUCCESS);
    EXPECT_EQ(control->ldctl_value.bv_val[control->ldctl_value.bv_len], '\0');
    ldap_control_free(control);
}

TEST(CreateControl, LongTexts) {
    Session session;
    const std::string text(70000, 't');
    LDAPControl *control = nullptr;
    ASSERT_EQ(createRights(session, {{text.c_str(), nullptr}}, 2, 0, &control), LDAP_SUCCESS);
    EXPECT_EQ(Bytes(control->ldctl_value.bv_val, control->ldctl_value.bv_len),
              sequence({tlv(0x81, tlv(0x80, text))}));
    ldap_control_free(control);
    ASSERT_EQ(ldap_create_proxyauth_control(session, text.c_str(), &control), LDAP_SUCCESS);
    EXPECT_EQ(Bytes(control->ldctl_value.bv_val, control->ldctl_value.bv_len), text);
    ldap_control_free(control);
}

struct RefusedCase {
    const char *name;
    int result;
    Call call;
};

void PrintTo(const RefusedCase &row, std::ostream *out) {
    *out << row.name;
}

int flags[7] = {1, 1, 1, 1, 1, 1, 1};

const RefusedCase refusedCases[] = {
    {"PersistentWithoutPlace", LDAP_PARAM_ERROR,
     CALL(ldap_create_persistentsearch_control(ld, 1, 1, 1, 1, nullptr))},
    {"ProxyWithoutPlace", LDAP_PARAM_ERROR, CALL(ldap_create_proxyauth_control(ld, "x", nullptr))},
    {"ProxyWithoutDn", LDAP_PARAM_ERROR, CALL(ldap_create_proxyauth_control(ld, nullptr, ctrlp))},
    {"RightsWithoutPlace", LDAP_PARAM_ERROR,
     CALL(ldap_create_geteffective_control(ld, nullptr, 1, 1, nullptr))},
    {"RightsListWithoutItems", LDAP_PARAM_ERROR,
     CALL(ldap_create_geteffective_control(ld, nullptr, 2, 1, ctrlp))},
    {"RightsItemWithoutText", LDAP_ENCODING_ERROR,
     CALL(createRights(ld, {{"cn", nullptr}, {nullptr, nullptr}}, 2, 1, ctrlp))},
    {"StatusWithoutPlace", LDAP_PARAM_ERROR,
     CALL(ldap_create_sstatus_control(ld, flags, 1, nullptr))},
    {"StatusWithoutFlags", LDAP_PARAM_ERROR,
     CALL(ldap_create_sstatus_control(ld, nullptr, 1, ctrlp))},
    {"ReferenceWithoutPlace", LDAP_PARAM_ERROR,
     CALL(ldap_create_reference_control(ld, 1, nullptr))},
};

class RefusedTest : public testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedTest, ErrorsAreStored) {
    Session session;
    LDAPControl untouched{};
    LDAPControl *control = &untouched;
    EXPECT_EQ(GetParam().call(session, &control), GetParam().result);
    EXPECT_EQ(session.resultCode(), GetParam().result);
    EXPECT_EQ(control, &untouched);
}

INSTANTIATE_TEST_SUITE_P(Controls, RefusedTest, testing::ValuesIn(refusedCases),
                         caseName<RefusedCase>);

TEST(CreateControl, ErrorsWithoutASession) {
    LDAPControl untouched{};
    LDAPControl *control = &untouched;
    for (const CreateCase &row : createCases)
        EXPECT_EQ(row.call(nullptr, &control), LDAP_PARAM_ERROR) << row.name;
    for (const RefusedCase &row : refusedCases)
        EXPECT_EQ(row.call(nullptr, &control), LDAP_PARAM_ERROR) << row.name;
    EXPECT_EQ(control, &untouched);
}

} // namespace
} // namespace qldapx_test
