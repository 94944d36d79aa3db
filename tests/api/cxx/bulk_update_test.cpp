// Bulk updates: the answers to each request, and a whole update.
#include "bulk_answers.h"

namespace api_test {
namespace {

using qldapx::session_ref;

TEST(CxxBulkStart, GivesTheSizeThatTheServerWants) {
    ScriptedPeer peer({ScriptedPeer::answer(answered(2, sequence({integer(100)})))});
    EXPECT_EQ(describe(bulk::take_start(borrowed(peer), firstStartAnswer(borrowed(peer)))), "100");
    ScriptedPeer silent({ScriptedPeer::answer(answered(2))});
    EXPECT_EQ(describe(bulk::take_start(borrowed(silent), firstStartAnswer(borrowed(silent)))),
              "0");
}

struct RefusalCase {
    const char *name;
    Bytes answer;
    const char *read;
};

void PrintTo(const RefusalCase &row, std::ostream *out) {
    *out << row.name;
}

class CxxBulkStartRefusal : public testing::TestWithParam<RefusalCase> {};

TEST_P(CxxBulkStartRefusal, IsAnError) {
    ScriptedPeer peer({ScriptedPeer::answer(GetParam().answer)});
    EXPECT_EQ(describe(bulk::take_start(borrowed(peer), firstStartAnswer(borrowed(peer)))),
              GetParam().read);
    ScriptedPeer other({ScriptedPeer::answer(GetParam().answer)});
    const auto update = bulk::start(borrowed(other));
    ASSERT_FALSE(update);
    EXPECT_EQ(describe(update.error()), GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(All, CxxBulkStartRefusal,
                         testing::Values(RefusalCase{"Named", refusedAs(2), "32|said|"},
                                         RefusalCase{"Nameless", spoken(0x78, 32), "32|said|"},
                                         RefusalCase{"OtherSuccess", answered(9), "-12||"},
                                         RefusalCase{"Malformed", answered(2, Bytes("x")), "-4||"}),
                         caseName<RefusalCase>);

struct OperationsCase {
    const char *name;
    Bytes answer;
    const char *read;
};

void PrintTo(const OperationsCase &row, std::ostream *out) {
    *out << row.name;
}

class CxxBulkOperations : public testing::TestWithParam<OperationsCase> {};

TEST_P(CxxBulkOperations, AreAnswered) {
    ScriptedPeer peer({ScriptedPeer::answer(GetParam().answer)});
    EXPECT_EQ(listed(bulk::take_operations(borrowed(peer), firstStartAnswer(borrowed(peer)))),
              GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(
    All, CxxBulkOperations,
    testing::Values(
        OperationsCase{"Done", answered(7), "0:"},
        OperationsCase{"OneFailed", answered(7, failed(2, 32, "gone")), "1: 2/32/gone"},
        OperationsCase{"TwoFailed", answered(7, failed(1, 68, "there") + failed(3, 32, "gone")),
                       "2: 1/68/there 3/32/gone"},
        OperationsCase{
            "RefusedWithAList",
            spoken(0x78, 80, tlv(0x8a, std::string(arc) + "7") + tlv(0x8b, failed(2, 32, "gone"))),
            "1: 2/32/gone"},
        OperationsCase{"Refused", refusedAs(7), "32|said|"},
        OperationsCase{"RefusedNameless", spoken(0x78, 32), "32|said|"},
        OperationsCase{"OtherSuccess", answered(9), "-12||"},
        OperationsCase{"Malformed", answered(7, Bytes("\x30\x05")), "-4||"}),
    caseName<OperationsCase>);

TEST(CxxBulkEnd, IsAnswered) {
    ScriptedPeer peer({ScriptedPeer::answer(answered(5))});
    EXPECT_EQ(describe(bulk::take_end(borrowed(peer), firstStartAnswer(borrowed(peer)))), "done");
    ScriptedPeer other({ScriptedPeer::answer(refusedAs(5))});
    EXPECT_EQ(describe(bulk::take_end(borrowed(other), firstStartAnswer(borrowed(other)))),
              "32|said|");
}

TEST(CxxFailureList, CanBeMoved) {
    ScriptedPeer peer({ScriptedPeer::answer(answered(7, failed(2, 32, "gone")))});
    auto taken = bulk::take_operations(borrowed(peer), firstStartAnswer(borrowed(peer)));
    ASSERT_TRUE(taken);
    bulk::failure_list first = std::move(*taken);
    EXPECT_TRUE(taken->empty());
    bulk::failure_list second;
    second = std::move(first);
    EXPECT_EQ(listed(second), "1: 2/32/gone");
}

TEST(CxxBulkRequest, NeedsASession) {
    ScriptedPeer peer({ScriptedPeer::closeConnection()});
    const session_ref at = borrowed(peer);
    bulk::operation strange = {4711, const_cast<char *>("o=a"), nullptr, nullptr};
    bulk::operation *list[] = {&strange, nullptr};
    EXPECT_EQ(describe(bulk::request_operations(at, 1, list)), "-12||");
    EXPECT_EQ(describe(at.wait(*bulk::request_end(at, 0)).error()), "-1||");
    EXPECT_EQ(bulk::request_start(at).error().code(), LDAP_SERVER_DOWN);
    EXPECT_EQ(bulk::request_end(at, 0).error().code(), LDAP_SERVER_DOWN);
}

/** A batch of one operation. */
bulk::batch deletion(const char *dn) {
    bulk::batch batch;
    batch.push_back(bulk::remove(dn));
    return batch;
}

TEST(CxxBulkUpdate, IsDoneWithSeveralRequestsUnderWay) {
    ScriptedPeer peer({ScriptedPeer::answer(answered(2, sequence({integer(10)}))),
                       ScriptedPeer::answer(answered(7, failed(1, 32, "gone"))),
                       ScriptedPeer::answer(answered(7)), ScriptedPeer::answer(answered(7)),
                       ScriptedPeer::answer(answered(5))});
    auto update = bulk::start(borrowed(peer));
    ASSERT_TRUE(update) << describe(update.error());
    EXPECT_EQ(update->transaction_size(), 10);
    update->set_window(2);
    EXPECT_FALSE(update->is_full());
    bulk::batch first = deletion("o=a"), second = deletion("o=b"), third = deletion("o=c");
    EXPECT_EQ(describe(update->send(first)), "1");
    EXPECT_EQ(describe(update->send(second)), "2");
    EXPECT_TRUE(update->is_full());
    EXPECT_EQ(describe(update->finish()), "-9||");
    auto answer = update->collect();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->number, 1);
    EXPECT_EQ(listed(answer->outcome), "1: 1/32/gone");
    EXPECT_FALSE(update->is_full());
    EXPECT_EQ(describe(update->send(third)), "3");
    EXPECT_EQ(update->last_number(), 3);
    EXPECT_EQ(update->collect()->number, 2);
    EXPECT_EQ(update->collect()->number, 3);
    EXPECT_EQ(update->under_way(), 0U);
    EXPECT_EQ(describe(update->collect().error()), "-9||");
    EXPECT_EQ(describe(update->finish()), "done");
    ASSERT_EQ(peer.received().size(), 5U);
    EXPECT_EQ(
        toHex(peer.received()[4]),
        toHex(ldapMessage(5, extendedRequest(std::string(arc) + "4", fromHex("30 03 02 01 03")))));
}

TEST(CxxBulkUpdate, DoesNotCountWhatWasNotSent) {
    ScriptedPeer peer({});
    bulk::updater update(borrowed(peer), 10);
    bulk::batch strange;
    strange.push_back({4711, const_cast<char *>("o=a"), nullptr, nullptr});
    EXPECT_EQ(describe(update.send(strange)), "-12||");
    EXPECT_EQ(update.last_number(), 0);
    EXPECT_EQ(update.under_way(), 0U);
}

TEST(CxxBulkUpdate, FailsWithItsConnection) {
    ScriptedPeer peer({ScriptedPeer::closeConnection()});
    bulk::updater update(borrowed(peer), 10);
    bulk::batch batch = deletion("o=a");
    EXPECT_EQ(describe(update.send(batch)), "1");
    EXPECT_EQ(describe(update.collect().error()), "-1||");
    ScriptedPeer other({ScriptedPeer::closeConnection()});
    EXPECT_EQ(describe(bulk::updater(borrowed(other), 1).finish()), "-1||");
    EXPECT_EQ(describe(bulk::start(borrowed(other)).error()).substr(0, 2), "-1");
}

} // namespace
} // namespace api_test
