// Event notifications: the frame around the payload, its failures, the address, freeit.
#include "events/notified.h"
#include "support/case_name.h"

namespace qldapx_test {
namespace {

constexpr char oid[] = "2.16.840.1.907341.1.27.100.81";
constexpr int unset = -4711;

// Intermediate response with a name or none, and a value or none.
Bytes intermediate(const std::optional<Bytes> &name, const std::optional<Bytes> &value) {
    return tlv(0x79, (name ? tlv(0x80, *name) : "") + (value ? tlv(0x81, *value) : ""));
}

const Bytes bindery =
    tlv(0x65, join({octetString("one"), integer(1), integer(2), integer(3), octetString("two")}));
constexpr char binderyFields[] = "string1=one number1=1 number2=2 number3=3 string2=two";

struct FrameCase {
    const char *name;
    Bytes operation;
    int result;
    int type;
    int eventResult;
    const char *fields;
};

void PrintTo(const FrameCase &row, std::ostream *out) {
    *out << row.name;
}

constexpr int malformed = LDAP_DECODING_ERROR;

const FrameCase frameCases[] = {
    {"Whole", eventMessage(notification(7, 8, bindery)), 0, 7, 8, binderyFields},
    {"LongLengths",
     eventMessage(longTlv(0x30, integer(7) + integer(8) + longTlv(0x65, bindery.substr(2), 4), 4)),
     0, 7, 8, binderyFields},
    {"NoPayload", eventMessage(notification(7, 8, "")), 0, 7, 8, "none"},
    {"Kind100", eventMessage(notification(7, 8, tlv(100, integer(1)))), 0, 7, 8, "none"},
    {"Kind100WithNonsense", eventMessage(notification(7, 8, tlv(100, "\xff"))), 0, 7, 8, "none"},
    {"Kind106", eventMessage(notification(7, 8, tlv(106, ""))), 0, 7, 8, "none"},
    {"Kind107", eventMessage(notification(7, 8, tlv(107, ""))), 0, 7, 8, "none"},
    {"Kind110", eventMessage(notification(7, 8, tlv(110, ""))), 0, 7, 8, "none"},
    {"Kind126", eventMessage(notification(7, 8, tlv(126, ""))), 0, 7, 8, "none"},
    {"Kind96", eventMessage(notification(7, 8, tlv(96, ""))), 0, 7, 8, "none"},
    {"UniversalPayload", eventMessage(notification(7, 8, octetString("x"))), 0, 7, 8, "none"},
    {"PayloadLongerThanTheRest", eventMessage(notification(7, 8, fromHex("65 05 04"))), malformed,
     7, 8, "none"},
    {"PayloadMalformed", eventMessage(notification(7, 8, tlv(0x65, integer(1).substr(0, 2)))),
     malformed, 7, 8, "none"},
    {"AddressMalformed", eventMessage(notification(7, 8, bindery + integer(1))), malformed, 7, 8,
     "none"},
    {"NetAddressMalformed", eventMessage(notification(7, 8, tlv(0x68, integer(1)))), malformed, 7,
     8, "none"},
    {"OtherName", intermediate("2.16.840.1.907341.1.27.100.82", notification(7, 8, bindery)),
     malformed, unset, unset, "none"},
    {"LongerName", intermediate(Bytes(oid) + "0", notification(7, 8, bindery)), malformed, unset,
     unset, "none"},
    {"ShorterName", intermediate(Bytes(oid, 10), notification(7, 8, bindery)), malformed, unset,
     unset, "none"},
    {"EmptyName", intermediate("", notification(7, 8, bindery)), malformed, unset, unset, "none"},
    {"NulForName", intermediate(Bytes(1, '\0'), notification(7, 8, bindery)), malformed, unset,
     unset, "none"},
    {"NulInName", intermediate("2.16" + Bytes(1, '\0') + "8", notification(7, 8, bindery)),
     malformed, unset, unset, "none"},
    // It ends the string, as in all of liblber.
    {"NulBehindName", intermediate(Bytes(oid) + Bytes(1, '\0'), notification(7, 8, bindery)), 0, 7,
     8, binderyFields},
    {"MoreBehindNul", intermediate(Bytes(oid) + Bytes("\0x", 2), notification(7, 8, bindery)),
     malformed, unset, unset, "none"},
    {"OtherByteBehindName", intermediate(Bytes(oid) + "1", notification(7, 8, bindery)), malformed,
     unset, unset, "none"},
    // As libldap takes it from servers that tag it so.
    {"TagsOfAnExtendedResponse", tlv(0x79, tlv(0x8a, oid) + tlv(0x8b, notification(7, 8, bindery))),
     0, 7, 8, binderyFields},
    {"ValueBeforeName", tlv(0x79, tlv(0x81, notification(7, 8, bindery)) + tlv(0x80, oid)),
     malformed, unset, unset, "none"},
    {"EmptyOperation", tlv(0x79, ""), malformed, unset, unset, "none"},
    {"NameTruncated", tlv(0x79, fromHex("80 7f 32")), malformed, unset, unset, "none"},
    {"NoName", intermediate(std::nullopt, notification(7, 8, bindery)), malformed, unset, unset,
     "none"},
    {"NoValue", intermediate(oid, std::nullopt), malformed, unset, unset, "none"},
    {"EmptyValue", intermediate(oid, ""), malformed, unset, unset, "none"},
    {"NotASequence", eventMessage(octetString("abc")), malformed, unset, unset, "none"},
    {"NoEventResult", eventMessage(sequence({integer(7)})), malformed, 7, unset, "none"},
    {"TextForEventType", eventMessage(sequence({octetString("a"), integer(8)})), malformed, unset,
     unset, "none"},
};

class FrameTest : public testing::TestWithParam<FrameCase> {};

TEST_P(FrameTest, GivesTheCode) {
    const FrameCase &row = GetParam();
    EventStream stream({row.operation});
    MessagePtr message = stream.next();
    int type = unset, result = unset, session = 0;
    static char untouched;
    void *data = &untouched;
    EXPECT_EQ(ldap_parse_ds_event(stream.session(), message.get(), &type, &result, &data, 0),
              row.result);
    ldap_get_option(stream.session(), LDAP_OPT_RESULT_CODE, &session);
    EXPECT_EQ(session, row.result);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(result, row.eventResult);
    EventPtr owner(data);
    EXPECT_EQ(describeRecord(101, data), row.fields);
}

INSTANTIATE_TEST_SUITE_P(Events, FrameTest, testing::ValuesIn(frameCases), caseName<FrameCase>);

TEST(Notification, AddressIsDelivered) {
    NotifiedEvent event = notified(notification(7, 0, bindery + eventAddress()));
    EXPECT_EQ(event.result, LDAP_SUCCESS);
    EXPECT_EQ(describeRecord(101, event.data.get()), binderyFields);
    EXPECT_EQ(describeRecord(104, event.address.get()), "addressType=1 length=4 value=7f 00 00 01");
    EXPECT_EQ(ldapx_event_kind(event.address.get()), 104);
}

// The address may stand inside the payload's element as well.
TEST(Notification, AddressInsideThePayload) {
    NotifiedEvent event =
        notified(notification(7, 0, tlv(0x65, bindery.substr(2) + eventAddress())));
    EXPECT_EQ(describeRecord(101, event.data.get()), binderyFields);
    EXPECT_EQ(describeRecord(104, event.address.get()), "addressType=1 length=4 value=7f 00 00 01");
}

TEST(Notification, NetAddressAndAnother) {
    Bytes payload = tlv(0x68, integer(3) + octetString("xyz"));
    NotifiedEvent event = notified(notification(7, 0, payload + eventAddress()));
    EXPECT_EQ(describeRecord(104, event.data.get()), "addressType=3 length=3 value=78 79 7a");
    EXPECT_EQ(describeRecord(104, event.address.get()), "addressType=1 length=4 value=7f 00 00 01");
}

TEST(Notification, AddressIsLeftAsItWas) {
    EventStream stream({eventMessage(notification(7, 0, bindery))});
    MessagePtr message = stream.next();
    static char untouched;
    void *data = nullptr, *address = &untouched;
    int type = 0, result = 0;
    EXPECT_EQ(
        ldap_parse_ds_event_IP(stream.session(), message.get(), &type, &result, &data, 0, &address),
        0);
    EXPECT_EQ(address, &untouched);
    ldap_event_free(data);
}

TEST(Notification, AddressIsDropped) {
    EventStream stream({eventMessage(notification(7, 0, bindery + eventAddress())),
                        eventMessage(notification(7, 0, bindery + eventAddress()))});
    for (bool isWithoutPlace : {true, false}) {
        MessagePtr message = stream.next();
        void *data = nullptr;
        int type = 0, result = 0;
        int code = isWithoutPlace ? ldap_parse_ds_event_IP(stream.session(), message.get(), &type,
                                                           &result, &data, 0, nullptr)
                                  : ldap_parse_ds_event(stream.session(), message.get(), &type,
                                                        &result, &data, 0);
        EXPECT_EQ(code, LDAP_SUCCESS);
        EXPECT_EQ(describeRecord(101, data), binderyFields);
        ldap_event_free(data);
    }
}

TEST(Notification, HeaderAlone) {
    EventStream stream({eventMessage(notification(7, 8, tlv(0x65, "\xff") + integer(1)))});
    MessagePtr message = stream.next();
    int type = 0, result = 0;
    void *address = nullptr;
    EXPECT_EQ(ldap_parse_ds_event_IP(stream.session(), message.get(), &type, &result, nullptr, 0,
                                     &address),
              LDAP_SUCCESS);
    EXPECT_EQ(type, 7);
    EXPECT_EQ(result, 8);
    EXPECT_EQ(address, nullptr);
}

TEST(Notification, NumbersAreNeeded) {
    EventStream stream({eventMessage(notification(7, 8, bindery))});
    MessagePtr message = stream.next();
    LDAP *ld = stream.session();
    int number = unset, session = 0;
    static char untouched;
    void *data = &untouched;
    EXPECT_EQ(ldap_parse_ds_event(ld, message.get(), nullptr, &number, &data, 1), LDAP_PARAM_ERROR);
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &session);
    EXPECT_EQ(session, LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_parse_ds_event(ld, message.get(), &number, nullptr, &data, 1), LDAP_PARAM_ERROR);
    EXPECT_EQ(number, unset);
    EXPECT_EQ(data, &untouched);
}

TEST(Notification, OtherMessage) {
    EventStream stream({extendedResponse(0, std::nullopt, std::nullopt)});
    MessagePtr message = stream.next();
    NotifiedEvent event = parseEvent(stream.session(), message.get());
    EXPECT_EQ(event.result, LDAP_PARAM_ERROR);
    EXPECT_EQ(event.sessionResult, LDAP_PARAM_ERROR);
    EXPECT_EQ(event.data, nullptr);
}

TEST(Notification, VersionTwoHasNoEvents) {
    EventStream stream({eventMessage(notification(7, 0, bindery))});
    MessagePtr message = stream.next();
    const int version = LDAP_VERSION2;
    ldap_set_option(stream.session(), LDAP_OPT_PROTOCOL_VERSION, &version);
    NotifiedEvent event = parseEvent(stream.session(), message.get());
    EXPECT_EQ(event.result, LDAP_NOT_SUPPORTED);
    EXPECT_EQ(event.sessionResult, LDAP_NOT_SUPPORTED);
}

// The message stays as it was: it may be parsed again.
TEST(Notification, ParsedTwice) {
    EventStream stream({eventMessage(notification(7, 0, bindery))});
    MessagePtr message = stream.next();
    for (int i = 0; i < 2; ++i) {
        NotifiedEvent event = parseEvent(stream.session(), message.get());
        EXPECT_EQ(event.result, LDAP_SUCCESS);
        EXPECT_EQ(describeRecord(101, event.data.get()), binderyFields);
    }
}

// Controls behind the operation are not its parts.
TEST(Notification, WithControls) {
    const Bytes control = sequence({octetString("1.2.3"), octetString("v")});
    const Bytes message =
        sequence({integer(1), eventMessage(notification(7, 0, bindery)), tlv(0xa0, control)});
    ScriptedPeer peer({ScriptedPeer::raw(message)});
    EventSpecification wanted{7, 0};
    int id = 0;
    ASSERT_EQ(ldap_monitor_events(peer.session(), 1, &wanted, &id), LDAP_SUCCESS);
    timeval patience{10, 0};
    LDAPMessage *raw = nullptr;
    ASSERT_GT(ldap_result(peer.session(), id, LDAP_MSG_ONE, &patience, &raw), 0);
    MessagePtr owner(raw);
    NotifiedEvent event = parseEvent(peer.session(), raw);
    EXPECT_EQ(event.result, LDAP_SUCCESS);
    EXPECT_EQ(describeRecord(101, event.data.get()), binderyFields);
}

// AddressSanitizer sees a message that is released twice, and one that is not.
TEST(Notification, FreeIt) {
    EventStream stream({eventMessage(notification(7, 0, bindery)),
                        intermediate("1.2.3", notification(7, 0, bindery))});
    for (int expected : {LDAP_SUCCESS, LDAP_DECODING_ERROR}) {
        MessagePtr message = stream.next();
        void *data = nullptr;
        int type = 0, result = 0;
        EXPECT_EQ(
            ldap_parse_ds_event(stream.session(), message.release(), &type, &result, &data, 1),
            expected);
        EXPECT_EQ(data == nullptr, expected != LDAP_SUCCESS);
        ldap_event_free(data);
    }
}

TEST(Notification, FreeOfNothing) {
    ldap_event_free(nullptr);
}

// A million events of all kinds, well-formed and not.
TEST(Notification, Million) {
    constexpr int batches = 100, batchSize = 10000;
    struct Message {
        Bytes operation;
        int result;
    };
    std::vector<Message> kinds;
    for (const EventSample &sample : eventSamples()) {
        const Bytes value = notification(7, 0, sample.payload());
        const Bytes cut =
            notification(7, 0, sample.payload().substr(0, sample.payload().size() - 1));
        kinds.push_back({eventMessage(value), LDAP_SUCCESS});
        kinds.push_back({eventMessage(value.substr(0, value.size() - 1)), LDAP_DECODING_ERROR});
        kinds.push_back({eventMessage(cut), LDAP_DECODING_ERROR});
    }
    unsigned next = 1;
    for (int batch = 0; batch < batches; ++batch) {
        std::vector<Bytes> operations;
        std::vector<int> results;
        for (int i = 0; i < batchSize; ++i) {
            next = next * 1664525U + 1013904223U; // any order will do, as long as it is mixed
            const Message &message = kinds[(next >> 8) % kinds.size()];
            operations.push_back(message.operation);
            results.push_back(message.result);
        }
        EventStream stream(std::move(operations));
        for (int expected : results) {
            MessagePtr message = stream.next();
            ASSERT_EQ(parseEvent(stream.session(), message.get()).result, expected);
        }
    }
}

} // namespace
} // namespace qldapx_test
