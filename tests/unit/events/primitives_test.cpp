// The elements that payloads are made of, each on its own.
#include "events/decode.h"
#include "support/assertion_trap.h"
#include "support/case_name.h"

#include <cstring>

namespace qldapx_test {
namespace {

constexpr int malformed = LDAP_DECODING_ERROR;
constexpr int assertion = 4711;

struct StringCase {
    const char *name;
    Bytes bytes;
    ber_tag_t expectedTag;
    int result;
    const char *text; // as hex; nullptr: NULL
    std::size_t length;
    std::size_t left;
};

void PrintTo(const StringCase &row, std::ostream *out) {
    *out << row.name;
}

const StringCase stringCases[] = {
    {"Text", octetString("abc"), 4, 0, "61 62 63", 3, 0},
    {"TagZeroMeansOctetString", octetString("abc") + "x", 0, 0, "61 62 63", 3, 1},
    {"OtherTag", tlv(0x85, "abc"), 0x85, 0, "61 62 63", 3, 0},
    {"WithNuls", octetString(Bytes("\0a\0", 3)), 4, 0, "00 61 00", 3, 0},
    {"Empty", octetString("") + "x", 4, 0, nullptr, 0, 1},
    {"LongLength", longTlv(4, "a", 8), 4, 0, "61", 1, 0},
    {"Missing", "", 4, malformed, nullptr, 0, 0},
    {"Truncated", fromHex("04 05 61"), 4, malformed, nullptr, 0, 3},
    {"TruncatedUnderAnotherTag", fromHex("05 05 61"), 4, malformed, nullptr, 0, 3},
    {"LengthCut", fromHex("04 82 01"), 4, malformed, nullptr, 0, 3},
    {"IndefiniteLength", fromHex("24 80 04 01 61 00 00"), 0x24, malformed, nullptr, 0, 7},
    {"HugeLength", fromHex("04 88 7f ff ff ff ff ff ff ff 61"), 4, malformed, nullptr, 0, 11},
    {"WrongTag", integer(1), 4, assertion, nullptr, 0, 0},
    {"WrongTagForAnother", octetString("a"), 0x85, assertion, nullptr, 0, 0},
    {"ConstructedString", tlv(0x24, octetString("a")), 4, assertion, nullptr, 0, 0},
};

class StringTest : public testing::TestWithParam<StringCase> {};

char untouched;

struct ReadString {
    int result = 0;
    char *text = &untouched;
    ber_len_t length = 4711;
    std::size_t left = 0;
};

// read(ber, *ReadString) calls the function under test.
template <class Read>
ReadString parseString(const StringCase &row, Read read) {
    BerPtr ber = decoderOf(row.bytes);
    ReadString string;
    string.result = read(ber.get(), &string);
    string.left = bytesLeft(ber.get());
    return string;
}

template <class Read>
void expectString(const StringCase &row, Read read) {
    ReadString string;
    bool isAssertion = endsInAssertion([&] { string = parseString(row, read); });
    ASSERT_EQ(isAssertion, row.result == assertion);
    if (isAssertion)
        return;
    std::free(string.text);
    string = parseString(row, read);
    EXPECT_EQ(string.result, row.result);
    EXPECT_EQ(string.length, row.length);
    EXPECT_EQ(string.left, row.left);
    ASSERT_EQ(string.text == nullptr, row.text == nullptr);
    if (string.text == nullptr)
        return;
    EXPECT_EQ(toHex({string.text, row.length}), row.text);
    EXPECT_EQ(string.text[row.length], '\0');
    std::free(string.text);
}

TEST_P(StringTest, ParseOctetString) {
    expectString(GetParam(), [](BerElement *ber, ReadString *string) {
        return parseOctetString(ber, &string->text, &string->length, GetParam().expectedTag);
    });
}

TEST_P(StringTest, ParseLdapString) {
    expectString(GetParam(), [](BerElement *ber, ReadString *string) {
        string->length = GetParam().length; // which it does not tell
        return parseLDAPString(ber, &string->text, GetParam().expectedTag);
    });
}

INSTANTIATE_TEST_SUITE_P(Events, StringTest, testing::ValuesIn(stringCases), caseName<StringCase>);

struct SequenceCase {
    const char *name;
    Bytes bytes;
    int result;
    const char *list; // nullptr: untouched
    std::size_t left;
};

void PrintTo(const SequenceCase &row, std::ostream *out) {
    *out << row.name;
}

Bytes item(const Bytes &text) {
    return sequence({octetString(text)});
}

const SequenceCase sequenceCases[] = {
    {"Two", sequence({item("a"), item("bb")}) + "x", 0, "a,bb,", 1},
    {"Five", sequence({item("a"), item("b"), item("c"), item("d"), item("e")}), 0, "a,b,c,d,e,", 0},
    {"EmptyString", sequence({item(""), item("b")}), 0, ",b,", 0},
    {"NulAtTheEnd", sequence({item(Bytes("a\0", 2))}), 0, "a,", 0},
    {"NulInside", sequence({item(Bytes("a\0b", 3))}), malformed, "NULL", 0},
    {"Empty", sequence({}) + "x", 0, "", 1},
    {"AnyTag", tlv(0x80, item("a")), 0, "a,", 0},
    {"NoBytes", "", 0, nullptr, 0},
    {"Truncated", fromHex("30 06 30 03 04 01"), malformed, nullptr, 6},
    {"TagAlone", fromHex("30"), malformed, nullptr, 1},
    {"FirstElementMalformed", fromHex("30 02 30 7f"), malformed, "NULL", 2},
    {"SecondElementMalformed", fromHex("30 07 30 03 04 01 61 30 7f"), malformed, "NULL", 2},
    {"NotASequence", sequence({octetString("a")}), malformed, "NULL", 3},
    {"EmptyElement", sequence({sequence({})}), malformed, "NULL", 0},
    {"NotAString", sequence({sequence({integer(1)})}), malformed, "NULL", 0},
    {"SecondStringMalformed", sequence({item("a"), sequence({integer(1)})}), malformed, "NULL", 0},
    {"CrossesItsEnd", fromHex("30 04 30 03 04 02 61 61"), malformed, "NULL", 0},
};

class SequenceTest : public testing::TestWithParam<SequenceCase> {};

TEST_P(SequenceTest, ParseStringSequence) {
    const SequenceCase &row = GetParam();
    BerPtr ber = decoderOf(row.bytes);
    static char *untouchedList[1];
    char **list = untouchedList;
    EXPECT_EQ(parseStringSequence(ber.get(), &list), row.result);
    EXPECT_EQ(list == untouchedList, row.list == nullptr);
    if (list == untouchedList)
        return;
    std::string all = list == nullptr ? "NULL" : "";
    for (char **string = list; list != nullptr && *string != nullptr; ++string)
        all += std::string(*string) + ",";
    EXPECT_EQ(all, row.list);
    if (row.result == LDAP_SUCCESS) {
        EXPECT_EQ(bytesLeft(ber.get()), row.left);
    }
    freeStringSequence(list);
}

INSTANTIATE_TEST_SUITE_P(Events, SequenceTest, testing::ValuesIn(sequenceCases),
                         caseName<SequenceCase>);

TEST(StringSequence, FreeOfNothing) {
    freeStringSequence(nullptr);
    freeStringSequence(static_cast<char **>(std::calloc(1, sizeof(char *))));
}

struct ReferralCase {
    const char *name;
    Bytes bytes;
    int result;
    int count;
    const char *list;
};

void PrintTo(const ReferralCase &row, std::ostream *out) {
    *out << row.name;
}

Bytes referral(int type, const Bytes &value) {
    return sequence({integer(type), octetString(value)});
}
Bytes referrals(int count, const Bytes &entries) {
    return sequence({integer(count), tlv(0x30, entries)});
}

const ReferralCase referralCases[] = {
    {"NoBytes", "", 0, 0, "NULL"},
    {"None", referrals(0, ""), 0, 0, "list"},
    {"Negative", referrals(-5, ""), 0, -5, "list"},
    {"One", referrals(1, referral(7, "a")), 0, 1, "list 7:1:a"},
    {"Three", referrals(3, referral(7, "a") + referral(8, "") + referral(-9, "cc")), 0, 3,
     "list 7:1:a 8:0:NULL -9:2:cc"},
    {"MoreEntriesThanCounted", referrals(1, referral(7, "a") + referral(8, "b")), 0, 1,
     "list 7:1:a"},
    {"MoreCountedThanEntries", referrals(2, referral(7, "aaaaaaaa")), malformed, 2,
     "list 7:8:aaaaaaaa 0:0:NULL"},
    {"HostileCount", referrals(1 << 30, referral(7, "a")), malformed, 0, "NULL"},
    {"LargestCount", referrals(2147483647, referral(7, "a")), malformed, 0, "NULL"},
    {"Malformed", fromHex("30 7f"), malformed, 0, "NULL"},
    {"NotASequence", octetString("abc"), malformed, 0, "NULL"},
    {"NoCount", sequence({octetString("")}), malformed, 0, "NULL"},
    {"NoEntries", sequence({integer(1)}), malformed, 0, "NULL"},
    {"EntryWithoutType", referrals(1, sequence({octetString("aaaaaa")})), malformed, 1,
     "list 0:0:NULL"},
    {"EntryWithoutValue", referrals(1, sequence({integer(5)}) + "x"), malformed, 1,
     "list 5:0:NULL"},
};

class ReferralTest : public testing::TestWithParam<ReferralCase> {};

TEST_P(ReferralTest, ParseReferralList) {
    const ReferralCase &row = GetParam();
    BerPtr ber = decoderOf(row.bytes);
    static ReferralEntry untouchedList[1];
    ReferralEntry *list = untouchedList;
    int count = 4711;
    EXPECT_EQ(parseReferralList(ber.get(), &count, &list), row.result);
    EXPECT_EQ(count, row.count);
    std::string all = list == nullptr ? "NULL" : "list";
    for (int i = 0; list != nullptr && i < count; ++i)
        all += " " + std::to_string(list[i].type) + ":" + std::to_string(list[i].length) + ":" +
               (list[i].value == nullptr ? "NULL" : list[i].value);
    EXPECT_EQ(all, row.list);
    char *left = list != nullptr && count > 0 ? list[0].value : nullptr;
    freeReferralList(count, list);
    std::free(left);
}

INSTANTIATE_TEST_SUITE_P(Events, ReferralTest, testing::ValuesIn(referralCases),
                         caseName<ReferralCase>);

// The first entry's value belongs to the caller, whatever the number of entries.
TEST(ReferralList, FreeKeepsTheFirstValue) {
    for (int count = 1; count <= 3; ++count) {
        Bytes entries;
        for (int i = 0; i < count; ++i)
            entries += referral(i, "value");
        BerPtr ber = decoderOf(referrals(count, entries));
        ReferralEntry *list = nullptr;
        ASSERT_EQ(parseReferralList(ber.get(), &count, &list), LDAP_SUCCESS);
        char *first = list[0].value;
        freeReferralList(count, list);
        EXPECT_STREQ(first, "value");
        std::free(first);
    }
    freeReferralList(0, nullptr);
    freeReferralList(5, nullptr);
}

struct ConnectionCase {
    const char *name;
    Bytes bytes;
    int result;
    const char *connection;
};

void PrintTo(const ConnectionCase &row, std::ostream *out) {
    *out << row.name;
}

const ConnectionCase connectionCases[] = {
    {"Whole", sequence({integer(1), integer(-2), octetString("cn=a")}), 0, "1 -2 cn=a"},
    {"EmptyText", sequence({integer(1), integer(2), octetString("")}), 0, "1 2 NULL"},
    {"NoBytes", "", 0, "NULL"},
    {"Malformed", fromHex("30 7f"), malformed, "NULL"},
    {"NotASequence", integer(1), malformed, "NULL"},
    {"NoNumbers", sequence({}), malformed, "0 0 NULL"},
    {"OneNumber", sequence({integer(1)}), malformed, "1 0 NULL"},
    {"NoText", sequence({integer(1), integer(2)}), malformed, "1 2 NULL"},
    {"NumberOf5Bytes", sequence({integer(1), fromHex("02 05 01 01 01 01 01")}), malformed,
     "1 0 NULL"},
    {"TextForNumber", sequence({octetString("a"), integer(2)}), malformed, "0 0 NULL"},
};

class ConnectionTest : public testing::TestWithParam<ConnectionCase> {};

TEST_P(ConnectionTest, ParseConnectionData) {
    const ConnectionCase &row = GetParam();
    BerPtr ber = decoderOf(row.bytes);
    static ConnectionInfo untouchedInfo;
    ConnectionInfo *info = &untouchedInfo;
    EXPECT_EQ(parseConnectionData(ber.get(), &info), row.result);
    std::string all = "NULL";
    if (info != nullptr)
        all = std::to_string(info->number1) + " " + std::to_string(info->number2) + " " +
              (info->text == nullptr ? "NULL" : info->text);
    EXPECT_EQ(all, row.connection);
    freeConnectionData(info);
}

INSTANTIATE_TEST_SUITE_P(Events, ConnectionTest, testing::ValuesIn(connectionCases),
                         caseName<ConnectionCase>);

struct AddressCase {
    const char *name;
    Bytes bytes;
    int result;       // of parseNetAddrEventData
    int optional;     // of ber_get_IP
    const char *text; // nullptr: left as it was
    std::size_t left;
};

void PrintTo(const AddressCase &row, std::ostream *out) {
    *out << row.name;
}

// A session's result code without an address.
constexpr int before = Session::before;

const AddressCase addressCases[] = {
    {"Whole", integer(1) + octetString("ab") + "x", 0, 0, "addressType=1 length=2 value=61 62", 1},
    {"WithNul", integer(-1) + octetString(Bytes("\0", 1)), 0, 0, "addressType=-1 length=1 value=00",
     0},
    {"Empty", integer(1) + octetString(""), 0, 0, "addressType=1 length=0 value=", 2},
    {"NoBytes", "", malformed, before, nullptr, 0},
    {"OtherElement", octetString("ab"), malformed, before, nullptr, 4},
    {"Malformed", fromHex("02 7f"), malformed, before, nullptr, 2},
    {"NumberOf5Bytes", fromHex("02 05 01 01 01 01 01 04 00"), malformed, malformed, nullptr, 2},
    {"NoString", integer(1), malformed, malformed, nullptr, 0},
    {"StringTruncated", integer(1) + fromHex("04 05 61"), malformed, malformed, nullptr, 3},
    {"StringOfAnotherType", integer(1) + tlv(0x81, "a"), malformed, malformed, nullptr, 3},
};

class AddressTest : public testing::TestWithParam<AddressCase> {};

template <class Parse>
void expectAddress(const AddressCase &row, int result, Parse parse) {
    Session session;
    BerPtr ber = decoderOf(row.bytes);
    void *address = &untouched;
    EXPECT_EQ(parse(session, ber.get(), &address), result);
    EXPECT_EQ(session.resultCode(), result);
    EXPECT_EQ(address == &untouched, row.text == nullptr);
    if (address == &untouched)
        return;
    EXPECT_EQ(describeRecord(104, address), row.text);
    EXPECT_EQ(bytesLeft(ber.get()), row.left);
    EXPECT_EQ(ldapx_event_kind(address), 104);
    ldap_event_free(address);
}

TEST_P(AddressTest, ParseNetAddr) {
    expectAddress(GetParam(), GetParam().result, parseNetAddrEventData);
}

TEST_P(AddressTest, GetIp) {
    expectAddress(GetParam(), GetParam().optional, ber_get_IP);
}

INSTANTIATE_TEST_SUITE_P(Events, AddressTest, testing::ValuesIn(addressCases),
                         caseName<AddressCase>);

TEST(EventRecord, KindInFront) {
    auto *record = static_cast<std::uint64_t *>(allocEventData(3, 0x7D));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record[-1], 0x7DU);
    std::memset(record, 0, 3);
    std::free(record - 1); // the block begins there, and owns nothing else
}

TEST(EventRecord, TooLarge) {
    EXPECT_EQ(allocEventData(SIZE_MAX, 0x61), nullptr);
    EXPECT_EQ(allocEventData(SIZE_MAX - 7, 0x61), nullptr);
}

// Kinds that own nothing, known or not, are one block.
TEST(EventRecord, FreeOfOtherKinds) {
    for (const ber_tag_t kind : {0U, 96U, 100U, 104U, 106U, 107U, 110U, 126U, 1000U})
        ldap_event_free(allocEventData(1, kind));
}

TEST(SkulkEvent, ReadsNothing) {
    Session session;
    BerPtr ber = decoderOf("\xff" + integer(1));
    void *event = &untouched, *address = &untouched;
    EXPECT_EQ(parseSkulkEventData(session, ber.get(), &event, &address), LDAP_SUCCESS);
    EXPECT_EQ(session.resultCode(), LDAP_SUCCESS);
    EXPECT_EQ(event, nullptr);
    EXPECT_EQ(address, &untouched);
    EXPECT_EQ(bytesLeft(ber.get()), 4U);
}

} // namespace
} // namespace qldapx_test
