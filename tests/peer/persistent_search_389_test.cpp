// The persistent search against a server that knows it.
#include "directory.h"
#include "environment_389.h"
#include "persistent_search.h"
#include "support/ber.h"

#include <qldapx.h>

namespace {

using namespace qldapx_test;
using test::additions;
using test::deletions;
using test::modifications;
using test::PersistentSearch;
using test::renames;

class PersistentSearch389 : public test::With389 {
  protected:
    void awaitListening(const std::vector<PersistentSearch *> &searches) {
        test::awaitListening(writer, base, searches);
    }
    std::vector<test::Change> changesOf(const std::string &name) {
        return test::changesOf(writer, base, name);
    }
    // Adding an entry, in words too.
    test::Change adding(const std::string &dn) {
        return {additions, "add " + dn, [=, this] {
                    return test::addEntry(writer, dn, {{"objectClass", {"device"}}});
                }};
    }
    // How many entries the server has sent to whomever, but for the answer to this question.
    int entriesSent() {
        LDAPMessage *answer = nullptr;
        EXPECT_EQ(ldap_search_ext_s(writer, "cn=monitor", LDAP_SCOPE_BASE, nullptr, nullptr, 0,
                                    nullptr, nullptr, nullptr, LDAP_NO_LIMIT, &answer),
                  LDAP_SUCCESS);
        test::MessagePtr owner(answer);
        berval **sent =
            ldap_get_values_len(writer, ldap_first_entry(writer, answer), "entriesSent");
        int number = sent != nullptr ? std::stoi(sent[0]->bv_val) - questions++ : -1;
        ldap_value_free_len(sent);
        return number;
    }
    int questions = 0;
};

TEST_F(PersistentSearch389, TellsOfEveryChange) {
    PersistentSearch search(ld, base, {});
    awaitListening({&search});
    test::expectTold(changesOf("Ada"), {&search});
}

TEST_F(PersistentSearch389, TellsWhereAMovedEntryWas) {
    std::string child = "cn=child," + below("cn=old");
    std::string moved = "cn=moved," + below("cn=new");
    test::Change move{renames, "rename " + moved + " from " + child, [&] {
                          return ldap_rename_s(writer, child.c_str(), "cn=moved",
                                               below("cn=new").c_str(), 1, nullptr, nullptr);
                      }};
    PersistentSearch search(ld, base, {});
    awaitListening({&search});
    test::expectTold({adding(below("cn=old")), adding(below("cn=new")), adding(child), move},
                     {&search});
}

// When the witness has been told of the entries, nobody will be any more.
TEST_F(PersistentSearch389, GivesTheEntriesOfNowFirstWhenAskedTo) {
    PersistentSearch witness(writer, base, {});
    awaitListening({&witness});
    test::expectTold({adding(below("cn=one")), adding(below("cn=two"))}, {&witness});
    PersistentSearch search(ld, base, {.changesOnly = 0});
    EXPECT_EQ(search.next(), "plain " + below("cn=one"));
    EXPECT_EQ(search.next(), "plain " + below("cn=two"));
    awaitListening({&search});
    test::expectTold(changesOf("Ada"), {&search, &witness});
}

TEST_F(PersistentSearch389, GivesNoControlsUnlessAskedTo) {
    PersistentSearch search(ld, base, {.returnControls = 0});
    awaitListening({&search});
    std::vector<test::Change> changes = changesOf("Ada");
    changes[0].words = changes[1].words = "plain " + below("cn=Ada");
    changes[2].words = changes[3].words = "plain " + below("cn=Ada-renamed");
    test::expectTold(changes, {&search});
}

class ChangeTypes389 : public PersistentSearch389, public testing::WithParamInterface<int> {};

TEST_P(ChangeTypes389, OnlyThoseChangesAreTold) {
    PersistentSearch search(ld, base, {.types = GetParam()});
    awaitListening({&search});
    test::expectTold(changesOf("Ada"), {&search});
    // Shows that nothing else about the first was on its way.
    test::expectTold(changesOf("Ben"), {&search});
}

INSTANTIATE_TEST_SUITE_P(Each, ChangeTypes389, testing::Range(1, 16));

class Criticality389 : public PersistentSearch389, public testing::WithParamInterface<char> {};

TEST_P(Criticality389, TheServerKnowsTheControlEitherWay) {
    PersistentSearch search(ld, base, {.isCritical = GetParam()});
    awaitListening({&search});
    test::expectTold(changesOf("Ada"), {&search});
}

INSTANTIATE_TEST_SUITE_P(Each, Criticality389, testing::Values('\0', '\1', '\xff'));

TEST_F(PersistentSearch389, SeveralOnSeveralSessionsAndOnOne) {
    LDAP *other = server().session();
    PersistentSearch all(ld, base, {});
    PersistentSearch deleted(ld, base, {.types = deletions});
    PersistentSearch moved(other, base, {.types = additions | renames, .isCritical = 0});
    PersistentSearch modified(other, base, {.types = modifications});
    std::vector<PersistentSearch *> searches = {&all, &deleted, &moved, &modified};
    awaitListening(searches);
    test::expectTold(changesOf("Ada"), searches);
    test::expectTold(changesOf("Ben"), searches);
    ldap_unbind_ext_s(other, nullptr, nullptr);
}

// The server's own count tells whether it sends what libldap would not show any more.
TEST_F(PersistentSearch389, AbandonEndsOneAndLeavesTheOther) {
    PersistentSearch ended(ld, base, {});
    PersistentSearch left(ld, base, {});
    awaitListening({&ended, &left});
    ended.abandon();
    const std::vector<test::Change> changes = changesOf("Ada");
    int sent = -1;
    for (int attempt = 0; attempt < 50 && sent != 4; ++attempt) {
        int before = entriesSent();
        test::expectTold(changes, {&left});
        sent = entriesSent() - before;
    }
    EXPECT_EQ(sent, 4);
    EXPECT_FALSE(ended.hasMessageWithin(0));
}

// EntryChangeNotification as 389-ds sends it.
TEST_F(PersistentSearch389, TheServersBytesAreTheOnesMadeByHand) {
    const Bytes expected[] = {
        sequence({fromHex("0a 01 01")}),
        sequence({fromHex("0a 01 04")}),
        sequence({fromHex("0a 01 08"), octetString(below("cn=Ada"))}),
        sequence({fromHex("0a 01 02")}),
    };
    PersistentSearch search(ld, base, {});
    awaitListening({&search});
    const std::vector<test::Change> changes = changesOf("Ada");
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        ASSERT_EQ(changes[i].make(), LDAP_SUCCESS);
        test::MessagePtr entry = search.nextMessage();
        ASSERT_NE(entry, nullptr);
        LDAPControl **controls = nullptr;
        ASSERT_EQ(ldap_get_entry_controls(ld, entry.get(), &controls), LDAP_SUCCESS);
        ASSERT_NE(controls, nullptr);
        EXPECT_STREQ(controls[0]->ldctl_oid, "2.16.840.1.113730.3.4.7");
        EXPECT_EQ(toHex({controls[0]->ldctl_value.bv_val, controls[0]->ldctl_value.bv_len}),
                  toHex(expected[i]));
        ldap_controls_free(controls);
    }
}

// What is not wanted is not asked for, and stays as it was.
TEST_F(PersistentSearch389, TheChangeTypeAlone) {
    PersistentSearch search(ld, base, {.types = renames});
    awaitListening({&search});
    for (const test::Change &change : changesOf("Ada"))
        ASSERT_EQ(change.make(), LDAP_SUCCESS);
    test::MessagePtr entry = search.nextMessage();
    ASSERT_NE(entry, nullptr);
    LDAPControl **controls = nullptr;
    ASSERT_EQ(ldap_get_entry_controls(ld, entry.get(), &controls), LDAP_SUCCESS);
    int type = 0;
    test::spoilSessionCode(ld);
    EXPECT_EQ(ldap_parse_entrychange_control(ld, controls, &type, nullptr, nullptr, nullptr),
              LDAP_SUCCESS);
    EXPECT_EQ(test::sessionCode(ld), LDAP_SUCCESS);
    EXPECT_EQ(type, renames);
    EXPECT_EQ(ldap_parse_entrychange_control(ld, controls, nullptr, nullptr, nullptr, nullptr),
              LDAP_PARAM_ERROR);
    EXPECT_EQ(test::sessionCode(ld), LDAP_PARAM_ERROR);
    ldap_controls_free(controls);
}

TEST_F(PersistentSearch389, OtherControlsAreNotTheOne) {
    LDAPControl *other = nullptr;
    ASSERT_EQ(ldap_create_persistentsearch_control(ld, 1, 1, 1, 1, &other), LDAP_SUCCESS);
    test::ControlPtr owner(other);
    LDAPControl *controls[] = {other, nullptr};
    int type = 0;
    test::spoilSessionCode(ld);
    EXPECT_EQ(ldap_parse_entrychange_control(ld, controls, &type, nullptr, nullptr, nullptr),
              LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(test::sessionCode(ld), LDAP_CONTROL_NOT_FOUND);
}

// The control as it is sent, byte for byte.
TEST_F(PersistentSearch389, TheControlIsTheOneMadeByHand) {
    for (int types : {0, 1, 15, 128, -1})
        for (int changesOnly : {0, 1})
            for (int returnControls : {0, 1})
                for (char isCritical : {'\0', '\1'}) {
                    LDAPControl *control = nullptr;
                    test::spoilSessionCode(ld);
                    ASSERT_EQ(ldap_create_persistentsearch_control(
                                  ld, types, changesOnly, returnControls, isCritical, &control),
                              LDAP_SUCCESS);
                    test::ControlPtr owner(control);
                    EXPECT_EQ(test::sessionCode(ld), LDAP_SUCCESS);
                    EXPECT_STREQ(control->ldctl_oid, "2.16.840.1.113730.3.4.3");
                    EXPECT_EQ(control->ldctl_iscritical, isCritical);
                    const Bytes truth[] = {fromHex("01 01 00"), fromHex("01 01 ff")};
                    EXPECT_EQ(toHex({control->ldctl_value.bv_val, control->ldctl_value.bv_len}),
                              toHex(sequence(
                                  {integer(types), truth[changesOnly], truth[returnControls]})));
                }
}

} // namespace
