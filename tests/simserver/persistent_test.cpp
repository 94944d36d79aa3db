#include "watch.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::number;
using wire::Search;
using Dns = std::vector<std::string>;

constexpr const char *kPeople = "ou=people,dc=example,dc=com";
constexpr const char *kNew = "cn=Nova,ou=people,dc=example,dc=com";

std::string addNova() {
    return wire::add(kNew, {{"objectClass", {"person"}},
                            {"cn", {"Nova"}},
                            {"sn", {"Nova"}},
                            {"userPassword", {"secret"}}});
}
std::string retitle(const char *dn, const std::string &title) {
    return wire::modify(dn, {{2, {"title", {title}}}});
}

class PersistentTest : public testing::Test {
  protected:
    PersistentTest() { server_.bindAdmin(); }

    /** Nova comes, changes, moves to another unit and back, and goes. */
    void liveNova() {
        for (const std::string &op :
             {addNova(), retitle(kNew, "Pilot"), wire::rename(kNew, "cn=Vega", true, kEmea),
              wire::rename("cn=Vega,ou=emea,dc=example,dc=com", "cn=Nova", true, kPeople),
              wire::remove(kNew)})
            ASSERT_EQ(server_.code(op), 0);
    }

    InProcess server_;
};

TEST_F(PersistentTest, SendsWhatMatchesNowAndStaysOpen) {
    Watch watch(server_, {.base = "ou=servers,dc=example,dc=com"}, {.changesOnly = false});
    EXPECT_EQ(watch.first().entries,
              (Dns{"ou=servers,dc=example,dc=com", kServer1, kServer2, kServer3}));
    EXPECT_EQ(watch.first().code, -1) << "there is no result yet";
    for (const auto &controls : watch.first().entryControls)
        EXPECT_TRUE(controls.empty()) << "these are no changes";
    ASSERT_TRUE(watch.isOpen());
    EXPECT_EQ(watch.changes().messages, 0U);
    server_.code(retitle(kServer2, "x"));
    EXPECT_EQ(watch.changes().entries, Dns{kServer2});
    EXPECT_EQ(watch.changes().messages, 0U) << "each change once";
}

TEST_F(PersistentTest, ChangesOnlyWaits) {
    Watch watch(server_, {});
    EXPECT_EQ(watch.first().messages, 0U);
    ASSERT_TRUE(watch.isOpen());
    server_.code(retitle(kAda, "Pilot"));
    const auto changes = watch.changes();
    EXPECT_EQ(changes.id, 1);
    EXPECT_EQ(changes.entries, Dns{kAda});
    EXPECT_EQ(changes.code, -1);
}

TEST_F(PersistentTest, EveryChangeCarriesItsControl) {
    Watch watch(server_, {.base = kTop});
    liveNova();
    const auto changes = watch.changes();
    const char *vega = "cn=Vega,ou=emea,dc=example,dc=com";
    EXPECT_EQ(changes.entries, (Dns{kNew, kNew, vega, kNew, kNew}));
    const std::string expected[] = {entryChange(1, nullptr, 1), entryChange(4, nullptr, 2),
                                    entryChange(8, kNew, 3), entryChange(8, vega, 4),
                                    entryChange(2, nullptr, 5)};
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(changes.entryControls.at(i),
                  (std::vector<wire::Control>{{kEntryChange, expected[i]}}))
            << i;
}

TEST_F(PersistentTest, ChangesAreCountedWhetherAnybodyWatchesOrNot) {
    server_.code(retitle(kAda, "a"));
    server_.code(retitle("cn=nobody,dc=example,dc=com", "no change"));
    Watch one(server_, {.base = kAda, .scope = 0});
    Watch two(server_, {.base = kTop});
    server_.code(retitle(kServer1, "b"));
    server_.code(retitle(kAda, "c"));
    const std::vector<wire::Control> third = {{kEntryChange, entryChange(4, nullptr, 3)}};
    EXPECT_EQ(one.changes().entryControls.at(0), third);
    EXPECT_EQ(two.changes().entryControls.at(1), third);
}

TEST_F(PersistentTest, WithoutReturnChangesThereIsNoControl) {
    Watch watch(server_, {}, {.returnChanges = false});
    liveNova();
    const auto changes = watch.changes();
    ASSERT_EQ(changes.entries.size(), 5U);
    for (const auto &controls : changes.entryControls)
        EXPECT_TRUE(controls.empty());
}

TEST_F(PersistentTest, OnlyTheWantedTypesAreReported) {
    for (std::uint8_t types = 1; types < 16; ++types) {
        InProcess server;
        server.bindAdmin();
        Watch watch(server, {}, {.types = types});
        server.code(addNova());
        server.code(retitle(kNew, "Pilot"));
        server.code(wire::rename(kNew, "cn=Vega", true));
        server.code(wire::remove("cn=Vega,ou=people,dc=example,dc=com"));
        std::string seen;
        for (const auto &controls : watch.changes().entryControls)
            seen += controls.at(0).value.at(4);
        std::string expected;
        for (const char type : {'\1', '\4', '\10', '\2'})
            if ((types & type) != 0)
                expected += type;
        EXPECT_EQ(seen, expected) << int{types};
    }
}

TEST_F(PersistentTest, OnlyWhatLiesInTheScopeIsReported) {
    struct Case {
        const char *base;
        std::uint8_t scope;
        std::string types; // of the changes of Nova's life
    };
    const Case cases[] = {
        {kPeople, 0, ""},
        {kPeople, 1, "\x01\x04\x08\x08\x02"},
        {kPeople, 2, "\x01\x04\x08\x08\x02"},
        {kEmea, 2, "\x08\x08"}, // it comes, it goes: within before or after is enough
        {kEmea, 1, "\x08\x08"},
        {kTop, 0, ""},
        {kTop, 1, ""},
        {kTop, 2, "\x01\x04\x08\x08\x02"},
        {"", 0, ""},
        {"", 1, ""},
        {"", 2, "\x01\x04\x08\x08\x02"},
        {"OU=People, dc=example,dc=com", 1, "\x01\x04\x08\x08\x02"},
        {"ou=groups,dc=example,dc=com", 2, ""},
    };
    for (const Case &c : cases) {
        Watch watch(server_, {.base = c.base, .scope = c.scope});
        liveNova();
        std::string seen;
        for (const auto &controls : watch.changes().entryControls)
            seen += controls.at(0).value.at(4);
        EXPECT_EQ(seen, c.types) << c.base << " " << int{c.scope};
    }
    Watch roots(server_, {.base = "", .scope = 1});
    server_.code(wire::modify(kTop, {{2, {"description", {"x"}}}}));
    EXPECT_EQ(roots.changes().entries, Dns{kTop});
}

TEST_F(PersistentTest, TheFilterJudgesTheEntryAfterTheChange) {
    Watch pilots(server_, {.filter = wire::equality("title", "Pilot")});
    server_.code(addNova());
    EXPECT_EQ(pilots.changes().messages, 0U);
    server_.code(retitle(kNew, "Pilot"));
    EXPECT_EQ(pilots.changes().entries, Dns{kNew});
    server_.code(retitle(kNew, "Cook"));
    EXPECT_EQ(pilots.changes().messages, 0U);
    server_.code(retitle(kNew, "Pilot"));
    server_.code(wire::remove(kNew));
    EXPECT_EQ(pilots.changes().entries, (Dns{kNew, kNew})) << "as it was before it went";
    // Extensible with DN attributes: the deleted entry has still lain where it lay.
    const std::string below = wire::tlv(0xa9, wire::tlv(0x82, "ou") + wire::tlv(0x83, "people") +
                                                  wire::tlv(0x84, "\xff"));
    Watch named(server_, {.filter = below}, {.types = 2});
    server_.code(addNova());
    server_.code(wire::remove(kNew));
    EXPECT_EQ(named.changes().entries, Dns{kNew});
}

TEST_F(PersistentTest, ARenamedSubtreeIsOneChange) {
    Watch watch(server_, {});
    server_.code(wire::add("ou=a,dc=example,dc=com",
                           {{"objectClass", {"organizationalUnit"}}, {"ou", {"a"}}}));
    server_.code(wire::add("ou=b,ou=a,dc=example,dc=com",
                           {{"objectClass", {"organizationalUnit"}}, {"ou", {"b"}}}));
    EXPECT_EQ(server_.code(wire::rename("ou=a,dc=example,dc=com", "ou=c", true)), 0);
    EXPECT_EQ(watch.changes().entries, (Dns{"ou=a,dc=example,dc=com", "ou=b,ou=a,dc=example,dc=com",
                                            "ou=c,dc=example,dc=com"}));
}

TEST_F(PersistentTest, EntriesShowTheSelectedAttributesAndNoPassword) {
    Watch watch(server_, {.attributes = {"title", "userPassword"}});
    server_.code(addNova());
    server_.code(retitle(kNew, "Pilot"));
    const auto changes = watch.changes();
    EXPECT_TRUE(changes.entryAttributes.at(0).empty());
    ASSERT_EQ(changes.entryAttributes.at(1).size(), 1U);
    EXPECT_EQ(changes.entryAttributes[1][0].name, "title");
    Watch thief(server_, {.filter = wire::equality("userPassword", "secret")});
    server_.code(retitle(kNew, "Cook"));
    EXPECT_EQ(thief.changes().messages, 0U);
}

TEST_F(PersistentTest, ShowsTheEntryAsItWasAtThatChange) {
    Watch watch(server_, {.base = kAda, .scope = 0, .attributes = {"title"}});
    server_.code(retitle(kAda, "one"));
    server_.code(retitle(kAda, "two"));
    const auto changes = watch.changes();
    EXPECT_EQ(changes.entryAttributes.at(0).at(0).values, Dns{"one"});
    EXPECT_EQ(changes.entryAttributes.at(1).at(0).values, Dns{"two"});
}

TEST_F(PersistentTest, FailedOperationsAreNoChanges) {
    Watch watch(server_, {});
    EXPECT_NE(server_.code(wire::remove(kPeople)), 0);
    EXPECT_NE(server_.code(wire::modify(kAda, {{1, {"cn", {}}}})), 0);
    server_.bindAs("", "");
    EXPECT_EQ(server_.code(retitle(kAda, "x")), 50);
    EXPECT_EQ(watch.changes().messages, 0U);
}

TEST_F(PersistentTest, TheSizeLimitCountsChangesToo) {
    Watch watch(server_, {.base = kServer1, .scope = 0, .sizeLimit = 3}, {.changesOnly = false});
    server_.code(retitle(kServer1, "a"));
    server_.code(retitle(kServer1, "b"));
    EXPECT_EQ(watch.changes().entries.size(), 2U);
    ASSERT_TRUE(watch.isOpen());
    server_.code(retitle(kServer1, "c"));
    const auto last = watch.changes();
    EXPECT_TRUE(last.entries.empty());
    EXPECT_EQ(last.code, 4);
    EXPECT_EQ(last.op, 0x65);
    EXPECT_FALSE(watch.isOpen());
    EXPECT_EQ(server_.connection.waitingChanges, 0U);
}

TEST_F(PersistentTest, ChangesDuringTheFirstPassComeAfterIt) {
    const std::string request = wire::message(1, wire::search({.base = kPeople, .scope = 1}),
                                              watchControl({.changesOnly = false}));
    auto outcome = server_.dispatcher.handle(server_.connection, stratasim::asBytes(request));
    std::string out;
    ASSERT_EQ(outcome.open->produce(out, 1), stratasim::OpenOperation::Progress::More);
    server_.code(retitle(kAda, "x"));
    while (outcome.open->produce(out, 1) == stratasim::OpenOperation::Progress::More)
        continue;
    const auto all = wire::parse(out);
    ASSERT_EQ(all.entries.size(), 121U);
    EXPECT_EQ(all.entries.back(), kAda);
    EXPECT_FALSE(all.entryControls.back().empty());
}

TEST_F(PersistentTest, WakesWhoeverWaits) {
    Watch watch(server_, {.base = kAda, .scope = 0});
    int woken = 0;
    watch.operation().onReady([&] { ++woken; });
    server_.code(retitle(kServer1, "x"));
    EXPECT_EQ(woken, 0);
    server_.code(retitle(kAda, "x"));
    EXPECT_EQ(woken, 1);
}

TEST_F(PersistentTest, WhatIsNotReadIsBounded) {
    const std::string large(1000000, 'x');
    Watch watch(server_, {.base = kAda, .scope = 0, .attributes = {"title"}});
    Watch other(server_, {.base = kServer1, .scope = 0, .attributes = {"1.1"}});
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(server_.code(retitle(kAda, large)), 0);
    EXPECT_LE(server_.connection.waitingChanges, 4U * 1024 * 1024);
    const auto changes = watch.changes();
    EXPECT_EQ(changes.entries.size(), 4U) << "what has been kept is still sent";
    EXPECT_EQ(changes.code, 11);
    EXPECT_NE(changes.diagnostic.find("4194304 bytes"), std::string::npos) << changes.diagnostic;
    EXPECT_FALSE(watch.isOpen());
    EXPECT_EQ(server_.connection.waitingChanges, 0U);
    server_.code(retitle(kServer1, "x"));
    EXPECT_EQ(other.changes().entries, Dns{kServer1}) << "the other one goes on";
}

TEST_F(PersistentTest, OneLargeEntryIsSentAllTheSame) {
    Watch watch(server_, {.base = kAda, .scope = 0, .attributes = {"title"}});
    EXPECT_EQ(server_.code(retitle(kAda, std::string(6000000, 'x'))), 0);
    EXPECT_EQ(watch.changes().entries, Dns{kAda});
    EXPECT_TRUE(watch.isOpen());
}

TEST_F(PersistentTest, TheirNumberIsBounded) {
    std::vector<std::unique_ptr<Watch>> watches;
    for (int i = 0; i < 1000; ++i)
        watches.push_back(std::make_unique<Watch>(server_, Search{.base = kAda, .scope = 0}));
    EXPECT_TRUE(watches.back()->isOpen());
    Watch tooMany(server_, {});
    EXPECT_FALSE(tooMany.isOpen());
    EXPECT_EQ(tooMany.first().code, 11);
    server_.code(retitle(kAda, "x"));
    for (const auto &watch : watches)
        EXPECT_EQ(watch->changes().entries, Dns{kAda});
    watches.pop_back();
    EXPECT_EQ(server_.connection.watches, 999U);
    Watch again(server_, {});
    EXPECT_TRUE(again.isOpen());
}

TEST_F(PersistentTest, FailsAsOtherSearchesDo) {
    EXPECT_EQ(Watch(server_, {.base = "cn=no,dc=example,dc=com"}).first().code, 32);
    EXPECT_EQ(Watch(server_, {.base = "nonsense"}).first().code, 34);
    EXPECT_EQ(server_.connection.watches, 0U);
    EXPECT_EQ(server_.directory.monitor.openSearches, 0);
}

TEST_F(PersistentTest, MalformedValuesAreRefused) {
    const std::string good = hex("3009 02010f 0101ff 010100");
    std::vector<std::string> cases = {hex("3009 020100 0101ff 010100"), // no type
                                      hex("3009 020110 0101ff 010100"), // an unknown one
                                      hex("3009 0201ff 0101ff 010100"), // a negative sum
                                      hex("3009 0a010f 0101ff 010100"),
                                      hex("3109 02010f 0101ff 010100"),
                                      hex("300a 02010f 0102ffff 010100"),
                                      hex("3006 02010f 0101ff"),
                                      hex("300c 02010f 0101ff 010100 010100"),
                                      good + "x",
                                      hex("300d 0209000000000000000001 010100"),
                                      "",
                                      hex("3089ffffffffffffffffff"),
                                      hex("308000")};
    for (std::size_t length = 0; length < good.size(); ++length)
        cases.push_back(good.substr(0, length));
    for (const std::string &value : cases) {
        for (const bool critical : {true, false}) {
            const auto response =
                server_.ask(wire::search({}), wire::control(kPersistentSearch, critical, &value));
            EXPECT_EQ(response.code, 2);
            EXPECT_EQ(response.diagnostic.substr(0, 32), "control 2.16.840.1.113730.3.4.3:");
            EXPECT_FALSE(server_.closed);
        }
    }
    const auto none = server_.ask(wire::search({}), wire::control(kPersistentSearch, true));
    EXPECT_EQ(none.code, 2);
    EXPECT_EQ(server_.ask(wire::search({}), watchControl({}) + watchControl({})).code, 2);
    EXPECT_EQ(server_.ask(wire::compare(kAda, "cn", "x"), watchControl({})).code, 12);
}

} // namespace
