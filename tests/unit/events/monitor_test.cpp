// The registration for events: what is sent, and what becomes of the server's answer.
#include "events/notified.h"
#include "support/case_name.h"

namespace qldapx_test {
namespace {

constexpr char plainOid[] = "2.16.840.1.907341.1.27.100.79";
constexpr char filteredOid[] = "2.16.840.1.907341.1.27.100.84";
constexpr char responseOid[] = "2.16.840.1.907341.1.27.100.80";
constexpr int unset = -4711;

int resultCode(LDAP *ld) {
    int code = unset;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code;
}

// What a registration sends, as hex; its message id is 1.
template <class Call>
std::string sent(Call call) {
    ScriptedPeer peer({});
    LDAP *ld = peer.session();
    int id = 0, busy = LDAP_BUSY;
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &busy);
    EXPECT_EQ(call(ld, &id), LDAP_SUCCESS);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(resultCode(ld), LDAP_SUCCESS);
    return toHex(peer.received().at(0));
}

std::string request(const char *oid, const char *value) {
    return toHex(ldapMessage(1, extendedRequest(oid, fromHex(value))));
}

TEST(MonitorEvents, Sends) {
    EventSpecification events[] = {{7, 0}, {-1, 300}};
    EXPECT_EQ(sent([&](LDAP *ld, int *id) { return ldap_monitor_events(ld, 2, events, id); }),
              request(plainOid, "30 84 00 00 00 22 02 01 02 31 84 00 00 00 19"
                                "30 84 00 00 00 06 02 01 07 0a 01 00"
                                "30 84 00 00 00 07 02 01 ff 0a 02 01 2c"));
}

TEST(MonitorEvents, SendsNegativeCountAsItIs) {
    EventSpecification events[] = {{7, 0}};
    EXPECT_EQ(sent([&](LDAP *ld, int *id) { return ldap_monitor_events(ld, -1, events, id); }),
              request(plainOid, "30 84 00 00 00 09 02 01 ff 31 84 00 00 00 00"));
}

TEST(MonitorEventsFiltered, Sends) {
    char filter[] = "(a=b)", empty[] = "";
    FilteredEventSpecification events[] = {{7, 1, filter}, {8, 2, empty}};
    EXPECT_EQ(
        sent([&](LDAP *ld, int *id) { return ldap_monitor_events_filtered(ld, 2, events, id); }),
        request(filteredOid, "30 84 00 00 00 2a 02 01 02 31 84 00 00 00 21"
                             "30 84 00 00 00 0d 02 01 07 0a 01 01 04 05 28 61 3d 62 29"
                             "30 84 00 00 00 08 02 01 08 0a 01 02 04 00"));
}

TEST(MonitorEventsFiltered, SendsNegativeCountAsItIs) {
    char filter[] = "(a=b)";
    FilteredEventSpecification events[] = {{7, 1, filter}};
    EXPECT_EQ(
        sent([&](LDAP *ld, int *id) { return ldap_monitor_events_filtered(ld, -7, events, id); }),
        request(filteredOid, "30 84 00 00 00 09 02 01 f9 31 84 00 00 00 00"));
}

TEST(MonitorEvents, NothingToMonitor) {
    ScriptedPeer peer({});
    LDAP *ld = peer.session();
    int id = unset, busy = LDAP_BUSY;
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &busy);
    EventSpecification events[] = {{7, 0}};
    char filter[] = "(a=b)";
    FilteredEventSpecification filtered[] = {{7, 0, filter}};
    EXPECT_EQ(ldap_monitor_events(ld, 0, events, &id), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_monitor_events(ld, 1, nullptr, &id), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_monitor_events_filtered(ld, 0, filtered, &id), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_monitor_events_filtered(ld, 1, nullptr, &id), LDAP_PARAM_ERROR);
    EXPECT_EQ(id, unset);
    EXPECT_EQ(resultCode(ld), LDAP_BUSY); // which these leave alone
    EXPECT_TRUE(peer.received().empty());
}

TEST(MonitorEvents, SendFails) {
    Session session; // nobody listens
    const int version = LDAP_VERSION3;
    ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
    EventSpecification events[] = {{7, 0}};
    int id = unset;
    EXPECT_EQ(ldap_monitor_events(session, 1, events, &id), LDAP_SERVER_DOWN);
    EXPECT_EQ(session.resultCode(), LDAP_SERVER_DOWN);
}

Bytes event(int type, int result) {
    return sequence({integer(type), tlv(0x0a, integer(result).substr(2))});
}

Bytes events(int count, std::initializer_list<Bytes> list) {
    return sequence({integer(count), tlv(0x31, join(list))});
}

struct AnswerCase {
    const char *name;
    Bytes operation;
    int result;
    int resultCode;
    const char *events;
};

void PrintTo(const AnswerCase &row, std::ostream *out) {
    *out << row.name;
}

Bytes answer(const Bytes &value) {
    return extendedResponse(0, responseOid, value);
}

constexpr int malformed = LDAP_DECODING_ERROR;
constexpr int twoToThe30 = 1 << 30;

const AnswerCase answerCases[] = {
    {"TwoEvents", answer(events(2, {event(7, 0), event(-8, 9)})), 0, 0, "2: 7/0 -8/9"},
    {"NoEvents", answer(events(0, {})), 0, 0, "0:"},
    {"LongLengths",
     answer(
         longTlv(0x30, integer(1) + longTlv(0x31, longTlv(0x30, event(7, 1).substr(2), 4), 4), 4)),
     0, 0, "1: 7/1"},
    {"FewerThanSent", answer(events(1, {event(7, 0), event(8, 0)})), 0, 0, "1: 7/0"},
    {"ShortestEvents",
     answer(events(2, {fromHex("30 04 02 00 0a 00"), fromHex("30 04 02 00 0a 00")})), 0, 0,
     "2: 0/0 0/0"},
    // What the server says beside the list.
    {"ServerRefuses", extendedResponse(53, responseOid, std::nullopt), 0, 53, "0 none"},
    {"ServerRefusesWithoutOid", extendedResponse(50, std::nullopt, std::nullopt), 0, 50, "0 none"},
    {"NoOid", extendedResponse(0, std::nullopt, events(1, {event(7, 0)})), 0, 0, "0 none"},
    {"NoValue", extendedResponse(0, responseOid, std::nullopt), 0, 0, "0 none"},
    {"OtherOid", extendedResponse(0, "2.16.840.1.907341.1.27.100.81", events(1, {event(7, 0)})),
     malformed, 0, "0 none"},
    {"LongerOid", extendedResponse(0, "2.16.840.1.907341.1.27.100.800", events(1, {event(7, 0)})),
     malformed, 0, "0 none"},
    {"ShortOid", extendedResponse(0, "2.16", events(1, {event(7, 0)})), malformed, 0, "0 none"},
    {"OtherOidOfARefusal", extendedResponse(53, "1.2.3", std::nullopt), malformed, 53, "0 none"},
    // Bodies that do not begin as a list are none.
    {"EmptyValue", answer(""), 0, 0, "0 none"},
    {"NotASequence", answer(octetString("abcdef")), 0, 0, "0 none"},
    {"SequenceTooLong", answer(fromHex("30 7f 02 01 01")), 0, 0, "0 none"},
    {"EmptySequence", answer(sequence({})), 0, 0, "0 none"},
    {"NoCount", answer(sequence({set({event(7, 0)})})), 0, 0, "0 none"},
    {"CountOf5Bytes", answer(sequence({fromHex("02 05 01 01 01 01 01"), set({})})), 0, 0, "0 none"},
    {"SequenceForSet", answer(sequence({integer(1), sequence({event(7, 0)})})), 0, 0, "0 none"},
    {"NoSet", answer(sequence({integer(1)})), 0, 0, "0 none"},
    // Lists that are not what they begin as.
    {"MoreThanSent", answer(events(2, {event(7, 0)})), malformed, 0, "0 none"},
    {"HostileCount", answer(events(twoToThe30, {event(7, 0)})), malformed, 0, "0 none"},
    {"NegativeCount", answer(events(-1, {})), malformed, 0, "0 none"},
    {"EntryWithoutResult", answer(events(1, {sequence({integer(7), ""}) + "xxxx"})), malformed, 0,
     "0 none"},
    {"IntegerForEnumerated", answer(events(1, {sequence({integer(7), integer(0)})})), malformed, 0,
     "0 none"},
    {"SecondEntryMalformed", answer(events(2, {event(7, 0), octetString("abcd")})), malformed, 0,
     "0 none"},
};

struct Answer {
    int result = unset;
    int resultCode = unset;
    int count = unset;
    EventSpecification *events = nullptr;
};

std::string describe(const Answer &answer) {
    std::string all = std::to_string(answer.count) + (answer.events == nullptr ? " none" : ":");
    for (int i = 0; answer.events != nullptr && i < answer.count; ++i)
        all += " " + std::to_string(answer.events[i].eventType) + "/" +
               std::to_string(answer.events[i].eventResult);
    return all;
}

class AnswerTest : public testing::TestWithParam<AnswerCase> {};

TEST_P(AnswerTest, GivesTheEvents) {
    const AnswerCase &row = GetParam();
    EventStream stream({row.operation});
    MessagePtr message = stream.next();
    static EventSpecification untouched;
    Answer answer;
    answer.events = &untouched;
    char untouchedText = 0;
    char *text = &untouchedText;
    answer.result =
        ldap_parse_monitor_events_response(stream.session(), message.get(), &answer.resultCode,
                                           &text, &answer.count, &answer.events, 0);
    EXPECT_EQ(answer.result, row.result);
    EXPECT_EQ(resultCode(stream.session()), row.result);
    EXPECT_EQ(answer.resultCode, row.resultCode);
    EXPECT_EQ(describe(answer), row.events);
    EXPECT_EQ(text, nullptr); // libldap's word for an empty message
    ldapx_memfree(answer.events);
}

// Only the result code: the body is not looked at.
TEST_P(AnswerTest, WithoutOutputs) {
    const AnswerCase &row = GetParam();
    bool isBodyAtFault = row.result != LDAP_SUCCESS &&
                         row.operation.find(responseOid + 1) != Bytes::npos &&
                         row.name != std::string("LongerOid");
    EventStream stream({row.operation, row.operation});
    MessagePtr message = stream.next();
    int code = unset, count = unset;
    EventSpecification *list = nullptr;
    int expected = isBodyAtFault ? LDAP_SUCCESS : row.result;
    for (bool isWithCount : {true, false}) {
        EXPECT_EQ(ldap_parse_monitor_events_response(stream.session(), message.get(), &code,
                                                     nullptr, isWithCount ? &count : nullptr,
                                                     isWithCount ? nullptr : &list, 0),
                  expected);
        EXPECT_EQ(code, row.resultCode);
        EXPECT_EQ(resultCode(stream.session()), expected);
    }
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Events, AnswerTest, testing::ValuesIn(answerCases), caseName<AnswerCase>);

TEST(MonitorEventsResponse, ResultCodeIsNeeded) {
    EventStream stream({answer(events(1, {event(7, 0)}))});
    MessagePtr message = stream.next();
    int count = unset;
    char untouched = 0;
    char *text = &untouched;
    static EventSpecification none;
    EventSpecification *list = &none;
    EXPECT_EQ(ldap_parse_monitor_events_response(stream.session(), message.get(), nullptr, &text,
                                                 &count, &list, 1),
              LDAP_PARAM_ERROR);
    EXPECT_EQ(resultCode(stream.session()), LDAP_PARAM_ERROR);
    EXPECT_EQ(count, unset);
    EXPECT_EQ(text, &untouched);
    EXPECT_EQ(list, &none);
}

TEST(MonitorEventsResponse, DiagnosticMessage) {
    const Bytes operation =
        tlv(0x78, join({tlv(0x0a, Bytes(1, 53)), octetString(""), octetString("no events today")}));
    EventStream stream({operation});
    MessagePtr message = stream.next();
    int code = 0;
    char *text = nullptr;
    EXPECT_EQ(ldap_parse_monitor_events_response(stream.session(), message.get(), &code, &text,
                                                 nullptr, nullptr, 0),
              LDAP_SUCCESS);
    EXPECT_EQ(code, 53);
    EXPECT_STREQ(text, "no events today");
    ldap_memfree(text);
}

TEST(MonitorEventsResponse, OtherMessages) {
    struct Other {
        Bytes operation;
        int result;
    };
    const Other others[] = {
        {eventMessage(notification(7, 0, "")), LDAP_NO_RESULTS_RETURNED},
        {searchEntry("cn=a"), LDAP_NO_RESULTS_RETURNED},
        {searchDone(0), LDAP_PARAM_ERROR},
    };
    for (const Other &other : others) {
        EventStream stream({other.operation});
        MessagePtr message = stream.next();
        int code = unset, count = unset;
        EventSpecification *list = nullptr;
        EXPECT_EQ(ldap_parse_monitor_events_response(stream.session(), message.get(), &code,
                                                     nullptr, &count, &list, 0),
                  other.result);
        EXPECT_EQ(resultCode(stream.session()), other.result);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(list, nullptr);
    }
}

// AddressSanitizer sees a message that is released twice, and one that is not.
TEST(MonitorEventsResponse, FreeIt) {
    EventStream stream({answer(events(1, {event(7, 0)}))});
    MessagePtr message = stream.next();
    Answer answer;
    EXPECT_EQ(ldap_parse_monitor_events_response(stream.session(), message.release(),
                                                 &answer.resultCode, nullptr, &answer.count,
                                                 &answer.events, 1),
              LDAP_SUCCESS);
    EXPECT_EQ(describe(answer), "1: 7/0");
    ldapx_memfree(answer.events);
}

// Every prefix and every changed bit of a response's value.
TEST(MonitorEventsResponse, DamagedValue) {
    const Bytes value = events(2, {event(7, 0), event(8, 1)});
    std::vector<Bytes> damaged;
    for (std::size_t length = 0; length < value.size(); ++length)
        damaged.push_back(value.substr(0, length));
    for (std::size_t bit = 0; bit < 8 * value.size(); ++bit) {
        damaged.push_back(value);
        damaged.back()[bit / 8] = static_cast<char>(damaged.back()[bit / 8] ^ 1 << bit % 8);
    }
    for (const Bytes &bytes : damaged) {
        EventStream stream({answer(bytes)});
        MessagePtr message = stream.next();
        Answer answer;
        answer.result =
            ldap_parse_monitor_events_response(stream.session(), message.get(), &answer.resultCode,
                                               nullptr, &answer.count, &answer.events, 0);
        EXPECT_TRUE(answer.result == LDAP_SUCCESS || answer.result == malformed) << toHex(bytes);
        EXPECT_TRUE(answer.events != nullptr || answer.count == 0) << toHex(bytes);
        ldapx_memfree(answer.events);
    }
}

} // namespace
} // namespace qldapx_test
