#include "events.h"
#include "lburp_fixture.h"
#include "schema_server.h"
#include "watch.h"

#include <gtest/gtest.h>

namespace {

using namespace schema_server;

const std::string kText = "( 1.2.3 NAME 'mine' SUP name )";

class SchemaChange : public testing::Test {
  protected:
    SchemaChange() { server_.bindAdmin(); }

    void change(const wire::Mod &what) { EXPECT_EQ(server_.code(modify({what})), 0); }

    InProcess server_;
};

TEST_F(SchemaChange, IsAnEventOfTheEntryAndItsValues) {
    Monitored monitor(server_, {{3}, {5}, {6}});
    change(add("attributeTypes", {kText}));
    auto events = monitor.events();
    ASSERT_EQ(events.size(), 2U) << "nothing is told of values that stay";
    EXPECT_TRUE(events[0].starts_with(wire::hex("30") + events[0].substr(1, 1) + wire::number(3)));
    EXPECT_TRUE(contains(events[1], wire::text("attributeTypes")));
    EXPECT_TRUE(contains(events[1], wire::text(kText)));
    change(remove("attributeTypes", {kText}));
    events = monitor.events();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_TRUE(contains(events[1], wire::number(6)));
    EXPECT_TRUE(contains(events[1], wire::text(kText)));
    // A refused change is none.
    EXPECT_EQ(server_.code(modify({remove("attributeTypes", {kText})})), 16);
    EXPECT_TRUE(monitor.events().empty());
}

TEST_F(SchemaChange, IsSeenByPersistentSearches) {
    Watch watch(server_, {.base = kDn, .scope = 0, .attributes = {"dITStructureRules"}});
    change(add("dITStructureRules", {"( 9 FORM strataUnitForm SUP 1 )"}));
    const auto changes = watch.changes();
    ASSERT_EQ(changes.entries, std::vector<std::string>{kDn});
    EXPECT_EQ(changes.entryAttributes.at(0).at(0).values.back(), "( 9 FORM strataUnitForm SUP 1 )");
}

TEST_F(LburpTest, TheSchemaChangesBetweenEntries) {
    const auto entry = [](const char *name) {
        return wire::add(lburp::dn(name),
                         {{"objectClass", {"person"}}, {"cn", {name}}, {"mine", {"1", "2"}}});
    };
    start();
    const auto response = client_.ask(lburp::operations(
        1, {modify({add("attributeTypes", {"( 1.2.3 NAME 'mine' SUP name SINGLE-VALUE )"})}),
            entry("a"), modify({add("attributeTypes", {"("})})}));
    EXPECT_EQ(response.code, 80) << response.diagnostic;
    EXPECT_FALSE(isThere("a")) << "one value is too many";
    EXPECT_TRUE(contains(response.value, wire::number(2)));
    EXPECT_EQ(shown(server_, "attributeTypes").back(),
              "( 1.2.3 NAME 'mine' SUP name SINGLE-VALUE )");
}

} // namespace
