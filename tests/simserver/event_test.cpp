#include "event_fixture.h"

#include <gtest/gtest.h>

namespace {

using wire::number;
using wire::text;
using Values = std::vector<std::string>;

// 336 entries of the sample, cn=schema, cn=monitor and cn=triggers: 339, 0x0153.
TEST_F(EventTest, EntriesComeChangeAndGo) {
    Monitored monitor(server_, {{1}, {2}, {3}, {4}});
    const char *renamed = "cn=Vega,dc=example,dc=com";
    EXPECT_EQ(ask(add()).code, 0);
    EXPECT_EQ(ask(wire::modify(kNew, {{2, {"title", {"Pilot"}}}})).code, 0);
    EXPECT_EQ(ask(wire::rename(kNew, "cn=Vega", true)).code, 0);
    EXPECT_EQ(ask(wire::remove(renamed)).code, 0);
    EXPECT_EQ(monitor.events(),
              (Values{event(1, 0, entry(kNew, 1, "0154")), event(3, 0, entry(kNew, 2, "0154")),
                      event(4, 0, entry(renamed, 3, "0154", kNew)),
                      event(2, 0, entry(renamed, 4, "0153"))}));
}

TEST_F(EventTest, FailedChangesAreNoEventsOfEntries) {
    Monitored monitor(server_, {{1}, {2}, {3}, {4}, {5}, {6}});
    EXPECT_EQ(ask(wire::remove(kTop)).code, 66);
    EXPECT_EQ(ask(wire::modify(kAda, {{1, {"cn", {}}}})).code, 67);
    EXPECT_TRUE(monitor.events().empty());
}

TEST_F(EventTest, ValuesComeAndGo) {
    Monitored monitor(server_, {{5}, {6}});
    ask(add());
    EXPECT_TRUE(monitor.events().empty()) << "those of a new entry are not told one by one";
    ask(wire::modify(kNew, {{0, {"title", {"one", "two"}}}}));
    EXPECT_EQ(monitor.events(), (Values{event(5, 0, value(kNew, "title", "one", 2)),
                                        event(5, 0, value(kNew, "title", "two", 2))}));
    ask(wire::modify(kNew, {{2, {"title", {"two", "three"}}}, {0, {"mail", {"m"}}}}));
    EXPECT_EQ(monitor.events(), (Values{event(6, 0, value(kNew, "title", "one", 3)),
                                        event(5, 0, value(kNew, "title", "three", 3)),
                                        event(5, 0, value(kNew, "mail", "m", 3))}));
    ask(wire::modify(kNew, {{2, {"userPassword", {"secret"}}}}));
    EXPECT_EQ(monitor.events(), Values{event(5, 0, value(kNew, "userPassword", "", 4))})
        << "the password stays where it is";
    ask(wire::rename(kNew, "cn=Vega", true));
    const char *renamed = "cn=Vega,dc=example,dc=com";
    EXPECT_EQ(monitor.events(), (Values{event(6, 0, value(renamed, "cn", "Nova", 5)),
                                        event(5, 0, value(renamed, "cn", "Vega", 5))}));
}

TEST_F(EventTest, MembersOfGroups) {
    Monitored monitor(server_, {{7}});
    const char *group = "cn=operators,ou=groups,dc=example,dc=com";
    const auto member = [](const char *dn, std::uint8_t begins, const std::string &who) {
        return event(
            7, 0,
            element(
                0x66,
                text(dn) + number(begins) + text(who) +
                    element(0x30, number(1) +
                                      element(0x30, element(0x30, number(1) + text("ldap://"))))));
    };
    ask(wire::modify(group, {{0, {"member", {kAda}}}}));
    EXPECT_EQ(monitor.events(), Values{member(group, 1, kAda)});
    ask(wire::modify(group, {{1, {"member", {kAda}}}, {0, {"description", {"x"}}}}));
    EXPECT_EQ(monitor.events(), Values{member(group, 0, kAda)});
    ask(wire::add(kNew,
                  {{"objectClass", {"groupOfNames"}}, {"cn", {"Nova"}}, {"member", {"cn=a"}}}));
    EXPECT_EQ(monitor.events(), Values{member(kNew, 1, "cn=a")});
    ask(wire::remove(kNew));
    EXPECT_EQ(monitor.events(), Values{member(kNew, 0, "cn=a")});
}

TEST_F(EventTest, ThingsAreToldInTheOrderInWhichTheyHappen) {
    Monitored monitor(server_, {{3}, {5}, {6}, {17}, {23}, {24}});
    (void)monitor.events();
    ask(wire::modify(kAda, {{2, {"userPassword", {"a"}}}}));
    std::string types;
    for (const std::string &value : monitor.events())
        types += wire::elements(wire::elements(value).at(0).content).at(0).content;
    EXPECT_EQ(types, "\x03\x06\x05\x11\x18\x17");
}

TEST_F(EventTest, AProxiedRequestIsTheConnectionsOwnAndTheOthersDeed) {
    Monitored monitor(server_, {{3}, {17}});
    const std::string who = std::string("dn:") + kAda;
    const std::string as = wire::control("2.16.840.1.113730.3.4.18", true, &who);
    EXPECT_EQ(ask(wire::modify(kAda, {{2, {"mail", {"a"}}}}), as).code, 0);
    const auto events = monitor.events();
    ASSERT_EQ(events.size(), 2U);
    const auto fields =
        wire::elements(wire::elements(wire::elements(events[0])[0].content)[2].content);
    EXPECT_EQ(fields.at(2).content, kAda);
    EXPECT_NE(events[1].find(kAdmin), std::string::npos);
}

} // namespace
