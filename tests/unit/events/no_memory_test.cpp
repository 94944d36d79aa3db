// Event monitoring with memory that runs out at each of its allocations, and what stays allocated.
#include "no_memory.h"

#include "events/notified.h"
#include "support/case_name.h"

namespace qldapx_test {
namespace {

class EventMemoryTest : public testing::TestWithParam<EventSample> {};

// Decodes with that allocation failing; gives the result, and whether it was asked for.
int decodeWithout(long allocation, const EventSample &sample, const Bytes &contents, bool *failed) {
    Session session;
    BerPtr ber = decoderOf(contents);
    void *event = nullptr, *address = nullptr;
    long before = failing_memory::liveBlocks();
    failing_memory::failAllocation(allocation);
    int result = decodeKind(sample.kind, session, ber.get(), &event, &address);
    *failed = failing_memory::disarm();
    EXPECT_EQ(session.resultCode(), result);
    EventFree()(event);
    EventFree()(address);
    EXPECT_EQ(failing_memory::liveBlocks(), before);
    return result;
}

TEST_P(EventMemoryTest, NoMemory) {
    const Bytes contents = GetParam().contents() + eventAddress();
    long number = 0, passedOver = 0;
    bool failed = true;
    while (failed) {
        SCOPED_TRACE(testing::Message() << "allocation " << ++number);
        int result = decodeWithout(number, GetParam(), contents, &failed);
        EXPECT_TRUE(!failed || result == LDAP_NO_MEMORY || result == LDAP_SUCCESS) << result;
        passedOver += failed && result == LDAP_SUCCESS;
    }
    EXPECT_GT(number, 1);
    // The one string whose failure is not looked at.
    EXPECT_EQ(passedOver, GetParam().name == std::string("Auth") ? 1 : 0);
}

// A list's first referral is the only thing that a released record leaves behind.
TEST_P(EventMemoryTest, LeavesTheFirstReferralAlone) {
    const EventSample &sample = GetParam();
    Session session;
    long before = failing_memory::liveBlocks();
    {
        BerPtr ber = decoderOf(sample.contents());
        void *event = nullptr, *address = nullptr;
        decodeKind(sample.kind, session, ber.get(), &event, &address);
        char *first = nullptr;
        if (sample.kind == 102 && static_cast<SEVEventData *>(event)->referralCount > 0)
            first = static_cast<SEVEventData *>(event)->referrals[0].value;
        ldap_event_free(event);
        std::free(first);
    }
    EXPECT_EQ(failing_memory::liveBlocks(), before);
}

TEST_P(EventMemoryTest, Notification) {
    const Bytes value = notification(7, 0, GetParam().payload());
    EventStream stream({eventMessage(value)});
    MessagePtr message = stream.next();
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        long before = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        NotifiedEvent event = parseEvent(stream.session(), message.get());
        failed = failing_memory::disarm();
        // libldap calls its own string copies malformed when there is no memory for them.
        EXPECT_TRUE(!failed || event.result < LDAP_SUCCESS || GetParam().kind == 113);
        EXPECT_EQ(event.data != nullptr, event.result == LDAP_SUCCESS);
        event.data.reset();
        event.address.reset();
        EXPECT_EQ(failing_memory::liveBlocks(), before);
    }
}

INSTANTIATE_TEST_SUITE_P(Events, EventMemoryTest, testing::ValuesIn(eventSamples()),
                         caseName<EventSample>);

TEST(MonitorEvents, NoMemory) {
    EventSpecification events[] = {{7, 0}, {8, 1}};
    exhaust(
        {ScriptedPeer::silence()},
        [&](LDAP *ld) {
            int id = 0;
            return ldap_monitor_events(ld, 2, events, &id);
        },
        [](int) {});
}

TEST(MonitorEventsResponse, NoMemory) {
    const Bytes event = sequence({integer(7), tlv(0x0a, Bytes(1, '\0'))});
    EventStream stream({extendedResponse(0, "2.16.840.1.907341.1.27.100.80",
                                         sequence({integer(1), tlv(0x31, event)}))});
    MessagePtr message = stream.next();
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        int code = -1, count = -1;
        EventSpecification *list = nullptr;
        char *text = nullptr;
        long before = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        int result = ldap_parse_monitor_events_response(stream.session(), message.get(), &code,
                                                        &text, &count, &list, 0);
        failed = failing_memory::disarm();
        EXPECT_EQ(failed, result < LDAP_SUCCESS) << result;
        EXPECT_EQ(count, failed ? 0 : 1);
        EXPECT_EQ(list == nullptr, failed);
        ldap_memfree(text);
        ldapx_memfree(list);
        constexpr long keptRequest = 3; // libldap's request, its encoder and bytes, and its node
        long left = failing_memory::liveBlocks() - before;
        EXPECT_TRUE(failed ? left == 0 : left > 0 && left <= keptRequest + 1) << left;
    }
}

// Counts are looked at before memory is taken for them.
TEST(HostileCount, TakesNoMemory) {
    const Bytes triple = sequence({integer(1), integer(2), integer(3)});
    const Bytes referral = sequence({integer(1), octetString("v")});
    const int count = 1 << 30;
    const Bytes payloads[] = {
        tlv(0x66, octetString("a") + integer(1) + octetString("b") +
                      sequence({integer(count), sequence({referral})})),
        tlv(0x70, integer(1) + integer(2) + octetString("a") + octetString("b") + integer(3) +
                      integer(count) + sequence({tlv(0x82, "")})),
        tlv(0x70, integer(1) + integer(2) + octetString("a") + octetString("b") + integer(3) +
                      integer(1) + sequence({tlv(0x87, integer(count) + sequence({triple}))})),
    };
    for (const Bytes &payload : payloads) {
        EventStream stream({eventMessage(notification(7, 0, payload))});
        MessagePtr message = stream.next();
        failing_memory::markPeak();
        EXPECT_EQ(parseEvent(stream.session(), message.get()).result, LDAP_DECODING_ERROR);
        EXPECT_LT(failing_memory::peakBytes(), 10000);
    }
}

TEST(HostileCount, TakesNoMemoryForAnAnswer) {
    const Bytes event = sequence({integer(7), tlv(0x0a, Bytes(1, '\0'))});
    EventStream stream({extendedResponse(0, "2.16.840.1.907341.1.27.100.80",
                                         sequence({integer(1 << 30), tlv(0x31, event)}))});
    MessagePtr message = stream.next();
    int code = 0, count = 0;
    EventSpecification *list = nullptr;
    failing_memory::markPeak();
    EXPECT_EQ(ldap_parse_monitor_events_response(stream.session(), message.get(), &code, nullptr,
                                                 &count, &list, 0),
              LDAP_DECODING_ERROR);
    EXPECT_LT(failing_memory::peakBytes(), 10000);
}

// A list takes an allocation a string and a few for its array, which would otherwise be copied
// for each string.
TEST(StringSequence, GrowsInFewSteps) {
    constexpr int strings = 10000, steps = 20;
    Bytes items;
    for (int i = 0; i < strings; ++i)
        items += sequence({octetString("a")});
    BerPtr ber = decoderOf(tlv(0x30, items));
    char **list = nullptr;
    failing_memory::failAllocation(strings + steps);
    EXPECT_EQ(parseStringSequence(ber.get(), &list), LDAP_SUCCESS);
    EXPECT_FALSE(failing_memory::disarm());
    freeStringSequence(list);
}

} // namespace
} // namespace qldapx_test
