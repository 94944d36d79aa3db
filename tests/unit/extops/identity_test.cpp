// Identity, privileges and name conversion: sizes, bounds and hostile counts.
#include "extops/request_case.h"

#include <algorithm>
#include <array>
#include <climits>

namespace qldapx_test {
namespace {

char *twoAttributes[] = {arg("cn"), arg("sn"), nullptr};
char *noAttributes[] = {nullptr};

int askList(LDAP *ld, char *dn, char *trustee, char **attributes) {
    int privileges[2];
    return ldap_get_effective_privileges_list(ld, dn, trustee, attributes, privileges);
}

int convert(LDAP *ld, std::initializer_list<unsigned short> name) {
    char *ldapName = nullptr;
    return ldap_kora_to_ldap(ld, name.begin(), &ldapName);
}

const RequestCase requests[] = {
    {"KoraEmpty", 1, "04 02 00 00", CALL(convert(ld, {0}))},
    {"KoraOneUnit", 1, "04 04 00 41 00 00", CALL(convert(ld, {0x41, 0}))},
    {"KoraBothBytes", 1, "04 06 12 34 ff fe 00 00", CALL(convert(ld, {0x1234, 0xfffe, 0}))},
    {"KoraSurrogatePair", 1, "04 06 d8 3d de 00 00 00", CALL(convert(ld, {0xd83d, 0xde00, 0}))},
    {"KoraHighByteOnly", 1, "04 04 41 00 00 00", CALL(convert(ld, {0x4100, 0}))},
    {"KoraEndsAtTheFirstZero", 1, "04 04 00 41 00 00", CALL(convert(ld, {0x41, 0, 0x42, 0}))},
    {"ListWithoutAttributes", 103, "04 01 64 04 01 74 30 84 00 00 00 00",
     CALL(askList(ld, arg("d"), arg("t"), noAttributes))},
    {"ListWithEmptyNames", 103, "04 00 04 00 30 84 00 00 00 08 04 02 63 6e 04 02 73 6e",
     CALL(askList(ld, arg(""), arg(""), twoAttributes))},
    {"PrivilegesOfEmptyNames", 33, "04 00 04 00 04 00",
     [](LDAP *ld) {
         int privileges = 0;
         return ldap_get_effective_privileges(ld, arg(""), arg(""), arg(""), &privileges);
     }},
    {"EmptyDnsName", 101, "04 00",
     [](LDAP *ld) {
         char *dn = nullptr;
         return ldap_dns_to_x500_dn(ld, arg(""), &dn);
     }},
};
INSTANTIATE_TEST_SUITE_P(Identity, RequestTest, testing::ValuesIn(requests), caseName<RequestCase>);

int boundedWith(LDAP *ld, char **attributes, int *privileges, int capacity, int *count) {
    return ldapx_get_effective_privileges_list(ld, arg("d"), arg("t"), attributes, privileges,
                                               capacity, count);
}

int slots[2];
int slotCount;

const SilentCase refused[] = {
    {"ListWithoutDn", LDAP_PARAM_ERROR, CALL(askList(ld, nullptr, arg("t"), twoAttributes))},
    {"ListWithoutTrustee", LDAP_PARAM_ERROR, CALL(askList(ld, arg("d"), nullptr, twoAttributes))},
    {"ListWithoutAttributeList", LDAP_PARAM_ERROR, CALL(askList(ld, arg("d"), arg("t"), nullptr))},
    {"ListWithoutOutput", LDAP_PARAM_ERROR,
     CALL(ldap_get_effective_privileges_list(ld, arg("d"), arg("t"), twoAttributes, nullptr))},
    {"BoundedWithoutDn", LDAP_PARAM_ERROR,
     CALL(ldapx_get_effective_privileges_list(ld, nullptr, arg("t"), twoAttributes, slots, 2,
                                              &slotCount))},
    {"BoundedWithoutTrustee", LDAP_PARAM_ERROR,
     CALL(ldapx_get_effective_privileges_list(ld, arg("d"), nullptr, twoAttributes, slots, 2,
                                              &slotCount))},
    {"BoundedWithoutAttributeList", LDAP_PARAM_ERROR,
     CALL(boundedWith(ld, nullptr, slots, 2, &slotCount))},
    {"BoundedWithoutOutput", LDAP_PARAM_ERROR,
     CALL(boundedWith(ld, twoAttributes, nullptr, 2, &slotCount))},
    {"BoundedWithoutCount", LDAP_PARAM_ERROR,
     CALL(boundedWith(ld, twoAttributes, slots, 2, nullptr))},
    {"BoundedByLessThanNothing", LDAP_PARAM_ERROR,
     CALL(boundedWith(ld, twoAttributes, slots, -1, &slotCount))},
};
INSTANTIATE_TEST_SUITE_P(Identity, SilentTest, testing::ValuesIn(refused), caseName<SilentCase>);

// --- strings ---------------------------------------------------------------------------------

struct StringOperation {
    const char *name;
    int response;
    int (*call)(LDAP *ld, char **out);
    // Whether long names are cut.
    bool capped;
};

const StringOperation stringOperations[] = {
    {"BindDn", 32, ldap_get_bind_dn, true},
    {"ContextIdentityName", 32, ldap_get_context_identity_name, true},
    {"KoraName", 2,
     [](LDAP *ld, char **out) {
         const unsigned short name[] = {'A', 0};
         return ldap_kora_to_ldap(ld, name, out);
     },
     false},
    {"DnsName", 102, [](LDAP *ld, char **out) { return ldap_dns_to_x500_dn(ld, arg("a.b"), out); },
     false},
};

std::ostream &operator<<(std::ostream &stream, const StringOperation &row) {
    return stream << row.name;
}

class StringTest : public testing::TestWithParam<StringOperation> {
  protected:
    static int call(const ScriptedPeer::Step &step, char **out) {
        ScriptedPeer peer({step});
        return GetParam().call(peer.session(), out);
    }

    // What is handed out for these bytes, and the NUL after it.
    static Bytes converted(const Bytes &bytes, std::size_t expectedSize) {
        char *out = nullptr;
        EXPECT_EQ(call(success(GetParam().response, octetString(bytes)), &out), LDAP_SUCCESS);
        if (out == nullptr)
            return "NULL";
        Bytes got(out, expectedSize + 1);
        ldapx_memfree(out);
        return got;
    }

    static constexpr char untouched[] = "untouched";
};

TEST_P(StringTest, OkInEverySize) {
    for (std::size_t size : {0U, 1U, 127U, 128U, 769U, 770U, 771U, 772U, 773U, 5000U}) {
        SCOPED_TRACE(size);
        Bytes name;
        while (name.size() < size)
            name += static_cast<char>('a' + name.size() % 23);
        std::size_t expected = GetParam().capped && size >= 772 ? 770 : size;
        EXPECT_EQ(converted(name, expected), name.substr(0, expected) + '\0');
    }
}

TEST_P(StringTest, OkWithNulInside) {
    const Bytes name("cn\0=\0a", 6);
    EXPECT_EQ(converted(name, name.size()), name + '\0');
}

TEST_P(StringTest, OkWithTextAfterTheString) {
    char *out = nullptr;
    EXPECT_EQ(call(success(GetParam().response, octetString("o=a") + octetString("b")), &out),
              LDAP_SUCCESS);
    EXPECT_STREQ(out, "o=a");
    ldapx_memfree(out);
}

TEST_P(StringTest, FailuresLeaveTheOutputAlone) {
    const int code = GetParam().response;
    for (const ScriptedPeer::Step &step :
         {success(code), success(code, ""), success(code, integer(1)), success(code, tlv(0x05, "")),
          success(code, sequence({octetString("o=a")})), success(code, tlv(0x0c, "o=a")),
          success(code, tlv(0x24, octetString("o=a"))), success(code, fromHex("04 04 6f 3d 61")),
          success(code, fromHex("04 84 ff ff ff ff 61")), success(99, octetString("o=a")),
          ScriptedPeer::answer(extendedResponse(LDAP_BUSY, operationOid(code), octetString("o"))),
          ScriptedPeer::closeConnection()}) {
        char *out = const_cast<char *>(untouched);
        EXPECT_NE(call(step, &out), LDAP_SUCCESS);
        EXPECT_EQ(out, untouched);
    }
}

INSTANTIATE_TEST_SUITE_P(Identity, StringTest, testing::ValuesIn(stringOperations),
                         caseName<StringOperation>);

TEST(Kora, OkWithALongName) {
    std::vector<unsigned short> name(70000, 0x263a);
    name.push_back(0);
    Bytes units;
    for (int unit = 0; unit < 70000; ++unit)
        units += "\x26\x3a";
    ScriptedPeer peer({success(2, octetString("cn=a"))});
    char *out = nullptr;
    EXPECT_EQ(ldap_kora_to_ldap(peer.session(), name.data(), &out), LDAP_SUCCESS);
    ldapx_memfree(out);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(
        peer.received()[0],
        ldapMessage(1, extendedRequest(operationOid(1), octetString(units + Bytes("\0\0", 2)))));
}

// --- privileges ------------------------------------------------------------------------------

struct PrivilegeCase {
    const char *name;
    const char *value;
    int result;
    // The slots that are written; all others must keep the canary.
    std::vector<int> slots;
};

constexpr int canary = 0x5a5a5a5a;

const PrivilegeCase privilegeCases[] = {
    {"None", "30 07 30 03 02 01 00 31 00", LDAP_SUCCESS, {}},
    {"NegativeCount", "30 0c 30 03 02 01 ff 31 05 30 03 02 01 03", LDAP_SUCCESS, {}},
    {"SmallestCount", "30 0f 30 06 02 04 80 00 00 00 31 05 30 03 02 01 03", LDAP_SUCCESS, {}},
    {"One", "30 0c 30 03 02 01 01 31 05 30 03 02 01 03", LDAP_SUCCESS, {3}},
    {"FewerThanThereAre",
     "30 11 30 03 02 01 01 31 0a 30 03 02 01 03 30 03 02 01 06",
     LDAP_SUCCESS,
     {3}},
    {"Extremes",
     "30 17 30 03 02 01 02 31 10 30 06 02 04 80 00 00 00 30 06 02 04 7f ff ff ff",
     LDAP_SUCCESS,
     {INT_MIN, INT_MAX}},
    {"LongLengths",
     "30 84 00 00 00 18 30 84 00 00 00 03 02 01 01 31 84 00 00 00 09 30 84 00 00 00 03 02 01 05",
     LDAP_SUCCESS,
     {5}},
    {"CountBeyondTheElements",
     "30 11 30 03 02 01 03 31 0a 30 03 02 01 03 30 03 02 01 06",
     LDAP_ENCODING_ERROR,
     {3, 6, 0}},
    {"LargestCount",
     "30 14 30 06 02 04 7f ff ff ff 31 0a 30 03 02 01 03 30 03 02 01 06",
     LDAP_ENCODING_ERROR,
     {3, 6, 0}},
    {"NoElements", "30 07 30 03 02 01 02 31 00", LDAP_ENCODING_ERROR, {0}},
    {"SecondElementIsNoInteger",
     "30 11 30 03 02 01 02 31 0a 30 03 02 01 03 30 03 04 01 06",
     LDAP_ENCODING_ERROR,
     {3, 0}},
    {"SecondElementIsBare",
     "30 0f 30 03 02 01 02 31 08 30 03 02 01 03 02 01 06",
     LDAP_ENCODING_ERROR,
     {3, 0}},
    {"ElementOfFiveBytes",
     "30 10 30 03 02 01 01 31 09 30 07 02 05 00 00 00 00 03",
     LDAP_ENCODING_ERROR,
     {0}},
    {"EmptyElement", "30 09 30 03 02 01 01 31 02 30 00", LDAP_ENCODING_ERROR, {0}},
    {"CountOfFiveBytes",
     "30 10 30 07 02 05 00 00 00 00 01 31 05 30 03 02 01 03",
     LDAP_ENCODING_ERROR,
     {}},
    {"CountIsNoInteger", "30 0c 30 03 04 01 01 31 05 30 03 02 01 03", LDAP_ENCODING_ERROR, {}},
    {"WithoutOuterSequence", "30 03 02 01 01 31 05 30 03 02 01 03", LDAP_ENCODING_ERROR, {}},
    {"WithoutCountSequence", "30 0a 02 01 01 31 05 30 03 02 01 03", LDAP_ENCODING_ERROR, {}},
    {"WithoutSet", "30 05 30 03 02 01 00", LDAP_ENCODING_ERROR, {}},
    {"SequenceInsteadOfSet", "30 0c 30 03 02 01 01 30 05 30 03 02 01 03", LDAP_ENCODING_ERROR, {}},
    {"Empty", "", LDAP_ENCODING_ERROR, {}},
    {"EmptySequence", "30 00", LDAP_ENCODING_ERROR, {}},
    {"EmptyCountSequence", "30 04 30 00 31 00", LDAP_ENCODING_ERROR, {}},
    {"Integer", "02 01 01", LDAP_ENCODING_ERROR, {}},
    {"Null", "05 00", LDAP_ENCODING_ERROR, {}},
};

std::ostream &operator<<(std::ostream &stream, const PrivilegeCase &row) {
    return stream << row.name;
}

class PrivilegeListTest : public testing::TestWithParam<PrivilegeCase> {
  protected:
    PrivilegeListTest() { slots_.fill(canary); }

    void expectSlots(const std::vector<int> &expected) const {
        std::array<int, 32> all;
        all.fill(canary);
        std::ranges::copy(expected, all.begin());
        EXPECT_EQ(slots_, all);
    }

    static ScriptedPeer::Step step() { return success(104, fromHex(GetParam().value)); }

    std::array<int, 32> slots_;
};

TEST_P(PrivilegeListTest, Unbounded) {
    ScriptedPeer peer({step()});
    EXPECT_EQ(ldap_get_effective_privileges_list(peer.session(), arg("d"), arg("t"), twoAttributes,
                                                 slots_.data()),
              GetParam().result);
    expectSlots(GetParam().slots);
}

// With as much room as the answer asks for, the bounded form does the same.
TEST_P(PrivilegeListTest, BoundedByTheLargestNumber) {
    ScriptedPeer peer({step()});
    int count = canary;
    EXPECT_EQ(boundedWith(peer.session(), twoAttributes, slots_.data(), INT_MAX, &count),
              GetParam().result);
    expectSlots(GetParam().slots);
    EXPECT_EQ(count, static_cast<int>(GetParam().slots.size()));
}

INSTANTIATE_TEST_SUITE_P(Identity, PrivilegeListTest, testing::ValuesIn(privilegeCases),
                         caseName<PrivilegeCase>);

struct BoundCase {
    const char *name;
    int stated;
    int capacity;
    int result;
    int count;
};

// Answers of two elements that state so many.
const BoundCase boundCases[] = {
    {"Exactly", 2, 2, LDAP_SUCCESS, 2},
    {"RoomToSpare", 2, 3, LDAP_SUCCESS, 2},
    {"OneTooMany", 2, 1, LDAP_ENCODING_ERROR, 0},
    {"NoRoom", 2, 0, LDAP_ENCODING_ERROR, 0},
    {"NoRoomNeeded", 0, 0, LDAP_SUCCESS, 0},
    {"NegativeAndNoRoom", -1, 0, LDAP_SUCCESS, 0},
    {"LargestCount", INT_MAX, 2, LDAP_ENCODING_ERROR, 0},
    {"MoreThanThereAre", 3, 3, LDAP_ENCODING_ERROR, 3},
};

std::ostream &operator<<(std::ostream &stream, const BoundCase &row) {
    return stream << row.name;
}

class BoundTest : public testing::TestWithParam<BoundCase> {};

TEST_P(BoundTest, NeverWritesPastTheArray) {
    ScriptedPeer peer(
        {success(104, sequence({sequence({integer(GetParam().stated)}),
                                set({sequence({integer(3)}), sequence({integer(6)})})}))});
    std::array<int, 5> privileges;
    privileges.fill(canary);
    int count = canary;
    EXPECT_EQ(
        boundedWith(peer.session(), twoAttributes, privileges.data(), GetParam().capacity, &count),
        GetParam().result);
    EXPECT_EQ(count, GetParam().count);
    std::array<int, 5> expected{3, 6, 0, canary, canary};
    std::fill(expected.begin() + GetParam().count, expected.end(), canary);
    EXPECT_EQ(privileges, expected);
}

INSTANTIATE_TEST_SUITE_P(Identity, BoundTest, testing::ValuesIn(boundCases), caseName<BoundCase>);

TEST(Bounded, CountIsZeroAfterEarlierFailures) {
    for (const ScriptedPeer::Step &step :
         {success(104), success(33, "x"), ScriptedPeer::closeConnection()}) {
        ScriptedPeer peer({step});
        int count = canary;
        int privileges[2] = {canary, canary};
        EXPECT_NE(boundedWith(peer.session(), twoAttributes, privileges, 2, &count), LDAP_SUCCESS);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(privileges[0], canary);
    }
}

} // namespace
} // namespace qldapx_test
