// The answers to the start and the end of a bulk update.
#include "lburp/answered.h"
#include "support/case_name.h"

namespace qldapx_test {
namespace {

constexpr char otherOid[] = "1.2.3";
constexpr int malformed = LDAP_DECODING_ERROR;

struct StartCase {
    const char *name;
    Bytes operation;
    int result;
    int resultCode;
    int size = unset; // which is what it was before
};

void PrintTo(const StartCase &row, std::ostream *out) {
    *out << row.name;
}

StartCase valued(const char *name, const Bytes &value, int result, int size = unset) {
    return {name, extendedResponse(0, startResponseOid, value), result, 0, size};
}

const StartCase startCases[] = {
    valued("Size", fromHex("30 03 02 01 64"), 0, 100),
    valued("Zero", sequence({integer(0)}), 0, 0),
    valued("EmptyInteger", fromHex("30 02 02 00"), 0, 0), // as liblber reads it
    valued("Negative", sequence({integer(-1)}), 0, -1),
    valued("Most", sequence({integer(INT32_MAX)}), 0, INT32_MAX),
    valued("LongLengths", longTlv(0x30, longTlv(0x02, "\x07", 3), 4), 0, 7),
    valued("MoreBehind", sequence({integer(5), octetString("x")}) + integer(6), 0, 5),
    {"NoValue", extendedResponse(0, startResponseOid, std::nullopt), 0, 0},
    {"Refused", extendedResponse(53, startResponseOid, std::nullopt), 0, 53},
    {"RefusedWithSize", extendedResponse(53, startResponseOid, sequence({integer(3)})), 0, 53, 3},
    // With a value any OID will do.
    {"OtherOidWithValue", extendedResponse(0, otherOid, sequence({integer(9)})), 0, 0, 9},
    {"OtherOid", extendedResponse(0, otherOid, std::nullopt), LDAP_NOT_SUPPORTED, 0},
    {"LongerOid", extendedResponse(0, std::string(startResponseOid) + "0", std::nullopt),
     LDAP_NOT_SUPPORTED, 0},
    {"ShorterOid", extendedResponse(0, "2.16.840.1.907341.1.142.100", std::nullopt),
     LDAP_NOT_SUPPORTED, 0},
    {"NoOid", extendedResponse(0, std::nullopt, std::nullopt), LDAP_NOT_SUPPORTED, 0},
    {"NoOidWithValue", extendedResponse(0, std::nullopt, sequence({integer(9)})),
     LDAP_NOT_SUPPORTED, 0},
    {"RefusedWithoutOid", extendedResponse(2, std::nullopt, std::nullopt), LDAP_NOT_SUPPORTED, 2},
    valued("EmptyValue", "", malformed),
    valued("EmptySequence", sequence({}), malformed),
    valued("Truncated", fromHex("30 03 02 01"), malformed),
    valued("SequenceTooLong", fromHex("30 04 02 01 64"), malformed),
    valued("NoSequence", integer(100), malformed),
    valued("Set", fromHex("31 03 02 01 64"), malformed),
    valued("String", sequence({octetString("d")}), malformed),
    valued("FiveBytes", sequence({fromHex("02 05 00 00 00 00 64")}), malformed),
    valued("IntegerTooLong", fromHex("30 03 02 02 64"), malformed),
    valued("Indefinite", fromHex("30 80 02 01 64 00 00"), malformed),
    valued("HugeLength", fromHex("30 88 7f ff ff ff ff ff ff ff 02 01 64"), malformed),
};

class StartTest : public testing::TestWithParam<StartCase> {};

TEST_P(StartTest, Parses) {
    Answered answer(GetParam().operation);
    int code = unset, size = unset;
    EXPECT_EQ(ldap_parse_lburp_start_response(answer.session(), answer.message(), &code, nullptr,
                                              &size, 0),
              GetParam().result);
    EXPECT_EQ(resultCode(answer.session()), GetParam().result);
    EXPECT_EQ(code, GetParam().resultCode);
    EXPECT_EQ(size, GetParam().size);
}

TEST_P(StartTest, SizeNotWanted) {
    Answered answer(GetParam().operation);
    EXPECT_EQ(ldap_parse_lburp_start_response(answer.session(), answer.message(), nullptr, nullptr,
                                              nullptr, 0),
              GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Lburp, StartTest, testing::ValuesIn(startCases), caseName<StartCase>);

struct EndCase {
    const char *name;
    Bytes operation;
    int result;
    int resultCode;
};

void PrintTo(const EndCase &row, std::ostream *out) {
    *out << row.name;
}

const EndCase endCases[] = {
    {"Done", extendedResponse(0, endResponseOid, std::nullopt), 0, 0},
    {"AnyValue", extendedResponse(0, endResponseOid, fromHex("ff ff")), 0, 0},
    {"Refused", extendedResponse(1, endResponseOid, std::nullopt), 0, 1},
    {"OtherOid", extendedResponse(0, startResponseOid, std::nullopt), LDAP_NOT_SUPPORTED, 0},
    {"OtherOidWithValue", extendedResponse(0, otherOid, sequence({integer(1)})), LDAP_NOT_SUPPORTED,
     0},
    {"LongerOid", extendedResponse(0, std::string(endResponseOid) + "0", std::nullopt),
     LDAP_NOT_SUPPORTED, 0},
    {"NoOid", extendedResponse(0, std::nullopt, std::nullopt), LDAP_NOT_SUPPORTED, 0},
    {"RefusedWithoutOid", extendedResponse(2, std::nullopt, std::nullopt), LDAP_NOT_SUPPORTED, 2},
};

class EndTest : public testing::TestWithParam<EndCase> {};

TEST_P(EndTest, Parses) {
    Answered answer(GetParam().operation);
    int code = unset;
    EXPECT_EQ(ldap_parse_lburp_end_response(answer.session(), answer.message(), &code, nullptr, 0),
              GetParam().result);
    EXPECT_EQ(resultCode(answer.session()), GetParam().result);
    EXPECT_EQ(code, GetParam().resultCode);
}

INSTANTIATE_TEST_SUITE_P(Lburp, EndTest, testing::ValuesIn(endCases), caseName<EndCase>);

// What holds for all three parse functions.

using Parse = int (*)(LDAP *ld, LDAPMessage *message, int *code, char **text, int freeit);

struct Parser {
    Parse parse;
    const char *oid;
};

const Parser parsers[] = {
    {[](LDAP *ld, LDAPMessage *message, int *code, char **text, int freeit) {
         return ldap_parse_lburp_start_response(ld, message, code, text, nullptr, freeit);
     },
     startResponseOid},
    {[](LDAP *ld, LDAPMessage *message, int *code, char **text, int freeit) {
         return ldap_parse_lburp_operation_response(ld, message, code, text, nullptr, nullptr,
                                                    freeit);
     },
     operationResponseOid},
    {ldap_parse_lburp_end_response, endResponseOid},
};

TEST(LburpAnswers, DiagnosticMessage) {
    for (const Parser &parser : parsers) {
        Answered answer(spokenResponse(53, "dc=x", "not today", parser.oid));
        int code = unset;
        char *text = nullptr;
        EXPECT_EQ(parser.parse(answer.session(), answer.message(), &code, &text, 0), LDAP_SUCCESS);
        EXPECT_EQ(code, 53);
        EXPECT_STREQ(text, "not today");
        EXPECT_EQ(resultCode(answer.session()), LDAP_SUCCESS); // not the server's
        ldap_memfree(text);
    }
}

TEST(LburpAnswers, NoMessageIsNull) {
    for (const Parser &parser : parsers) {
        Answered answer(extendedResponse(0, parser.oid, std::nullopt));
        char untouched = 0, *text = &untouched;
        EXPECT_EQ(parser.parse(answer.session(), answer.message(), nullptr, &text, 0),
                  LDAP_SUCCESS);
        EXPECT_EQ(text, nullptr);
    }
}

TEST(LburpAnswers, OtherMessages) {
    struct Other {
        Bytes operation;
        int result;
    };
    const Other others[] = {{searchEntry("cn=a"), LDAP_NO_RESULTS_RETURNED},
                            {searchDone(0), LDAP_PARAM_ERROR},
                            {tlv(0x79, ""), LDAP_NO_RESULTS_RETURNED}};
    for (const Parser &parser : parsers)
        for (const Other &other : others) {
            Answered answer(other.operation);
            int code = unset;
            EXPECT_EQ(parser.parse(answer.session(), answer.message(), &code, nullptr, 1),
                      other.result);
            EXPECT_EQ(resultCode(answer.session()), other.result);
        }
}

// AddressSanitizer sees a message that is released twice, and one that is not.
TEST(LburpAnswers, FreeIt) {
    for (const Parser &parser : parsers) {
        Answered answer(extendedResponse(0, parser.oid, std::nullopt));
        EXPECT_EQ(parser.parse(answer.session(), answer.takeMessage(), nullptr, nullptr, 1),
                  LDAP_SUCCESS);
    }
}

} // namespace
} // namespace qldapx_test
