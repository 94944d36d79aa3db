// The answer to a request of operations: the list of those that failed.
#include "lburp/answered.h"
#include "support/case_name.h"
#include "support/expected_leak.h"

namespace qldapx_test {
namespace {

constexpr int malformed = LDAP_DECODING_ERROR;

struct List {
    int count = unset;
    LBURPOperationFailure *failures = reinterpret_cast<LBURPOperationFailure *>(1);

    ~List() {
        for (int i = 0; i < count; ++i)
            ldap_memfree(failures[i].errorMessage);
        ldapx_memfree(failures);
    }
    std::string text() const {
        std::string all = std::to_string(count) + (failures == nullptr ? " none" : ":");
        for (int i = 0; i < count; ++i)
            all += " " + std::to_string(failures[i].operationNumber) + "/" +
                   std::to_string(failures[i].resultCode) + "/" + failures[i].errorMessage;
        return all;
    }
};

// The messages of a list that is given up are lost.
int parse(Answered &answer, int *code, List &list) {
    ExpectedLeak leak;
    return ldap_parse_lburp_operation_response(answer.session(), answer.message(), code, nullptr,
                                               &list.count, &list.failures, 0);
}

struct FailureCase {
    const char *name;
    Bytes operation;
    int result;
    int resultCode;
    std::string list;
};

void PrintTo(const FailureCase &row, std::ostream *out) {
    *out << row.name;
}

FailureCase valued(const char *name, const Bytes &value, int result, const char *list) {
    return {name, extendedResponse(80, operationResponseOid, value), result, 80, list};
}

const Bytes one = failure(3, 68, "dc=x", "exists");
const Bytes result = sequence({integer(1), octetString(""), octetString("")});

const FailureCase failureCases[] = {
    {"AllDone", extendedResponse(0, operationResponseOid, std::nullopt), 0, 0, "0 none"},
    {"Refused", extendedResponse(51, operationResponseOid, std::nullopt), 0, 51, "0 none"},
    {"FailuresOfASuccess", extendedResponse(0, operationResponseOid, one), 0, 0, "1: 3/68/exists"},
    valued("Nothing", "", 0, "0:"),
    valued("One", fromHex("30 0c 02 01 05 30 07 02 01 20 04 00 04 00"), 0, "1: 5/32/"),
    valued("Two", one + failure(-1, 300, "", "\xc3\xa9"), 0, "2: 3/68/exists -1/300/\xc3\xa9"),
    valued("LongLengths",
           longTlv(
               0x30,
               integer(1) +
                   longTlv(0x30, longTlv(2, "\x05", 2) + longTlv(4, "", 1) + longTlv(4, "m", 4), 4),
               8),
           0, "1: 1/5/m"),
    valued(
        "EnumeratedResult", // as in an LDAPResult
        sequence({integer(1), sequence({fromHex("0a 01 35"), octetString(""), octetString("no")})}),
        0, "1: 1/53/no"),
    valued("MoreInTheResult", // such as referrals
           sequence({integer(1), sequence({integer(10), octetString(""), octetString("go"),
                                           tlv(0xa3, octetString("ldap://b"))})}) +
               one,
           0, "2: 1/10/go 3/68/exists"),
    valued("MoreInTheFailure", sequence({integer(1), result, integer(9), octetString("x")}) + one,
           0, "2: 1/1/ 3/68/exists"),
    // A number with nothing behind it ends the list and does not count.
    valued("NumberOnly", sequence({integer(4)}), 0, "0:"),
    valued("NumberOnlyAtTheEnd", one + sequence({integer(4)}), 0, "1: 3/68/exists"),
    {"OtherOid", extendedResponse(0, "1.2.3", one), LDAP_NOT_SUPPORTED, 0, "0 none"},
    {"OtherOidWithoutValue", extendedResponse(0, endResponseOid, std::nullopt), LDAP_NOT_SUPPORTED,
     0, "0 none"},
    {"LongerOid", extendedResponse(0, std::string(operationResponseOid) + "1", one),
     LDAP_NOT_SUPPORTED, 0, "0 none"},
    {"NoOid", extendedResponse(0, std::nullopt, one), LDAP_NOT_SUPPORTED, 0, "0 none"},
    {"RefusedWithoutOid", extendedResponse(2, std::nullopt, std::nullopt), LDAP_NOT_SUPPORTED, 2,
     "0 none"},
    valued("ListInASequence", sequence({one}), malformed, "0 none"),
    valued("NoSequence", integer(4), malformed, "0 none"),
    valued("Set", set({integer(4), result}), malformed, "0 none"),
    valued("EmptySequence", sequence({}), malformed, "0 none"),
    valued("SecondMalformed", one + octetString("xx"), malformed, "0 none"),
    valued("OneByteMore", one + Bytes(1, '\x30'), malformed, "0 none"),
    valued("NumberIsAString", sequence({octetString("4"), result}), malformed, "0 none"),
    valued("NumberOf5Bytes", sequence({fromHex("02 05 00 00 00 00 01"), result}), malformed,
           "0 none"),
    valued("ResultIsASet",
           sequence({integer(4), set({integer(1), octetString(""), octetString("")})}), malformed,
           "0 none"),
    valued("ResultIsEmpty", sequence({integer(4), sequence({})}), malformed, "0 none"),
    valued("CodeOf5Bytes",
           sequence({integer(4), sequence({fromHex("02 05 00 00 00 00 01"), octetString(""),
                                           octetString("")})}),
           malformed, "0 none"),
    valued("CodeIsAString",
           sequence({integer(4), sequence({octetString("1"), octetString(""), octetString("")})}),
           malformed, "0 none"),
    valued("NoMatchedDn", sequence({integer(4), sequence({integer(1)})}), malformed, "0 none"),
    valued("NoMessage", sequence({integer(4), sequence({integer(1), octetString("")})}), malformed,
           "0 none"),
    valued("MatchedDnIsAnInteger",
           sequence({integer(4), sequence({integer(1), integer(1), octetString("")})}), malformed,
           "0 none"),
    valued("MessageIsAnInteger",
           sequence({integer(4), sequence({integer(1), octetString(""), integer(1)})}), malformed,
           "0 none"),
    valued("MessageWithNul", failure(4, 1, "", Bytes("a\0b", 3)), malformed, "0 none"),
    valued("MessageTooLong", fromHex("30 0c 02 01 05 30 07 02 01 20 04 00 04 01"), malformed,
           "0 none"),
    valued("SequenceTooLong", fromHex("30 0d 02 01 05 30 07 02 01 20 04 00 04 00"), malformed,
           "0 none"),
    valued("RestIsNoElement", fromHex("30 0e 02 01 05 30 07 02 01 20 04 00 04 00 04 05"), malformed,
           "0 none"),
};

class FailureTest : public testing::TestWithParam<FailureCase> {};

TEST_P(FailureTest, Parses) {
    Answered answer(GetParam().operation);
    List list;
    int code = unset;
    EXPECT_EQ(parse(answer, &code, list), GetParam().result);
    EXPECT_EQ(resultCode(answer.session()), GetParam().result);
    EXPECT_EQ(code, GetParam().resultCode);
    EXPECT_EQ(list.text(), GetParam().list);
}

INSTANTIATE_TEST_SUITE_P(Lburp, FailureTest, testing::ValuesIn(failureCases),
                         caseName<FailureCase>);

TEST(LburpFailures, TenThousand) {
    constexpr int count = 10000;
    Bytes value;
    for (int i = 0; i < count; ++i)
        value += failure(i, 68, "dc=example,dc=com", "failure " + std::to_string(i));
    Answered answer(extendedResponse(80, operationResponseOid, value));
    List list;
    int code = unset;
    ASSERT_EQ(parse(answer, &code, list), LDAP_SUCCESS);
    ASSERT_EQ(list.count, count);
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(list.failures[i].operationNumber, i);
        ASSERT_EQ(list.failures[i].resultCode, 68);
        ASSERT_EQ(list.failures[i].errorMessage, "failure " + std::to_string(i));
    }
}

// The outputs may be missing only where there is nothing to put out.
TEST(LburpFailures, OutputsNotWanted) {
    struct Row {
        Bytes operation;
        int result;
    };
    const Row rows[] = {{extendedResponse(0, operationResponseOid, std::nullopt), LDAP_SUCCESS},
                        {extendedResponse(80, operationResponseOid, one), LDAP_PARAM_ERROR},
                        {extendedResponse(80, operationResponseOid, ""), LDAP_PARAM_ERROR},
                        {extendedResponse(0, "1.2.3", one), LDAP_NOT_SUPPORTED}};
    for (const Row &row : rows)
        for (int wanted = 0; wanted < 3; ++wanted) {
            Answered answer(row.operation);
            List list;
            EXPECT_EQ(
                ldap_parse_lburp_operation_response(answer.session(), answer.message(), nullptr,
                                                    nullptr, wanted == 1 ? &list.count : nullptr,
                                                    wanted == 2 ? &list.failures : nullptr, 0),
                row.result);
            EXPECT_EQ(resultCode(answer.session()), row.result);
            EXPECT_EQ(list.count, wanted == 1 ? 0 : unset);
            EXPECT_EQ(list.failures == nullptr, wanted == 2);
            list.failures = nullptr;
            list.count = 0;
        }
}

// Every prefix and every changed bit of a list: success or -4, and then nothing is left in the
// outputs.
TEST(LburpFailures, DamagedValue) {
    std::vector<Bytes> damaged;
    for (std::size_t length = 1; length < one.size(); ++length)
        damaged.push_back(one.substr(0, length));
    const std::size_t prefixes = damaged.size();
    for (std::size_t bit = 0; bit < 8 * one.size(); ++bit) {
        damaged.push_back(one);
        damaged.back()[bit / 8] = static_cast<char>(damaged.back()[bit / 8] ^ 1 << bit % 8);
    }
    for (std::size_t i = 0; i < damaged.size(); ++i) {
        Answered answer(extendedResponse(80, operationResponseOid, damaged[i]));
        List list;
        int code = unset, parsed = parse(answer, &code, list);
        EXPECT_TRUE(parsed == malformed || (i >= prefixes && parsed == LDAP_SUCCESS)) << i;
        EXPECT_EQ(list.failures == nullptr, parsed != LDAP_SUCCESS);
        EXPECT_TRUE(parsed == LDAP_SUCCESS || list.count == 0);
    }
}

} // namespace
} // namespace qldapx_test
