// Every kind of payload in all its variants: what the decoders make of it, directly and out of a
// notification.
#include "events/decode.h"
#include "events/notified.h"
#include "support/case_name.h"

namespace qldapx_test {
namespace {

class PayloadTest : public testing::TestWithParam<EventSample> {};

TEST_P(PayloadTest, Decodes) {
    Decoded decoded = decode(GetParam().kind, GetParam().contents());
    EXPECT_EQ(decoded.result, LDAP_SUCCESS);
    EXPECT_EQ(decoded.sessionResult, LDAP_SUCCESS);
    EXPECT_EQ(decoded.fields, GetParam().fields);
    EXPECT_EQ(decoded.address, "none");
}

struct Hidden {
    const char *name;
    int result;
    std::string fields;
};

// Payloads that an address behind them cannot be told from: what comes of it instead.
const Hidden hidden[] = {
    {"ValueWithoutNumber", 0,
     "number0=1 string1=1 string2=2 string3=3 string4=4 string5=5 number1=1 number2=2 number3=3 "
     "valueLength=1 value=76"},
    {"ValueBare", 0,
     "number0=1 string1=1 string2=2 string3=3 string4=4 string5=5 number1=1 number2=2 number3=3 "
     "valueLength=0 value=NULL"},
    // The empty element stays unread.
    {"NetAddressEmpty", 0, "addressType=7 length=0 value="},
    {"ConfigNone", 0, "paramType=0 paramName=name intValue=0 stringValue=NULL"},
    {"DebugEmptyItems", 0,
     "number1=1 number2=2 string1=one string2=two number3=3 itemCount=4 items=2:NULL 3:0:NULL "
     "7:0: 5:5:0:NULL"},
    // A list that may only be absent at the end.
    {"SevWithoutList", LDAP_DECODING_ERROR, "none"},
    {"SearchWithoutLists", LDAP_DECODING_ERROR, "none"},
    {"SearchEntryResponseBare", LDAP_DECODING_ERROR, "none"},
};

const Hidden *hiddenBy(const EventSample &sample) {
    for (const Hidden &row : hidden)
        if (sample.name == std::string(row.name))
            return &row;
    return nullptr;
}

TEST_P(PayloadTest, AddressBehindIt) {
    Decoded decoded = decode(GetParam().kind, GetParam().contents() + eventAddress());
    if (const Hidden *expected = hiddenBy(GetParam())) {
        EXPECT_EQ(decoded.result, expected->result);
        EXPECT_EQ(decoded.fields, expected->fields);
        EXPECT_EQ(decoded.address, "none");
        return;
    }
    EXPECT_EQ(decoded.result, LDAP_SUCCESS);
    EXPECT_EQ(decoded.fields, GetParam().fields);
    EXPECT_EQ(decoded.address, "addressType=1 length=4 value=7f 00 00 01");
    EXPECT_EQ(decoded.left, 0U);
}

TEST_P(PayloadTest, OutOfANotification) {
    NotifiedEvent event = notified(notification(7, -3, GetParam().payload()));
    EXPECT_EQ(event.result, LDAP_SUCCESS);
    EXPECT_EQ(event.sessionResult, LDAP_SUCCESS);
    EXPECT_EQ(event.type, 7);
    EXPECT_EQ(event.eventResult, -3);
    ASSERT_NE(event.data, nullptr);
    EXPECT_EQ(ldapx_event_kind(event.data.get()), GetParam().kind);
    EXPECT_EQ(describeRecord(GetParam().kind, event.data.get()), GetParam().fields);
    EXPECT_EQ(event.address, nullptr);
}

// One field as text, by what ldapx_event_field says of it.
std::string describeField(const LDAPXEventField &field) {
    const auto *integers = static_cast<const std::int32_t *>(field.value);
    const auto *strings = static_cast<char *const *>(field.value);
    std::string all;
    switch (field.type) {
    case LDAPX_EVENT_INTEGER:
        return std::to_string(*integers);
    case LDAPX_EVENT_INTEGERS:
        for (std::uint32_t i = 0; i < field.count; ++i)
            all += (i == 0 ? "" : ",") + std::to_string(integers[i]);
        return all;
    case LDAPX_EVENT_STRING:
        return *strings == nullptr ? "NULL" : *strings;
    case LDAPX_EVENT_STRINGS:
        for (std::uint32_t i = 0; i < field.count; ++i)
            all += (i == 0 ? "" : ",") + std::string(strings[i] == nullptr ? "NULL" : strings[i]);
        return all;
    case LDAPX_EVENT_BYTES:
        return *strings == nullptr ? "NULL" : toHex({*strings, field.count});
    case LDAPX_EVENT_ADDRESS:
        return toHex({static_cast<const char *>(field.value), field.count});
    case LDAPX_EVENT_TEXT:
        return static_cast<const char *>(field.value);
    default:
        return "...";
    }
}

// Fields that are no text of their own here, cut out of the sample's description.
std::string withoutStructures(std::string text) {
    for (const char *name : {"connection=", "sequence1=", "sequence2=", "referrals="}) {
        std::size_t start = text.find(name);
        if (start == std::string::npos)
            continue;
        start += std::string(name).size();
        text.replace(start, text.find(' ', start) - start, "...");
    }
    std::size_t items = text.find("items=");
    return items == std::string::npos ? text : text.replace(items + 6, std::string::npos, "...");
}

// Of a parameter's value only the field that goes with its type.
std::string configFields(std::string text) {
    const char type = text.at(std::string("paramType=").size());
    auto cut = [&text](const std::string &name) {
        std::size_t start = text.find(" " + name);
        text.erase(start, text.find(' ', start + 1) - start);
    };
    if (type != '1')
        cut("stringValue=");
    if (type == '0' || type == '1')
        cut("intValue=");
    return text;
}

// The library's description of a record, against the members as the compiler sees them.
TEST_P(PayloadTest, FieldsForPrograms) {
    NotifiedEvent event = notified(notification(7, 0, GetParam().payload()));
    std::string all;
    LDAPXEventField field;
    int index = 0;
    for (; ldapx_event_field(event.data.get(), index, &field) != 0; ++index)
        all += (all.empty() ? "" : " ") + std::string(field.name) + "=" + describeField(field);
    std::string expected = withoutStructures(GetParam().fields);
    if (GetParam().kind == 109) // of the fields with a value only that of the parameter's type
        expected = configFields(expected);
    EXPECT_EQ(all, expected);
    EXPECT_EQ(ldapx_event_field(event.data.get(), index + 1, &field), 0);
    EXPECT_EQ(ldapx_event_field(event.data.get(), -1, &field), 0);
}

TEST(EventRecord, NamesByKind) {
    EXPECT_STREQ(ldapx_event_record_name(97), "EntryEventData");
    EXPECT_STREQ(ldapx_event_record_name(104), "NetAddrEventData");
    EXPECT_STREQ(ldapx_event_record_name(125), "UnknownOpData");
    for (int kind : {-1, 0, 96, 100, 106, 107, 110, 126})
        EXPECT_EQ(ldapx_event_record_name(kind), nullptr) << kind;
}

TEST(EventRecord, UnknownKindHasNoFields) {
    EventPtr event(allocEventData(8, 100));
    LDAPXEventField field;
    EXPECT_EQ(ldapx_event_kind(event.get()), 100);
    EXPECT_EQ(ldapx_event_field(event.get(), 0, &field), 0);
}

TEST(EventRecord, AllFieldsOfStructuredTypes) {
    NotifiedEvent event = notified(notification(
        7, 0,
        tlv(0x66,
            join({octetString("a"), integer(1), octetString("b"),
                  sequence({integer(1), sequence({sequence({integer(5), octetString("v")})})})}))));
    LDAPXEventField field;
    ASSERT_EQ(ldapx_event_field(event.data.get(), 4, &field), 1);
    EXPECT_STREQ(field.name, "referrals");
    EXPECT_EQ(field.type, LDAPX_EVENT_REFERRALS);
    EXPECT_EQ(field.count, 1U);
    const auto *list = *static_cast<ReferralEntry *const *>(field.value);
    EXPECT_EQ(list[0].type, 5);
}

// What a program loops over: never more than is there.
TEST(EventRecord, CountsBelowNothingAreNone) {
    const Bytes strings = octetString("a") + integer(1) + octetString("b");
    const Bytes numbers = integer(1) + integer(2) + octetString("a") + octetString("b");
    const Bytes payloads[] = {
        tlv(0x66, strings + sequence({integer(-5), sequence({})})),
        tlv(0x70, numbers + integer(3) + integer(-4)),
    };
    for (const Bytes &payload : payloads) {
        NotifiedEvent event = notified(notification(7, 0, payload));
        ASSERT_EQ(event.result, LDAP_SUCCESS);
        LDAPXEventField field{}, last{};
        for (int i = 0; ldapx_event_field(event.data.get(), i, &field) != 0; ++i)
            last = field;
        EXPECT_TRUE(last.type == LDAPX_EVENT_REFERRALS || last.type == LDAPX_EVENT_ITEMS);
        EXPECT_EQ(last.count, 0U) << last.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Events, PayloadTest, testing::ValuesIn(eventSamples()),
                         caseName<EventSample>);

} // namespace
} // namespace qldapx_test
