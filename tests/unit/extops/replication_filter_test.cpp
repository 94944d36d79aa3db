// The replication filter: its text against its form on the wire, in both directions.
#include "extops/request_case.h"

#include <algorithm>

namespace qldapx_test {
namespace {

// liblber writes the SEQUENCEs of these requests with lengths of four bytes.
const RequestCase requests[] = {
    {"Empty", 35, "04 01 53 30 84 00 00 00 00",
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("$")))},
    {"TwoGroups", 35,
     "04 01 53 30 84 00 00 00 27"
     " 30 84 00 00 00 0f 04 01 41 30 84 00 00 00 06 04 01 78 04 01 79"
     " 30 84 00 00 00 0c 04 01 42 30 84 00 00 00 03 04 01 7a",
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$x$y$$B$z$$$")))},
    {"ClassWithoutAttributes", 35,
     "04 01 53 30 84 00 00 00 0f 30 84 00 00 00 09 04 01 41 30 84 00 00 00 00",
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$$$")))},
    {"TextAfterTheEndIsIgnored", 35,
     "04 01 53 30 84 00 00 00 0f 30 84 00 00 00 09 04 01 41 30 84 00 00 00 00",
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$$$B$z$$$")))},
    {"UnfinishedTextAfterTheEndIsIgnored", 35, "04 01 53 30 84 00 00 00 00",
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("$A$x")))},
    {"EmptyServer", 35, "04 00 30 84 00 00 00 00",
     CALL(ldap_set_replication_filter(ld, arg(""), arg("$")))},
    {"LongNames", 35,
     "04 01 53 30 84 00 00 00 1a 30 84 00 00 00 14 04 05 63 6c 61 73 73"
     " 30 84 00 00 00 07 04 05 61 74 74 72 31",
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("class$attr1$$$")))},
    {"ReadOfEmptyServer", 37, "04 00",
     [](LDAP *ld) {
         char *filter = nullptr;
         return ldap_get_replication_filter(ld, arg(""), &filter);
     }},
};
INSTANTIATE_TEST_SUITE_P(ReplicationFilter, RequestTest, testing::ValuesIn(requests),
                         caseName<RequestCase>);

const SilentCase refused[] = {
    {"AttributeWithoutEnd", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$x")))},
    {"Nothing", LDAP_PARAM_ERROR, CALL(ldap_set_replication_filter(ld, arg("S"), arg("")))},
    {"ClassWithoutEnd", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A")))},
    {"ClassAndNothing", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$")))},
    {"FilterWithoutEnd", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$$")))},
    {"GroupWithoutEnd", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$x$")))},
    {"FilterOfTwoWithoutEnd", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$x$$B$z$$")))},
    {"SetWithoutServer", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, nullptr, arg("$")))},
    {"SetWithoutFilter", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, arg("S"), nullptr))},
    {"ReadWithoutServer", LDAP_PARAM_ERROR,
     [](LDAP *ld) {
         char *filter = nullptr;
         return ldap_get_replication_filter(ld, nullptr, &filter);
     }},
    {"ReadWithoutFilter", LDAP_PARAM_ERROR,
     CALL(ldap_get_replication_filter(ld, arg("S"), nullptr))},
};
INSTANTIATE_TEST_SUITE_P(ReplicationFilter, SilentTest, testing::ValuesIn(refused),
                         caseName<SilentCase>);

// The setter shows its text unchanged to its caller afterwards.
TEST(ReplicationFilter, SetLeavesTheTextAlone) {
    char text[] = "A$x$y$$B$z$$$";
    ScriptedPeer peer({success(36)});
    EXPECT_EQ(ldap_set_replication_filter(peer.session(), arg("S"), text), LDAP_SUCCESS);
    EXPECT_STREQ(text, "A$x$y$$B$z$$$");
}

char untouched[] = "untouched";

struct Read {
    int result;
    // "NULL" for a null pointer, "untouched" when nothing was stored.
    std::string filter;
};

Read readFilter(const Bytes &response) {
    ScriptedPeer peer({ScriptedPeer::answer(response)});
    char *filter = untouched;
    Read read{ldap_get_replication_filter(peer.session(), arg("S"), &filter), "NULL"};
    if (filter != nullptr)
        read.filter = filter;
    if (filter != untouched)
        ldapx_memfree(filter);
    return read;
}

Read readValue(const Bytes &value) {
    return readFilter(extendedResponse(0, operationOid(38), value));
}

struct ReadCase {
    const char *name;
    const char *value;
    // nullptr: the value is damaged.
    const char *filter;
};

const ReadCase readCases[] = {
    {"TwoGroups", "30 17 30 0b 04 01 41 30 06 04 01 78 04 01 79 30 08 04 01 42 30 03 04 01 7a",
     "A$x$y$$B$z$$$"},
    {"Empty", "30 00", "$"},
    {"ClassWithoutAttributes", "30 07 30 05 04 01 41 30 00", "A$$$"},
    {"EmptyNames", "30 08 30 06 04 00 30 02 04 00", "$$$$"},
    {"LongLengths", "30 84 00 00 00 14 30 82 00 10 04 84 00 00 00 01 41 30 84 00 00 00 03 04 01 78",
     "A$x$$$"},
    {"NothingAtAll", "", nullptr},
    {"OctetString", "04 02 30 00", nullptr},
    {"Set", "31 00", nullptr},
    {"GroupAsSet", "30 07 31 05 04 01 41 30 00", nullptr},
    {"AttributesAsSet", "30 07 30 05 04 01 41 31 00", nullptr},
    {"ClassAsUtf8String", "30 07 30 05 0c 01 41 30 00", nullptr},
    {"AttributeAsUtf8String", "30 0a 30 08 04 01 41 30 03 0c 01 78", nullptr},
    {"ClassAsSequence", "30 06 30 04 30 00 30 00", nullptr},
    {"GroupWithoutClass", "30 04 30 02 30 00", nullptr},
    {"EmptyGroup", "30 02 30 00", nullptr},
    {"GroupWithoutAttributeList", "30 05 30 03 04 01 41", nullptr},
    {"NamesWithoutGroup", "30 05 04 01 41 30 00", nullptr},
    {"TextAfterTheFilter", "30 07 30 05 04 01 41 30 00 00", nullptr},
    {"FilterAfterTheFilter", "30 00 30 00", nullptr},
    {"TextAfterTheAttributeList", "30 0a 30 08 04 01 41 30 00 04 01 78", nullptr},
    {"TextAfterTheGroups", "30 0a 30 05 04 01 41 30 00 04 01 78", nullptr},
    {"ClassWithSeparator", "30 08 30 06 04 02 41 24 30 00", nullptr},
    {"AttributeWithSeparator", "30 0a 30 08 04 01 41 30 03 04 01 24", nullptr},
    {"ClassWithNul", "30 08 30 06 04 02 41 00 30 00", nullptr},
    {"AttributeWithNulInside", "30 0c 30 0a 04 01 41 30 05 04 03 78 00 79", nullptr},
    {"AttributesOverrunTheGroup", "30 0a 30 05 04 01 41 30 03 04 01 78", nullptr},
    {"AttributeOverrunsTheList", "30 0a 30 08 04 01 41 30 02 04 01 78", nullptr},
    {"ClassOverrunsTheGroup", "30 07 30 02 04 01 41 30 00", nullptr},
    {"GroupOverrunsTheFilter", "30 05 30 05 04 01 41 30 00", nullptr},
    {"FilterBeyondTheEnd", "30 08 30 05 04 01 41 30 00", nullptr},
    {"HugeFilter", "30 84 ff ff ff ff 30 00", nullptr},
    {"HugeName", "30 0b 30 09 04 84 7f ff ff ff 41 30 00", nullptr},
    {"LengthOfEightBytes", "30 88 ff ff ff ff ff ff ff ff", nullptr},
    {"IndefiniteLength", "30 80 00 00", nullptr},
};

std::ostream &operator<<(std::ostream &stream, const ReadCase &row) {
    return stream << row.name;
}

class FilterReadTest : public testing::TestWithParam<ReadCase> {};

TEST_P(FilterReadTest, Decodes) {
    bool damaged = GetParam().filter == nullptr;
    Read read = readValue(fromHex(GetParam().value));
    EXPECT_EQ(read.result, damaged ? LDAP_DECODING_ERROR : LDAP_SUCCESS);
    EXPECT_EQ(read.filter, damaged ? "NULL" : GetParam().filter);
}

INSTANTIATE_TEST_SUITE_P(ReplicationFilter, FilterReadTest, testing::ValuesIn(readCases),
                         caseName<ReadCase>);

Bytes twoGroups() {
    return sequence(
        {sequence({octetString("Person"), sequence({octetString("cn"), octetString("sn")})}),
         sequence({octetString("Group"), sequence({octetString("member")})})});
}

constexpr const char *twoGroupsText = "Person$cn$sn$$Group$member$$$";

TEST(ReplicationFilter, AnyResponseOidIsAccepted) {
    for (const char *oid :
         {"2.16.840.1.907341.1.27.100.38", "2.16.840.1.907341.1.27.100.37", "1.2", "nonsense"}) {
        Read read = readFilter(extendedResponse(0, oid, twoGroups()));
        EXPECT_EQ(read.result, LDAP_SUCCESS) << oid;
        EXPECT_EQ(read.filter, twoGroupsText);
    }
}

TEST(ReplicationFilter, EarlierFailuresLeaveTheOutputAlone) {
    Read read = readFilter(extendedResponse(0, std::nullopt, twoGroups()));
    EXPECT_EQ(read.result, LDAP_NOT_SUPPORTED);
    EXPECT_EQ(read.filter, untouched);
    read = readFilter(extendedResponse(0, operationOid(38), std::nullopt));
    EXPECT_EQ(read.result, LDAP_OPERATIONS_ERROR);
    EXPECT_EQ(read.filter, untouched);
    read = readFilter(extendedResponse(LDAP_BUSY, operationOid(38), twoGroups()));
    EXPECT_EQ(read.result, LDAP_BUSY);
    EXPECT_EQ(read.filter, untouched);
}

// Callers write back what they have read, so damage must not read as a filter of another shape:
// a byte of a name may become another one, nothing else.
void expectDamageSeen(const Bytes &damaged) {
    SCOPED_TRACE(toHex(damaged));
    Read read = readValue(damaged);
    if (read.result != LDAP_SUCCESS) {
        EXPECT_EQ(read.result, LDAP_DECODING_ERROR);
        EXPECT_EQ(read.filter, "NULL");
        return;
    }
    const std::string original = twoGroupsText;
    ASSERT_EQ(read.filter.size(), original.size());
    for (std::size_t i = 0; i < original.size(); ++i)
        EXPECT_EQ(read.filter[i] == '$', original[i] == '$');
}

TEST(ReplicationFilter, MalformedByEveryByte) {
    const Bytes value = twoGroups();
    for (std::size_t at = 0; at < value.size(); ++at)
        for (int other : {0x00, 0x01, 0x04, 0x24, 0x30, 0x7f, 0x80, 0x84, 0xff}) {
            Bytes damaged = value;
            damaged[at] = static_cast<char>(other);
            expectDamageSeen(damaged);
        }
}

TEST(ReplicationFilter, MalformedByEveryLengthOneOff) {
    const Bytes value = twoGroups();
    for (std::size_t at = 0; at < value.size(); ++at)
        for (int step : {-1, 1}) {
            Bytes damaged = value;
            damaged[at] = static_cast<char>(damaged[at] + step);
            expectDamageSeen(damaged);
        }
}

TEST(ReplicationFilter, MalformedByAMissingByte) {
    const Bytes value = twoGroups();
    for (std::size_t at = 0; at < value.size(); ++at) {
        Bytes damaged = value;
        damaged.erase(at, 1);
        SCOPED_TRACE(at);
        EXPECT_EQ(readValue(damaged).result, LDAP_DECODING_ERROR);
    }
}

TEST(ReplicationFilter, OkWithWideLengths) {
    Read read = readValue(
        wideSequence({wideSequence({octetString("Person"), wideSequence({octetString("cn")})})}));
    EXPECT_EQ(read.result, LDAP_SUCCESS);
    EXPECT_EQ(read.filter, "Person$cn$$$");
}

TEST(ReplicationFilter, OkWithManyGroups) {
    Bytes groups;
    std::string expected;
    for (int number = 0; number < 3000; ++number) {
        std::string name = "c" + std::to_string(number);
        groups += sequence({octetString(name), sequence({octetString("a"), octetString("")})});
        expected += name + "$a$$$";
    }
    Read read = readValue(sequence({groups}));
    EXPECT_EQ(read.result, LDAP_SUCCESS);
    EXPECT_EQ(read.filter, expected + "$");
}

// Depth is not followed: a name is never opened, however deep it nests.
TEST(ReplicationFilter, MalformedByDepth) {
    Bytes value;
    for (int depth = 0; depth < 20000; ++depth)
        value = tlv(0x30, value);
    EXPECT_EQ(readValue(value).result, LDAP_DECODING_ERROR);
}

// What was read is what can be written.
TEST(ReplicationFilter, ReadAndWrittenBack) {
    Read read = readValue(twoGroups());
    ScriptedPeer peer({success(36)});
    EXPECT_EQ(ldap_set_replication_filter(peer.session(), arg("S"), read.filter.data()),
              LDAP_SUCCESS);
    ASSERT_EQ(peer.received().size(), 1U);
    Bytes filter =
        wideSequence({wideSequence({octetString("Person"),
                                    wideSequence({octetString("cn"), octetString("sn")})}),
                      wideSequence({octetString("Group"), wideSequence({octetString("member")})})});
    EXPECT_EQ(toHex(peer.received()[0]),
              toHex(ldapMessage(1, extendedRequest(operationOid(35), octetString("S") + filter))));
}

} // namespace
} // namespace qldapx_test
