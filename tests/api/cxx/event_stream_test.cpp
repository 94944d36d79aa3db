// Registrations as ranges: what comes, in which order, and how they end.
#include "answers.h"
#include "support/event_samples.h"

namespace api_test {
namespace {

namespace events = qldapx::events;
using namespace std::chrono_literals;

constexpr char acceptedOid[] = "2.16.840.1.907341.1.27.100.80";
Bytes event(int type) {
    return eventMessage(notification(type, 0, eventSamples().front().payload()));
}

std::string told(events::stream &stream) {
    std::string all;
    for (const events::event &each : stream)
        all += std::to_string(each.type()) + " ";
    return all + describe(stream.why_ended());
}

qldapx::result<events::stream> monitored(ScriptedPeer &peer) {
    return events::monitor(borrowed(peer), {{7, 0}});
}

struct EndCase {
    const char *name;
    std::vector<Bytes> answers;
    bool close;
    const char *read;
};

void PrintTo(const EndCase &row, std::ostream *out) {
    *out << row.name;
}

const Bytes oneAccepted = extendedResponse(
    LDAP_SUCCESS, acceptedOid, sequence({integer(1), set({fromHex("30 06 02 01 07 0a 01 00")})}));

// Made when it is asked for: the samples are another file's.
std::vector<EndCase> endCases() {
    return {
        {"ByTheServer", {oneAccepted, event(1), event(2), refusal()}, false, "1 2 32|said|"},
        {"ByTheServersSuccess",
         {oneAccepted, event(1), extendedResponse(0, "1.2.3", std::nullopt)},
         false,
         "1 -14||"},
        {"ByAnEventThatDoesNotDecode",
         {oneAccepted, event(1), eventMessage("\x30\x05")},
         false,
         "1 -4||"},
        {"ByTheConnection", {oneAccepted, event(1)}, true, "1 -1||"},
        {"ByTime", {oneAccepted, event(1), event(2)}, false, "1 2 -5||"},
        {"WithEventsBeforeTheAnswer",
         {event(1), event(2), oneAccepted, event(3)},
         false,
         "1 2 3 -5||"},
    };
}

class CxxStreamEnd : public testing::TestWithParam<EndCase> {};

TEST_P(CxxStreamEnd, IsTold) {
    ScriptedPeer peer({{GetParam().answers, {}, GetParam().close}});
    auto stream = monitored(peer);
    ASSERT_TRUE(stream) << describe(stream.error());
    stream->set_patience(100ms);
    EXPECT_EQ(told(*stream), GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(All, CxxStreamEnd, testing::ValuesIn(endCases()), caseName<EndCase>);

TEST(CxxStream, KnowsWhatIsAccepted) {
    ScriptedPeer peer({ScriptedPeer::answer(oneAccepted)});
    const auto stream = monitored(peer);
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->accepted_events().size(), 1U);
    EXPECT_EQ(stream->accepted_events().begin()->eventType, 7);
    EXPECT_EQ(stream->id(), 1);
}

TEST(CxxStream, OfFilteredEvents) {
    ScriptedPeer peer({ScriptedPeer::answers({oneAccepted, event(4), refusal()})});
    char filter[] = "(cn=a)";
    auto stream = events::monitor_filtered(borrowed(peer), {{7, 0, filter}});
    ASSERT_TRUE(stream);
    EXPECT_EQ(told(*stream), "4 32|said|");
}

TEST(CxxStream, ThatIsRefusedIsAnError) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal(acceptedOid))});
    EXPECT_EQ(describe(monitored(peer).error()), "32|said|");
    ScriptedPeer closing({ScriptedPeer::closeConnection()});
    EXPECT_EQ(describe(monitored(closing).error()), "-1||");
    ScriptedPeer unused({});
    EXPECT_EQ(describe(events::monitor(borrowed(unused), {}).error()), "-9||");
    EXPECT_EQ(describe(events::monitor_filtered(borrowed(unused), {}).error()), "-9||");
}

TEST(CxxStream, GoesOnAfterATimeOut) {
    ScriptedPeer peer({ScriptedPeer::answer(oneAccepted)});
    auto stream = monitored(peer);
    stream->set_patience(0ms);
    EXPECT_EQ(stream->next().error().code(), LDAP_TIMEOUT);
    EXPECT_EQ(stream->next().error().code(), LDAP_TIMEOUT);
    EXPECT_NE(stream->id(), 0);
}

TEST(CxxStream, ThatHasEndedStaysSo) {
    ScriptedPeer peer({ScriptedPeer::answers({oneAccepted, refusal()})});
    auto stream = monitored(peer);
    EXPECT_EQ(describe(stream->next().error()), "32|said|");
    EXPECT_EQ(stream->id(), 0);
    EXPECT_EQ(describe(stream->next().error()), "-9||");
    EXPECT_EQ(stream->begin(), stream->end());
}

// AbandonRequest ::= [APPLICATION 16] MessageID
const Bytes abandonOfFirst = tlv(0x50, "\x01");

TEST(CxxStream, EndsTheRegistrationOnce) {
    ScriptedPeer peer({ScriptedPeer::answer(oneAccepted)});
    {
        auto stream = monitored(peer);
        events::stream moved = std::move(*stream);
        EXPECT_EQ(stream->id(), 0);
    }
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_NE(peer.received()[1].find(abandonOfFirst), Bytes::npos);
}

TEST(CxxStream, LeavesARegistrationThatWasReleased) {
    ScriptedPeer peer({ScriptedPeer::answer(oneAccepted)});
    EXPECT_EQ(monitored(peer)->release(), 1);
    EXPECT_EQ(peer.received().size(), 1U);
}

TEST(CxxStream, TakesTheOtherOnesPlace) {
    ScriptedPeer first({ScriptedPeer::answer(oneAccepted)});
    ScriptedPeer second({ScriptedPeer::answers({oneAccepted, event(3), refusal()})});
    auto stream = monitored(first);
    auto other = monitored(second);
    *stream = std::move(*other);
    events::stream &same = *stream;
    *stream = std::move(same);
    EXPECT_EQ(told(*stream), "3 32|said|");
    EXPECT_EQ(first.received().size(), 2U);
    EXPECT_EQ(second.received().size(), 1U);
}

TEST(CxxStream, IsGoneThroughByHand) {
    ScriptedPeer peer({ScriptedPeer::answers({oneAccepted, event(1), event(2), refusal()})});
    auto stream = monitored(peer);
    auto at = stream->begin();
    EXPECT_EQ(at->type(), 1);
    at++;
    EXPECT_EQ((*at).type(), 2);
    EXPECT_NE(at, stream->end());
    ++at;
    EXPECT_EQ(at, stream->end());
}

} // namespace
} // namespace api_test
