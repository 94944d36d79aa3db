// What a hostile server may send: every element missing or of another type, every prefix, every
// changed bit.
#include "events/notified.h"
#include "support/assertion_trap.h"
#include "support/case_name.h"

#include <optional>

namespace qldapx_test {
namespace {

class DamageTest : public testing::TestWithParam<EventSample> {};

// Nothing: the call ends in an assertion.
std::optional<Decoded> decodeAnything(unsigned kind, const Bytes &contents) {
    if (endsInAssertion([&] { decode(kind, contents); }))
        return std::nullopt;
    return decode(kind, contents);
}

struct Required {
    unsigned kind;
    std::size_t elements;
};

// How many elements a payload needs, from its first. The others are optional.
constexpr Required required[] = {
    {97, 6},  {98, 6},  {99, 5},  {101, 5}, {102, 3}, {103, 5}, {104, 2},  {105, 4}, {108, 6},
    {109, 3}, {111, 7}, {112, 7}, {113, 7}, {114, 3}, {115, 8}, {116, 6},  {117, 8}, {118, 9},
    {119, 8}, {120, 6}, {121, 7}, {123, 6}, {124, 7}, {125, 2}, {122, 11},
};

std::size_t requiredElements(const EventSample &sample) {
    if (sample.name == std::string("DebugNoItems"))
        return 6; // a list that is counted as empty
    for (const Required &row : required)
        if (row.kind == sample.kind)
            return std::min(row.elements, sample.elements.size());
    ADD_FAILURE() << "no row for kind " << unsigned{sample.kind};
    return 0;
}

Bytes firstElements(const EventSample &sample, std::size_t count) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes += sample.elements[i];
    return bytes;
}

TEST_P(DamageTest, MissingElements) {
    for (std::size_t count = 0; count < GetParam().elements.size(); ++count) {
        Decoded decoded = decode(GetParam().kind, firstElements(GetParam(), count));
        bool isEnough = count >= requiredElements(GetParam());
        EXPECT_EQ(decoded.result, isEnough ? LDAP_SUCCESS : LDAP_DECODING_ERROR) << count;
        EXPECT_EQ(decoded.sessionResult, decoded.result) << count;
        EXPECT_EQ(decoded.fields == "none", !isEnough) << count;
    }
}

constexpr int assertion = 4711;

struct Wrong {
    unsigned kind;
    std::size_t element;
    int outcome;
};

// Where an element of another type is neither malformed, nor, as a string, the assertion's matter.
constexpr Wrong wrongs[] = {
    {97, 6, LDAP_SUCCESS}, // its header is skipped
    {98, 6, LDAP_SUCCESS}, // optional elements stay unread
    {98, 7, LDAP_SUCCESS},
    {99, 5, LDAP_SUCCESS},
    {99, 6, LDAP_SUCCESS},
    {103, 2, LDAP_DECODING_ERROR}, // strings with a place of their own in the record
    {103, 3, LDAP_DECODING_ERROR},
    {104, 1, LDAP_DECODING_ERROR},
    {113, 7, LDAP_SUCCESS}, // optional lists
    {115, 9, LDAP_SUCCESS},
    {117, 8, LDAP_SUCCESS},
    {119, 8, LDAP_SUCCESS},
    {123, 6, LDAP_SUCCESS},
};

int outcomeOfWrong(const EventSample &sample, std::size_t element) {
    if (sample.name == std::string("DebugNoItems") && element == 6)
        return LDAP_SUCCESS;
    for (const Wrong &row : wrongs)
        if (row.kind == sample.kind && row.element == element)
            return row.outcome;
    const char tag = sample.elements[element][0];
    bool isString = tag == 0x04 || (sample.kind == 99 && element == 4);
    return isString ? assertion : LDAP_DECODING_ERROR;
}

TEST_P(DamageTest, WrongTypes) {
    const Bytes boolean = fromHex("01 01 ff");
    for (std::size_t i = 0; i < GetParam().elements.size(); ++i) {
        EventSample sample = GetParam();
        sample.elements[i] = boolean;
        std::optional<Decoded> decoded = decodeAnything(sample.kind, sample.contents());
        EXPECT_EQ(decoded ? decoded->result : assertion, outcomeOfWrong(GetParam(), i)) << i;
        EXPECT_TRUE(!decoded || decoded->result == LDAP_SUCCESS || decoded->fields == "none") << i;
    }
}

void expectResultOrAssertion(unsigned kind, const Bytes &contents, std::size_t where) {
    std::optional<Decoded> decoded = decodeAnything(kind, contents);
    EXPECT_TRUE(!decoded || decoded->result == LDAP_SUCCESS ||
                decoded->result == LDAP_DECODING_ERROR)
        << where;
}

Bytes withBit(Bytes bytes, std::size_t bit) {
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ 1 << bit % 8);
    return bytes;
}

TEST_P(DamageTest, EveryPrefixAndBitOfThePayload) {
    const Bytes contents = GetParam().contents() + eventAddress();
    for (std::size_t length = 0; length < contents.size(); ++length)
        expectResultOrAssertion(GetParam().kind, contents.substr(0, length), length);
    for (std::size_t bit = 0; bit < 8 * contents.size(); ++bit)
        expectResultOrAssertion(GetParam().kind, withBit(contents, bit), bit);
}

std::vector<Bytes> damagedNotifications(const Bytes &value) {
    std::vector<Bytes> messages;
    for (std::size_t length = 0; length < value.size(); ++length)
        messages.push_back(eventMessage(value.substr(0, length)));
    for (std::size_t bit = 0; bit < 8 * value.size(); ++bit)
        messages.push_back(eventMessage(withBit(value, bit)));
    return messages;
}

TEST_P(DamageTest, EveryPrefixAndBitOfTheNotification) {
    const Bytes value = notification(7, 0, GetParam().payload() + eventAddress());
    const std::vector<Bytes> messages = damagedNotifications(value);
    EventStream stream(messages);
    for (std::size_t i = 0; i < messages.size(); ++i) {
        MessagePtr message = stream.next();
        ASSERT_NE(message, nullptr);
        if (endsInAssertion([&] { parseEvent(stream.session(), message.get()); }))
            continue;
        NotifiedEvent event = parseEvent(stream.session(), message.get());
        bool isPrefix = i < value.size();
        EXPECT_TRUE(event.result == LDAP_DECODING_ERROR ||
                    (event.result == LDAP_SUCCESS && !isPrefix))
            << i << ": " << event.result;
        EXPECT_EQ(event.sessionResult, event.result) << i;
        EXPECT_TRUE(event.result == LDAP_SUCCESS || event.data == nullptr) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Events, DamageTest, testing::ValuesIn(eventSamples()),
                         caseName<EventSample>);

struct MalformedCase {
    const char *name;
    unsigned kind;
    Bytes contents;
    int result;
};

void PrintTo(const MalformedCase &row, std::ostream *out) {
    *out << row.name;
}

Bytes s(const Bytes &text) {
    return octetString(text);
}
Bytes numbers(int count) {
    Bytes all;
    for (int i = 1; i <= count; ++i)
        all += integer(i);
    return all;
}
Bytes general(const Bytes &lists) {
    return numbers(4) + tlv(0x85, "five") + lists;
}
Bytes moduleState(const Bytes &name, const Bytes &text) {
    return s("one") + integer(1) + name + text + s("four");
}
Bytes parameter(int type, const Bytes &value) {
    return integer(type) + s("name") + value;
}
Bytes debugEvent(int count, const Bytes &items) {
    return numbers(2) + s("one") + s("two") + integer(3) + integer(count) + tlv(0x30, items);
}
Bytes sev(const Bytes &list) {
    return s("one") + integer(1) + s("two") + list;
}
Bytes authEvent(const Bytes &list) {
    return sequence({integer(1), integer(2), s("")}) + numbers(2) + s("") + integer(3) + s("") +
           integer(4) + list;
}

constexpr int malformed = LDAP_DECODING_ERROR;
constexpr int twoToThe30 = 1 << 30;

const MalformedCase malformedCases[] = {
    {"GeneralFourStrings", 99, general(tlv(0xa7, s("a") + s("b") + s("c") + s("d"))), malformed},
    {"GeneralThreeStrings", 99, general(tlv(0xa7, s("a") + s("b") + s("c"))), 0},
    {"GeneralFiveNumbers", 99, general(tlv(0x86, numbers(5))), malformed},
    {"GeneralFourNumbers", 99, general(tlv(0x86, numbers(4))), 0},
    {"GeneralOtherElementAmongNumbers", 99, general(tlv(0x86, numbers(1) + s("a"))), malformed},
    {"GeneralNumberCrossesItsList", 99, general(fromHex("86 02 02 01 07")), malformed},
    {"GeneralListsInReverseKeepTheSecondUnread", 99,
     general(tlv(0xa7, s("a")) + tlv(0x86, numbers(1))), 0},
    {"ModuleStateEmptyName", 103, moduleState(s(""), s("t")), malformed},
    {"ModuleState31", 103, moduleState(s(Bytes(31, 'n')), s("t")), 0},
    {"ModuleState32", 103, moduleState(s(Bytes(32, 'n')), s("t")), malformed},
    {"ModuleStateText127", 103, moduleState(s("n"), s(Bytes(127, 't'))), 0},
    {"ModuleStateText128", 103, moduleState(s("n"), s(Bytes(128, 't'))), malformed},
    {"ConfigType2Tag81", 109, parameter(2, tlv(0x81, "\x01")), malformed},
    {"ConfigType5Tag82", 109, parameter(5, tlv(0x82, "\x01")), malformed},
    {"ConfigType1Tag84", 109, parameter(1, tlv(0x84, "v")), malformed},
    {"ConfigType3Tag83", 109, parameter(3, tlv(0x83, "v")), malformed},
    {"ConfigType0Tag81", 109, parameter(0, tlv(0x81, "\x01")), malformed},
    {"ConfigType4", 109, parameter(4, tlv(0x81, "\x01")), malformed},
    {"ConfigType6", 109, parameter(6, tlv(0x86, "\x01")), malformed},
    {"ConfigNegativeType", 109, parameter(-1, tlv(0x85, "")), malformed},
    {"ConfigIntegerOf5Bytes", 109, parameter(5, tlv(0x81, "\x01\x01\x01\x01\x01")), malformed},
    {"DebugUnknownItem", 112, debugEvent(1, tlv(0x88, "\x01")), malformed},
    {"DebugItemZero", 112, debugEvent(1, tlv(0x80, "\x01")), malformed},
    {"DebugUnknownItemAfterOthers", 112,
     debugEvent(4, tlv(0x82, "text") + tlv(0x83, "b") +
                       tlv(0x87, integer(1) + sequence({sequence({numbers(3)})})) + s("x")),
     malformed},
    {"DebugFewerItems", 112, debugEvent(2, tlv(0x82, "text")), malformed},
    {"DebugHostileCount", 112, debugEvent(twoToThe30, tlv(0x82, "text")), malformed},
    {"DebugBytesOfAnotherType", 112, debugEvent(1, tlv(0x85, numbers(2))), malformed},
    // The empty string of an item 5 stays unread, so that an item behind it is none.
    {"DebugItemAfterEmptyBytes", 112,
     debugEvent(2, tlv(0x85, integer(5) + s("")) + tlv(0x81, "\x01")), malformed},
    {"DebugTwoNumbersOfThree", 112, debugEvent(1, tlv(0x86, numbers(2))), malformed},
    {"DebugNegativeTriples", 112, debugEvent(1, tlv(0x87, integer(-1) + sequence({}))), 0},
    {"DebugHostileTriples", 112,
     debugEvent(1, tlv(0x87, integer(twoToThe30) + sequence({sequence({numbers(3)})}))), malformed},
    {"DebugFewerTriples", 112,
     debugEvent(1, tlv(0x87, integer(2) + sequence({sequence({numbers(3)})}))), malformed},
    {"SevHostileCount", 102,
     sev(sequence({integer(twoToThe30), sequence({sequence({integer(1), s("v")})})})), malformed},
    {"SevNegativeCount", 102, sev(sequence({integer(-1), sequence({})})), 0},
    {"SevFewerReferrals", 102,
     sev(sequence({integer(2), sequence({sequence({integer(1), s("")})})})), malformed},
    {"SevListWithoutEntries", 102, sev(sequence({integer(1)})), malformed},
    {"StringWithNulInAList", 113, authEvent(tlv(0x80, sequence({s(Bytes("a\0b", 3))}))), malformed},
    {"NumberInAList", 113, authEvent(tlv(0x80, sequence({integer(1)}))), malformed},
    {"BareStringInAList", 113, authEvent(tlv(0x80, s("a"))), malformed},
    {"StringCrossesItsList", 113, authEvent(fromHex("80 04 30 03 04 02 61 61")), malformed},
    {"ElementsBehindTheStringAreTheNextString", 113,
     authEvent(tlv(0x80, sequence({s("a"), sequence({s("b")})}))), 0},
    {"AddressWithoutString", 125, integer(1) + s("one") + integer(1), malformed},
    {"AddressOfAnotherType", 125, integer(1) + s("one") + numbers(2), malformed},
    {"AddressNumberOf5Bytes", 125, integer(1) + s("one") + fromHex("02 05 01 01 01 01 01 04 00"),
     malformed},
};

class MalformedTest : public testing::TestWithParam<MalformedCase> {};

TEST_P(MalformedTest, GivesTheCode) {
    const MalformedCase &row = GetParam();
    bool isAddress = row.kind == 125; // after the address' failure the record is there
    Decoded decoded = decode(row.kind, row.contents);
    EXPECT_EQ(decoded.result, row.result);
    EXPECT_EQ(decoded.sessionResult, row.result);
    EXPECT_EQ(decoded.fields == "none", row.result != LDAP_SUCCESS && !isAddress);
    EXPECT_EQ(decoded.address, "none");
}

INSTANTIATE_TEST_SUITE_P(Events, MalformedTest, testing::ValuesIn(malformedCases),
                         caseName<MalformedCase>);

// What Auth's second string fails with is not looked at.
TEST(AuthEvent, MissingSecondStringIsMissedLater) {
    Bytes contents = sequence({integer(1), integer(2), s("")}) + numbers(2) + s("") + integer(3);
    EXPECT_EQ(decode(113, contents).result, malformed);
    EXPECT_EQ(decode(113, contents + fromHex("04 7f")).result, malformed);
}

TEST(UpdateEvent, WhateverTheEventType) {
    Session session;
    const Bytes contents = sequence({integer(1), integer(2), s("")}) + numbers(3) + s("a") +
                           s("b") + s("c") + integer(4);
    for (int type : {-1, 0, 1, 117, 1 << 30}) {
        BerPtr ber = decoderOf(contents);
        void *event = nullptr, *address = nullptr;
        EXPECT_EQ(parseUpdateEventData(session, ber.get(), type, &event, &address), 0);
        EXPECT_EQ(describeRecord(117, event),
                  "connection=1/2/NULL number1=1 number2=2 number3=3 string1=a string2=b string3=c "
                  "sequence1=NULL number4=4");
        ldap_event_free(event);
    }
}

// A list of 100,000 strings costs by the string, and not by their square.
TEST(StringSequence, Long) {
    Bytes items;
    for (int i = 0; i < 100000; ++i)
        items += sequence({s("a")});
    Decoded decoded = decode(113, authEvent(tlv(0x80, items)));
    EXPECT_EQ(decoded.result, LDAP_SUCCESS);
    EXPECT_GT(decoded.fields.size(), 200000U);
}

} // namespace
} // namespace qldapx_test
