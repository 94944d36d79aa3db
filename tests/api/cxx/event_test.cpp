// Events one by one: registrations, notifications, and payloads of every kind.
#include "answers.h"
#include "support/event_samples.h"

#include <algorithm>

namespace api_test {
namespace {

namespace events = qldapx::events;
using qldapx::session_ref;

constexpr char acceptedOid[] = "2.16.840.1.907341.1.27.100.80";

// SEQUENCE { INTEGER count, SET OF SEQUENCE { INTEGER type, ENUMERATED result } }
const Bytes twoAccepted = sequence(
    {integer(2), set({fromHex("30 06 02 01 07 0a 01 00"), fromHex("30 06 02 01 15 0a 01 01")})});

Bytes acceptance() {
    return extendedResponse(LDAP_SUCCESS, acceptedOid, twoAccepted);
}

template <class List>
std::string describeTypes(const List &list) {
    std::string all;
    for (const events::specification &each : list)
        all += std::to_string(each.eventType) + "/" + std::to_string(each.eventResult) + ",";
    return all;
}

// The first message that the server sends for a registration.
qldapx::message firstAnswer(session_ref at) {
    return *at.wait(*events::request(at, {{7, 0}}));
}

TEST(CxxEventRequest, IsSent) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    EXPECT_EQ(describe(events::request(borrowed(peer), {{7, 0}, {21, 1}})), "1");
    EXPECT_EQ(peer.received().size(), 1U);
}

TEST(CxxEventRequest, NeedsAnEvent) {
    ScriptedPeer peer({});
    EXPECT_EQ(describe(events::request(borrowed(peer), {})), "-9||");
    EXPECT_EQ(describe(events::request_filtered(borrowed(peer), {})), "-9||");
}

TEST(CxxEventRequest, TakesFilters) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    char filter[] = "(cn=a)";
    EXPECT_EQ(describe(events::request_filtered(borrowed(peer), {{7, 0, filter}})), "1");
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_NE(peer.received()[0].find("2.16.840.1.907341.1.27.100.84"), Bytes::npos);
}

TEST(CxxEventAnswer, ListsWhatIsAccepted) {
    ScriptedPeer peer({ScriptedPeer::answer(acceptance())});
    const auto accepted = events::take_answer(borrowed(peer), firstAnswer(borrowed(peer)));
    ASSERT_TRUE(accepted) << describe(accepted.error());
    EXPECT_EQ(describeTypes(*accepted), "7/0,21/1,");
    EXPECT_EQ(accepted->size(), 2U);
    EXPECT_FALSE(accepted->empty());
    EXPECT_TRUE(events::accepted().empty());
}

TEST(CxxEventAnswer, IsARefusal) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal(acceptedOid))});
    const auto accepted = events::take_answer(borrowed(peer), firstAnswer(borrowed(peer)));
    ASSERT_FALSE(accepted);
    EXPECT_EQ(describe(accepted.error()), "32|said|");
}

TEST(CxxEventAnswer, DoesNotDecode) {
    ScriptedPeer peer({ScriptedPeer::answer(extendedResponse(0, "1.2.3", twoAccepted))});
    const auto accepted = events::take_answer(borrowed(peer), firstAnswer(borrowed(peer)));
    ASSERT_FALSE(accepted);
    EXPECT_EQ(describe(accepted.error()), "-4||");
}

qldapx::result<events::event> taken(ScriptedPeer &peer) {
    return events::take(borrowed(peer), firstAnswer(borrowed(peer)));
}

TEST(CxxEvent, HasNumbersAndAddress) {
    const EventSample &sample = eventSamples().front();
    ScriptedPeer peer({ScriptedPeer::answer(
        eventMessage(notification(5, 3, sample.payload() + eventAddress())))});
    const auto event = taken(peer);
    ASSERT_TRUE(event) << describe(event.error());
    EXPECT_EQ(event->type(), 5);
    EXPECT_EQ(event->result_code(), 3);
    EXPECT_EQ(event->notification().type(), LDAP_RES_INTERMEDIATE);
    ASSERT_NE(event->address(), nullptr);
    EXPECT_EQ(event->address()->addressType, 1);
    EXPECT_EQ(event->address()->length, 4U);
}

TEST(CxxEvent, ThatDoesNotDecodeIsAnError) {
    ScriptedPeer peer({ScriptedPeer::answer(eventMessage("\x30\x05"))});
    EXPECT_EQ(describe(taken(peer).error()), "-4||");
    ScriptedPeer other({ScriptedPeer::answer(refusal())});
    qldapx::message answer = firstAnswer(borrowed(other));
    EXPECT_EQ(describe(events::take(borrowed(other), std::move(answer)).error()), "-9||");
    EXPECT_TRUE(answer) << "still the caller's"; // NOLINT(bugprone-use-after-move)
}

TEST(CxxEvent, CanBeMoved) {
    const EventSample &sample = eventSamples().front();
    ScriptedPeer peer({ScriptedPeer::answer(eventMessage(notification(5, 3, sample.payload())))});
    auto event = taken(peer);
    events::event first = std::move(*event);
    const events::event second = std::move(first);
    EXPECT_FALSE(first.data()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(second.data().kind(), 97);
    EXPECT_EQ(second.address(), nullptr);
}

class CxxRawPayload : public testing::TestWithParam<unsigned char> {};

TEST_P(CxxRawPayload, IsTheNotification) {
    const Bytes value = notification(5, 3, tlv(GetParam(), "any"));
    ScriptedPeer peer({ScriptedPeer::answer(eventMessage(value))});
    const auto event = taken(peer);
    ASSERT_TRUE(event) << describe(event.error());
    EXPECT_FALSE(event->data());
    const events::payload_view payload = event->payload();
    const auto *raw = std::get_if<events::raw_payload>(&payload);
    ASSERT_NE(raw, nullptr);
    const auto bytes = raw->value();
    ASSERT_TRUE(bytes);
    EXPECT_EQ(toHex(bytes->view()), toHex(value));
}

// A kind without a record, and one that nobody knows.
INSTANTIATE_TEST_SUITE_P(Kinds, CxxRawPayload, testing::Values(100, 126));

TEST(CxxRawPayloads, OfAMessageThatIsNoneIsAnError) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal())});
    const qldapx::message answer = firstAnswer(borrowed(peer));
    EXPECT_FALSE(events::raw_payload(peer.session(), answer.get()).value());
}

/** Says which record it is, and that it is the event's. */
struct Named {
    const void *record;

    std::string operator()(const events::raw_payload &) const { return "raw"; }
#define NAMED(type)                                                                                \
    std::string operator()(const type *data) const {                                               \
        return data == record ? #type : "strange";                                                 \
    }
    NAMED(EntryEventData)
    NAMED(ValueEventData)
    NAMED(GeneralEventData)
    NAMED(BinderyEventData)
    NAMED(SEVEventData)
    NAMED(ModuleStateEventData)
    NAMED(NetAddrEventData)
    NAMED(ConnectionStateData)
    NAMED(ChangeServerAddressData)
    NAMED(ChangeConfigParamData)
    NAMED(StatusLogEventData)
    NAMED(DebugEventData)
    NAMED(AuthEventData)
    NAMED(ConnectionEventData)
    NAMED(SearchEventData)
    NAMED(SearchEntryResponseEventData)
    NAMED(UpdateEventData)
    NAMED(CompareEventData)
    NAMED(ModDNEventData)
    NAMED(AbandonEventData)
    NAMED(ExtOpEventData)
    NAMED(SysExtOpEventData)
    NAMED(ResponseEventData)
    NAMED(PasswordModifyData)
    NAMED(UnknownOpData)
#undef NAMED
};

struct RecordCase {
    unsigned kind;
    const char *record;
};

const RecordCase records[] = {
    {97, "EntryEventData"},
    {98, "ValueEventData"},
    {99, "GeneralEventData"},
    {101, "BinderyEventData"},
    {102, "SEVEventData"},
    {103, "ModuleStateEventData"},
    {104, "NetAddrEventData"},
    {105, "ConnectionStateData"},
    {108, "ChangeServerAddressData"},
    {109, "ChangeConfigParamData"},
    {111, "StatusLogEventData"},
    {112, "DebugEventData"},
    {113, "AuthEventData"},
    {114, "ConnectionEventData"},
    {115, "SearchEventData"},
    {116, "SearchEntryResponseEventData"},
    {117, "UpdateEventData"},
    {118, "CompareEventData"},
    {119, "ModDNEventData"},
    {120, "AbandonEventData"},
    {121, "ExtOpEventData"},
    {122, "SysExtOpEventData"},
    {123, "ResponseEventData"},
    {124, "PasswordModifyData"},
    {125, "UnknownOpData"},
};

class CxxPayload : public testing::TestWithParam<RecordCase> {
  protected:
    // Each in a notification of its own.
    template <class Look>
    void lookAtSamples(Look look) {
        int samples = 0;
        for (const EventSample &sample : eventSamples()) {
            if (sample.kind != GetParam().kind)
                continue;
            SCOPED_TRACE(sample.name);
            ScriptedPeer peer(
                {ScriptedPeer::answer(eventMessage(notification(1, 0, sample.payload())))});
            const auto event = taken(peer);
            ASSERT_TRUE(event) << describe(event.error());
            look(*event);
            ++samples;
        }
        EXPECT_GT(samples, 0);
    }
};

TEST_P(CxxPayload, IsVisited) {
    lookAtSamples([](const events::event &event) {
        EXPECT_EQ(std::visit(Named{event.data().get()}, event.payload()), GetParam().record);
    });
}

TEST_P(CxxPayload, HasItsFields) {
    lookAtSamples([](const events::event &event) {
        const events::record_ref data = event.data();
        EXPECT_EQ(data.kind(), static_cast<int>(GetParam().kind));
        EXPECT_EQ(data.name(), GetParam().record);
        std::string names;
        for (const events::field &field : data.fields())
            names += std::string(field.name) + " ";
        int count = 0;
        LDAPXEventField field{};
        while (ldapx_event_field(data.get(), count, &field) != 0)
            ++count;
        EXPECT_EQ(std::count(names.begin(), names.end(), ' '), count);
        EXPECT_GT(count, 0);
    });
}

INSTANTIATE_TEST_SUITE_P(All, CxxPayload, testing::ValuesIn(records),
                         [](const auto &row) { return "Kind" + std::to_string(row.param.kind); });

TEST(CxxFields, OfNoRecordAreNone) {
    const events::record_ref none;
    EXPECT_EQ(none.fields().begin(), none.fields().end());
}

TEST(CxxFields, AreGoneThroughByHand) {
    const EventSample &sample = eventSamples().front();
    ScriptedPeer peer({ScriptedPeer::answer(eventMessage(notification(1, 0, sample.payload())))});
    const auto event = taken(peer);
    auto field = event->data().fields().begin();
    EXPECT_STREQ(field->name, "string1");
    field++;
    EXPECT_STREQ((*field).name, "string2");
    EXPECT_NE(field, event->data().fields().end());
}

} // namespace
} // namespace api_test
