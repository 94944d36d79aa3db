// Partition operations: what the values of their arguments look like on the wire.
#include "extops/request_case.h"

#include <climits>

namespace qldapx_test {
namespace {

// The request values of "is" operations: the flags come first, whatever their value.
const RequestCase flagsCases[] = {
    {"Zero", 3, "02 01 00 04 01 64", CALL(ldap_split_partition(ld, arg("d"), 0))},
    {"One", 3, "02 01 01 04 01 64", CALL(ldap_split_partition(ld, arg("d"), 1))},
    {"MinusOne", 3, "02 01 ff 04 01 64", CALL(ldap_split_partition(ld, arg("d"), -1))},
    {"OneByte", 5, "02 01 7f 04 01 64", CALL(ldap_merge_partitions(ld, arg("d"), 127))},
    {"SignByte", 5, "02 02 00 80 04 01 64", CALL(ldap_merge_partitions(ld, arg("d"), 128))},
    {"NegativeByte", 5, "02 01 80 04 01 64", CALL(ldap_merge_partitions(ld, arg("d"), -128))},
    {"NegativeTwoBytes", 5, "02 02 ff 7f 04 01 64",
     CALL(ldap_merge_partitions(ld, arg("d"), -129))},
    {"FullByte", 29, "02 02 00 ff 04 01 64",
     CALL(ldap_abort_partition_operation(ld, arg("d"), 255))},
    {"TwoBytes", 29, "02 02 01 00 04 01 64",
     CALL(ldap_abort_partition_operation(ld, arg("d"), 256))},
    {"Largest", 3, "02 04 7f ff ff ff 04 01 64", CALL(ldap_split_partition(ld, arg("d"), INT_MAX))},
    {"Smallest", 3, "02 04 80 00 00 00 04 01 64",
     CALL(ldap_split_partition(ld, arg("d"), INT_MIN))},
    {"EmptyDn", 3, "02 01 01 04 00", CALL(ldap_split_partition(ld, arg(""), 1))},
    {"Utf8Dn", 3, "02 01 01 04 04 6f 3d c3 bc",
     CALL(ldap_split_partition(ld, arg("o=\xc3\xbc"), 1))},
    {"OrphanWithEmptyFirst", 39, "04 00 04 01 62",
     CALL(ldap_split_orphan_partition(ld, arg(""), arg("b")))},
    {"OrphanWithEmptySecond", 41, "04 01 61 04 00",
     CALL(ldap_remove_orphan_partition(ld, arg("a"), arg("")))},
};
INSTANTIATE_TEST_SUITE_P(Partition, RequestTest, testing::ValuesIn(flagsCases),
                         caseName<RequestCase>);

TEST(Partition, LongDnHasALongLength) {
    for (std::size_t size : {127U, 128U, 255U, 256U, 65535U, 65536U}) {
        std::string dn(size, 'n');
        ScriptedPeer peer({success(4)});
        EXPECT_EQ(ldap_split_partition(peer.session(), dn.data(), 3), LDAP_SUCCESS);
        ASSERT_EQ(peer.received().size(), 1U);
        EXPECT_EQ(peer.received()[0],
                  ldapMessage(1, extendedRequest(operationOid(3), integer(3) + octetString(dn))));
    }
}

struct CountCase {
    const char *name;
    const char *value;
    int result;
    int count;
};

constexpr int before = 4711;

// Values of the response; a failure leaves the caller's number alone.
const CountCase countCases[] = {
    {"Zero", "02 01 00", LDAP_SUCCESS, 0},
    {"MinusOne", "02 01 ff", LDAP_SUCCESS, -1},
    {"OneByte", "02 01 7f", LDAP_SUCCESS, 127},
    {"SignByte", "02 02 00 80", LDAP_SUCCESS, 128},
    {"Largest", "02 04 7f ff ff ff", LDAP_SUCCESS, INT_MAX},
    {"Smallest", "02 04 80 00 00 00", LDAP_SUCCESS, INT_MIN},
    {"LeadingZeros", "02 04 00 00 00 07", LDAP_SUCCESS, 7},
    {"LongLength", "02 84 00 00 00 01 07", LDAP_SUCCESS, 7},
    {"FiveBytes", "02 05 00 00 00 00 07", LDAP_ENCODING_ERROR, before},
    {"FiveBytesAndMore", "02 05 01 00 00 00 00", LDAP_ENCODING_ERROR, before},
    {"OctetString", "04 01 07", LDAP_ENCODING_ERROR, before},
    {"Boolean", "01 01 07", LDAP_ENCODING_ERROR, before},
    {"Enumerated", "0a 01 07", LDAP_ENCODING_ERROR, before},
    {"Null", "05 00", LDAP_ENCODING_ERROR, before},
    {"Sequence", "30 03 02 01 07", LDAP_ENCODING_ERROR, before},
    {"ContextTag", "80 01 07", LDAP_ENCODING_ERROR, before},
    {"LengthBeyondTheEnd", "02 02 07", LDAP_ENCODING_ERROR, before},
    {"HugeLength", "02 84 ff ff ff ff 07", LDAP_ENCODING_ERROR, before},
    {"LengthOfEightBytes", "02 88 ff ff ff ff ff ff ff ff 07", LDAP_ENCODING_ERROR, before},
    {"IndefiniteLength", "02 80 07 00 00", LDAP_ENCODING_ERROR, before},
    {"MultiByteTag", "1f 02 01 07", LDAP_ENCODING_ERROR, before},
};

class CountTest : public testing::TestWithParam<CountCase> {};

TEST_P(CountTest, Decodes) {
    ScriptedPeer peer({success(14, fromHex(GetParam().value))});
    int count = before;
    EXPECT_EQ(ldap_partition_entry_count(peer.session(), arg("o=a"), &count), GetParam().result);
    EXPECT_EQ(count, GetParam().count);
}

INSTANTIATE_TEST_SUITE_P(Partition, CountTest, testing::ValuesIn(countCases), caseName<CountCase>);

TEST(Partition, CountIsUntouchedByEarlierFailures) {
    for (const Bytes &response :
         {extendedResponse(LDAP_NO_SUCH_OBJECT, std::nullopt, std::nullopt),
          extendedResponse(0, std::nullopt, integer(7)), extendedResponse(0, "1.2", integer(7)),
          extendedResponse(0, operationOid(14), std::nullopt)}) {
        ScriptedPeer peer({ScriptedPeer::answer(response)});
        int count = before;
        EXPECT_NE(ldap_partition_entry_count(peer.session(), arg("o=a"), &count), LDAP_SUCCESS);
        EXPECT_EQ(count, before);
    }
}

} // namespace
} // namespace qldapx_test
