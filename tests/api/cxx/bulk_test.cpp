// Bulk updates: operations, batches, their encoder, answers, and a whole update.
#include "answers.h"

namespace api_test {
namespace {

namespace bulk = qldapx::bulk;
using qldapx::change;
using qldapx::modifications;
using qldapx::session_ref;

constexpr char arc[] = "2.16.840.1.907341.1.142.100.";

// ExtendedResponse of success with a value.
Bytes answered(int number, const std::optional<Bytes> &value = std::nullopt) {
    return extendedResponse(LDAP_SUCCESS, arc + std::to_string(number), value);
}
Bytes refusedAs(int number) {
    return refusal(arc + std::to_string(number));
}

// SEQUENCE { operationNumber, SEQUENCE { resultCode, matchedDN, errorMessage } }
Bytes failed(int number, int code, const Bytes &message) {
    return sequence(
        {integer(number), sequence({integer(code), octetString("o=m"), octetString(message)})});
}

std::string listed(const bulk::failure_list &failures) {
    std::string all = std::to_string(failures.size()) + ":";
    for (const bulk::failure &each : failures)
        all += " " + std::to_string(each.operationNumber) + "/" + std::to_string(each.resultCode) +
               "/" + each.errorMessage;
    return all;
}
std::string listed(const qldapx::result<bulk::failure_list> &failures) {
    return failures ? listed(*failures) : describe(failures.error());
}

qldapx::message firstAnswer(session_ref at) {
    return *at.wait(*bulk::request_start(at));
}

TEST(CxxModifications, AreAListForC) {
    modifications list;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.get()[0], nullptr);
    const std::string_view raw("a\0b", 3);
    list.attribute("cn", {"a", "b"})
        .add_bytes(change::replace, "photo", {raw, std::string_view()})
        .add(change::remove, "sn", {});
    EXPECT_EQ(list.size(), 3U);
    LDAPMod **mods = list.get();
    EXPECT_EQ(mods[0]->mod_op, LDAP_MOD_ADD);
    EXPECT_STREQ(mods[0]->mod_type, "cn");
    EXPECT_EQ(describe(qldapx::text_list_ref(qldapx::borrow, mods[0]->mod_values)), "a,b,");
    EXPECT_EQ(mods[1]->mod_op, LDAP_MOD_REPLACE | LDAP_MOD_BVALUES);
    EXPECT_STREQ(mods[1]->mod_type, "photo");
    EXPECT_EQ(qldapx::bytes_ref(qldapx::borrow, mods[1]->mod_bvalues[0]).view(), raw);
    EXPECT_EQ(mods[1]->mod_bvalues[1]->bv_len, 0U);
    EXPECT_EQ(mods[1]->mod_bvalues[2], nullptr);
    EXPECT_EQ(mods[2]->mod_op, LDAP_MOD_DELETE);
    EXPECT_EQ(mods[2]->mod_values[0], nullptr);
    EXPECT_EQ(mods[3], nullptr);
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.get()[0], nullptr);
}

std::string encoded(const bulk::encoder &encoder) {
    berval flat{};
    EXPECT_EQ(ber_flatten2(encoder.get(), &flat, 0), 0);
    return toHex({flat.bv_val, flat.bv_len});
}

struct EncoderCase {
    const char *name;
    qldapx::result<void> (*write)(bulk::encoder &encoder);
    const char *hex;
    qldapx::result<void> (*fail)(bulk::encoder &encoder);
};

void PrintTo(const EncoderCase &row, std::ostream *out) {
    *out << row.name;
}

// Without a type; an element of a list is not null.
LDAPMod **typeless() {
    static LDAPMod mod = {};
    static LDAPMod *list[] = {&mod, nullptr};
    return list;
}
LDAPControl **nameless() {
    static LDAPControl control = {};
    static LDAPControl *list[] = {&control, nullptr};
    return list;
}

const EncoderCase encoderCases[] = {
    {"Add",
     [](bulk::encoder &encoder) {
         modifications list;
         return encoder.add("o=a", list.attribute("o", {"a"}).get());
     },
     "30 84 00 00 00 23 68 84 00 00 00 1d 04 03 6f 3d 61 30 84 00 00 00 12"
     " 30 84 00 00 00 0c 04 01 6f 31 84 00 00 00 03 04 01 61",
     [](bulk::encoder &encoder) { return encoder.add("o=a", typeless()); }},
    {"Modify", [](bulk::encoder &encoder) { return encoder.modify("o=a", nullptr); },
     "30 84 00 00 00 11 66 84 00 00 00 0b 04 03 6f 3d 61 30 84 00 00 00 00",
     [](bulk::encoder &encoder) { return encoder.modify("o=a", typeless()); }},
    {"Delete", [](bulk::encoder &encoder) { return encoder.remove("o=a"); },
     "30 84 00 00 00 05 4a 03 6f 3d 61",
     [](bulk::encoder &encoder) { return encoder.remove("o=a", nameless()); }},
    {"Rename", [](bulk::encoder &encoder) { return encoder.rename("o=a", "o=b", "o=c", true); },
     "30 84 00 00 00 18 6c 84 00 00 00 12 04 03 6f 3d 61 04 03 6f 3d 62 01 01 ff"
     " 04 03 6f 3d 63",
     [](bulk::encoder &encoder) {
         return encoder.rename("o=a", "o=b", nullptr, false, nameless());
     }},
};

class CxxEncoder : public testing::TestWithParam<EncoderCase> {};

TEST_P(CxxEncoder, WritesAnOperation) {
    bulk::encoder encoder = bulk::encoder::make();
    EXPECT_EQ(describe(GetParam().write(encoder)), "done");
    EXPECT_EQ(encoded(encoder), toHex(fromHex(GetParam().hex)));
}

TEST_P(CxxEncoder, IsEmptyAfterAFailure) {
    bulk::encoder encoder = bulk::encoder::make();
    EXPECT_EQ(describe(GetParam().fail(encoder)), "-3||");
    EXPECT_FALSE(encoder);
    EXPECT_EQ(describe(GetParam().write(encoder)), "-3||");
}

INSTANTIATE_TEST_SUITE_P(All, CxxEncoder, testing::ValuesIn(encoderCases), caseName<EncoderCase>);

TEST(CxxBulkOperation, OfEachKind) {
    modifications list;
    list.attribute("o", {"a"});
    bulk::batch batch;
    EXPECT_TRUE(batch.empty());
    batch.push_back(bulk::add("o=a", list));
    batch.push_back(bulk::modify("o=b", list, nameless()));
    batch.push_back(bulk::remove("o=c"));
    batch.push_back(bulk::rename("o=d", "o=e"));
    EXPECT_EQ(batch.size(), 4U);
    bulk::operation **raw = batch.get();
    EXPECT_EQ(raw[0]->type, LDAP_REQ_ADD);
    EXPECT_STREQ(raw[0]->dn, "o=a");
    EXPECT_STREQ(static_cast<LDAPMod **>(raw[0]->changes)[0]->mod_type, "o");
    EXPECT_EQ(raw[0]->controls, nullptr);
    EXPECT_EQ(raw[1]->type, LDAP_REQ_MODIFY);
    EXPECT_EQ(raw[1]->controls, nameless());
    EXPECT_EQ(raw[2]->type, LDAP_REQ_DELETE);
    EXPECT_EQ(raw[3]->type, LDAP_REQ_MODDN);
    EXPECT_STREQ(static_cast<char *>(raw[3]->changes), "o=e");
    EXPECT_EQ(raw[4], nullptr);
    batch.clear();
    EXPECT_EQ(batch.get()[0], nullptr);
}

TEST(CxxBulkStart, GivesTheSizeThatTheServerWants) {
    ScriptedPeer peer({ScriptedPeer::answer(answered(2, sequence({integer(100)})))});
    EXPECT_EQ(describe(bulk::take_start(borrowed(peer), firstAnswer(borrowed(peer)))), "100");
    ScriptedPeer silent({ScriptedPeer::answer(answered(2))});
    EXPECT_EQ(describe(bulk::take_start(borrowed(silent), firstAnswer(borrowed(silent)))), "0");
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
    EXPECT_EQ(describe(bulk::take_start(borrowed(peer), firstAnswer(borrowed(peer)))),
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
    EXPECT_EQ(listed(bulk::take_operations(borrowed(peer), firstAnswer(borrowed(peer)))),
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
    EXPECT_EQ(describe(bulk::take_end(borrowed(peer), firstAnswer(borrowed(peer)))), "done");
    ScriptedPeer other({ScriptedPeer::answer(refusedAs(5))});
    EXPECT_EQ(describe(bulk::take_end(borrowed(other), firstAnswer(borrowed(other)))), "32|said|");
}

TEST(CxxFailureList, CanBeMoved) {
    ScriptedPeer peer({ScriptedPeer::answer(answered(7, failed(2, 32, "gone")))});
    auto taken = bulk::take_operations(borrowed(peer), firstAnswer(borrowed(peer)));
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
