// The persistent search against a server that knows it.
#include "directory.h"
#include "environment_389.h"
#include "persistent_search.h"
#include "support/ber.h"

#include <qldapx.h>

namespace {

using namespace qldapx_test;
using test::additions;
using test::anyChange;
using test::deletions;
using test::modifications;
using test::PersistentSearch;
using test::renames;

using Words = std::vector<std::string>;

class PersistentSearch389 : public test::With389 {
  protected:
    void add(const std::string &dn) {
        ASSERT_EQ(test::addEntry(writer, dn, {{"objectClass", {"applicationProcess"}}}),
                  LDAP_SUCCESS);
    }
    void awaitListening(const std::vector<PersistentSearch *> &searches) {
        test::awaitListening(writer, base, searches);
    }
    static Words next(PersistentSearch &search, std::size_t count) {
        Words words(count);
        for (std::string &each : words)
            each = search.next();
        return words;
    }
};

TEST_F(PersistentSearch389, TellsOfEveryChangeInOrder) {
    PersistentSearch search(ld, base, {});
    awaitListening({&search});
    test::changeEntry(writer, base, "Ada");
    EXPECT_EQ(next(search, 4), test::wordsOfChanges(base, "Ada", anyChange));
}

TEST_F(PersistentSearch389, TellsWhereAMovedEntryWas) {
    add(below("cn=old"));
    add(below("cn=new"));
    add("cn=child," + below("cn=old"));
    PersistentSearch search(ld, base, {});
    awaitListening({&search});
    ASSERT_EQ(ldap_rename_s(writer, ("cn=child," + below("cn=old")).c_str(), "cn=moved",
                            below("cn=new").c_str(), 1, nullptr, nullptr),
              LDAP_SUCCESS);
    EXPECT_EQ(search.next(),
              "rename cn=moved," + below("cn=new") + " from cn=child," + below("cn=old"));
}

TEST_F(PersistentSearch389, GivesTheEntriesOfNowFirstWhenAskedTo) {
    add(below("cn=one"));
    add(below("cn=two"));
    PersistentSearch search(ld, base, {.changesOnly = 0});
    EXPECT_EQ(next(search, 3),
              (Words{"plain " + base, "plain " + below("cn=one"), "plain " + below("cn=two")}));
    awaitListening({&search});
    add(below("cn=three"));
    EXPECT_EQ(search.next(), "add " + below("cn=three"));
}

TEST_F(PersistentSearch389, GivesNoControlsUnlessAskedTo) {
    PersistentSearch search(ld, base, {.returnControls = 0});
    awaitListening({&search});
    test::changeEntry(writer, base, "Ada");
    EXPECT_EQ(next(search, 4),
              (Words{"plain " + below("cn=Ada"), "plain " + below("cn=Ada"),
                     "plain " + below("cn=Ada-renamed"), "plain " + below("cn=Ada-renamed")}));
}

class ChangeTypes389 : public PersistentSearch389, public testing::WithParamInterface<int> {};

// A second entry that changes shows that nothing else about the first was on its way.
TEST_P(ChangeTypes389, OnlyThoseChangesAreTold) {
    PersistentSearch search(ld, base, {.types = GetParam()});
    awaitListening({&search});
    for (const char *name : {"Ada", "Ben"}) {
        test::changeEntry(writer, base, name);
        Words expected = test::wordsOfChanges(base, name, GetParam());
        EXPECT_EQ(next(search, expected.size()), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, ChangeTypes389, testing::Range(1, 16));

class Criticality389 : public PersistentSearch389, public testing::WithParamInterface<char> {};

TEST_P(Criticality389, TheServerKnowsTheControlEitherWay) {
    PersistentSearch search(ld, base, {.isCritical = GetParam()});
    awaitListening({&search});
    add(below("cn=one"));
    EXPECT_EQ(search.next(), "add " + below("cn=one"));
}

INSTANTIATE_TEST_SUITE_P(Each, Criticality389, testing::Values('\0', '\1', '\xff'));

TEST_F(PersistentSearch389, SeveralOnSeveralSessionsAndOnOne) {
    LDAP *other = server().session();
    PersistentSearch all(ld, base, {});
    PersistentSearch deleted(ld, base, {.types = deletions});
    PersistentSearch elsewhere(other, base, {.types = additions | renames});
    PersistentSearch plain(other, base, {.types = modifications, .returnControls = 0});
    awaitListening({&all, &deleted, &elsewhere, &plain});
    test::changeEntry(writer, base, "Ada");
    EXPECT_EQ(next(plain, 1), Words{"plain " + below("cn=Ada")});
    EXPECT_EQ(next(elsewhere, 2), test::wordsOfChanges(base, "Ada", additions | renames));
    EXPECT_EQ(next(deleted, 1), test::wordsOfChanges(base, "Ada", deletions));
    EXPECT_EQ(next(all, 4), test::wordsOfChanges(base, "Ada", anyChange));
    ldap_unbind_ext_s(other, nullptr, nullptr);
}

TEST_F(PersistentSearch389, AbandonEndsOneAndLeavesTheOther) {
    PersistentSearch ended(ld, base, {});
    PersistentSearch left(ld, base, {});
    awaitListening({&ended, &left});
    ended.abandon();
    test::changeEntry(writer, base, "Ada");
    EXPECT_EQ(next(left, 4), test::wordsOfChanges(base, "Ada", anyChange));
    EXPECT_FALSE(ended.hasMessageWithin(0));
}

// The control as it is sent, byte for byte.
TEST_F(PersistentSearch389, TheControlIsTheOneMadeByHand) {
    for (int types : {0, 1, 15, 128, -1})
        for (int changesOnly : {0, 1})
            for (int returnControls : {0, 1})
                for (char isCritical : {'\0', '\1'}) {
                    LDAPControl *control = nullptr;
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
