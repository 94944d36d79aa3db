#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::Mod;
using wire::Values;

constexpr const char *kNew = "cn=Nova,ou=people,dc=example,dc=com";
const std::vector<Values> kNewAttributes = {
    {"objectClass", {"top", "person"}}, {"cn", {"Nova"}}, {"sn", {"N"}}, {"uidNumber", {"7"}}};

std::vector<std::string> valuesOf(InProcess &server, const std::string &dn,
                                  const std::string &name) {
    const auto response = server.ask(wire::search({.base = dn, .scope = 0, .attributes = {name}}));
    if (response.entryAttributes.empty() || response.entryAttributes[0].empty())
        return {};
    return response.entryAttributes[0][0].values;
}

class WriteTest : public testing::Test {
  protected:
    WriteTest() {
        server_.bindAdmin();
        EXPECT_EQ(server_.code(wire::add(kNew, kNewAttributes)), 0);
    }
    InProcess server_;
};

TEST_F(WriteTest, AddResults) {
    const std::vector<Values> printer = {{"objectClass", {"top"}}, {"cn", {"printer"}}};
    struct Case {
        const char *dn;
        std::vector<Values> attributes;
        int code;
        const char *matched;
    };
    const Case cases[] = {
        {"cn=printer,dc=example,dc=com", printer, 0, ""},
        {"cn=Printer,dc=example,dc=com", printer, 68, ""},
        {"cn=printer,ou=x,dc=example,dc=com", printer, 32, kTop},
        {"cn=printer,dc=org", printer, 32, ""},
        {"dc=org", {{"objectClass", {"top"}}, {"dc", {"org"}}}, 32, ""},
        {"nonsense", printer, 34, ""},
        {"", printer, 53, ""},
        {"cn=printer,cn=monitor", printer, 53, ""},
        {"cn=a,dc=example,dc=com", {{"cn", {"a"}}}, 65, ""},
        {"cn=a,dc=example,dc=com", printer, 64, ""},
        {"cn=a,dc=example,dc=com", {{"objectClass", {"top"}}, {"cn", {"a", "A"}}}, 20, ""},
        {"cn=a,dc=example,dc=com", {{"objectClass", {"top"}}, {"cn", {}}}, 19, ""},
        {"cn=a,dc=example,dc=com",
         {{"objectClass", {"top"}}, {"cn", {"a"}}, {"entryUUID", {"x"}}},
         19,
         ""},
        {"cn=a,dc=example,dc=com",
         {{"objectClass", {"top"}}, {"cn", {"a"}}, {"uidNumber", {"1", "2"}}},
         19,
         ""},
        {"cn=a,dc=example,dc=com", {{"objectClass", {"top"}}, {"not a name", {"a"}}}, 17, ""},
    };
    for (const Case &c : cases) {
        const auto response = server_.ask(wire::add(c.dn, c.attributes));
        EXPECT_EQ(response.op, 0x69);
        EXPECT_EQ(response.code, c.code) << c.dn << ": " << response.diagnostic;
        EXPECT_EQ(response.matched, c.matched) << c.dn;
    }
}

TEST_F(WriteTest, AddSetsOperationalAttributes) {
    EXPECT_EQ(valuesOf(server_, kNew, "creatorsName"), std::vector<std::string>{kAdmin});
    EXPECT_EQ(valuesOf(server_, kNew, "createTimestamp"),
              std::vector<std::string>{"19700112134640Z"});
    EXPECT_EQ(valuesOf(server_, kNew, "entryUUID").at(0).size(), 36U);
}

TEST_F(WriteTest, DeleteResults) {
    const std::pair<const char *, int> cases[] = {
        {kNew, 0},         {kNew, 32},     {"ou=people,dc=example,dc=com", 66},
        {"nonsense", 34},  {"", 53},       {"cn=monitor", 53},
        {"cn=schema", 53}, {kServer2, 53}, {kTop, 66},
    };
    for (const auto &[dn, code] : cases) {
        const auto response = server_.ask(wire::remove(dn));
        EXPECT_EQ(response.op, 0x6b);
        EXPECT_EQ(response.code, code) << dn;
    }
    EXPECT_EQ(server_.code(wire::search({.base = kNew})), 32);
}

TEST_F(WriteTest, ModifyResults) {
    const std::string big(20, '9');
    const std::pair<std::vector<Mod>, int> cases[] = {
        {{{0, {"mail", {"a", "b"}}}}, 0},
        {{{0, {"mail", {"c", "B"}}}}, 20},
        {{{0, {"mail", {"d", "d"}}}}, 20},
        {{{0, {"mail", {}}}}, 2},
        {{{1, {"mail", {"A"}}}}, 0},
        {{{1, {"mail", {"A"}}}}, 16},
        {{{1, {"mail", {"b", "b"}}}}, 16},
        {{{1, {"mail", {}}}}, 0},
        {{{1, {"mail", {}}}}, 16},
        {{{2, {"mail", {"x", "y"}}}}, 0},
        {{{2, {"mail", {"x", "X"}}}}, 20},
        {{{2, {"mail", {}}}}, 0},
        {{{2, {"mail", {}}}}, 0},
        {{{3, {"uidNumber", {"-3"}}}}, 0},
        {{{3, {"uidNumber", {"9223372036854775807"}}}}, 19},
        {{{3, {"uidNumber", {"x"}}}}, 19},
        {{{3, {"cn", {"1"}}}}, 19},
        {{{3, {"gidNumber", {"1"}}}}, 16},
        {{{3, {"uidNumber", {"1", "2"}}}}, 2},
        {{{4, {"uidNumber", {"1"}}}}, 2},
        {{{0, {"uidNumber", {"5"}}}}, 19},
        {{{2, {"cn", {"Other"}}}}, 67},
        {{{1, {"cn", {}}}}, 67},
        {{{1, {"objectClass", {}}}}, 65},
        {{{2, {"modifyTimestamp", {"x"}}}}, 19},
        {{{2, {"no such name", {"x"}}}}, 17},
        {{}, 0},
    };
    for (const auto &[changes, code] : cases) {
        const auto response = server_.ask(wire::modify(kNew, changes));
        EXPECT_EQ(response.op, 0x67);
        EXPECT_EQ(response.code, code)
            << (changes.empty() ? "" : changes[0].attribute.name) << response.diagnostic;
    }
    EXPECT_EQ(valuesOf(server_, kNew, "uidNumber"), std::vector<std::string>{"4"});
    EXPECT_EQ(server_.ask(wire::modify("cn=x,ou=people,dc=example,dc=com", {})).matched,
              "ou=people,dc=example,dc=com");
    EXPECT_EQ(server_.code(wire::modify("cn=monitor", {})), 53);
    EXPECT_EQ(server_.code(wire::modify("", {})), 53);
}

TEST_F(WriteTest, ModifyIsAllOrNothing) {
    EXPECT_EQ(server_.code(wire::modify(kNew, {{0, {"mail", {"a"}}}, {1, {"title", {}}}})), 16);
    EXPECT_TRUE(valuesOf(server_, kNew, "mail").empty());
    EXPECT_EQ(server_.code(wire::modify(kNew, {{0, {"mail", {"a"}}}, {1, {"mail", {"a"}}}})), 0);
    EXPECT_TRUE(valuesOf(server_, kNew, "mail").empty());
}

TEST_F(WriteTest, ModifyStampsTheEntry) {
    server_.time += 60;
    server_.code(wire::modify(kNew, {{0, {"mail", {"a"}}}}));
    EXPECT_EQ(valuesOf(server_, kNew, "modifyTimestamp"),
              std::vector<std::string>{"19700112134740Z"});
    EXPECT_EQ(valuesOf(server_, kNew, "createTimestamp"),
              std::vector<std::string>{"19700112134640Z"});
}

TEST_F(WriteTest, RenameResults) {
    struct Case {
        const char *dn;
        const char *newRdn;
        const char *superior;
        int code;
        const char *matched;
    };
    const Case cases[] = {
        {"cn=x,ou=people,dc=example,dc=com", "cn=y", nullptr, 32, "ou=people,dc=example,dc=com"},
        {kNew, "cn=Ada Brandt", nullptr, 68, ""},
        {kNew, "cn=y", "ou=x,dc=example,dc=com", 32, kTop},
        {kNew, "cn=y", kNew, 53, ""},
        {kNew, "cn=y", "cn=monitor", 53, ""},
        {kNew, "cn=y", "", 53, ""},
        {kNew, "nonsense", nullptr, 34, ""},
        {kNew, "cn=y,cn=z", nullptr, 34, ""},
        {kNew, "", nullptr, 34, ""},
        {kNew, "entryUUID=1", nullptr, 19, ""},
        {"nonsense", "cn=y", nullptr, 34, ""},
        {kTop, "dc=other", nullptr, 53, ""},
        {kServer1, "cn=y", nullptr, 53, ""},
        {kEmea, "ou=europe", nullptr, 53, ""},
        {"cn=triggers,cn=monitor", "cn=y", nullptr, 53, ""},
        {kNew, "CN=NOVA", nullptr, 0, ""},
        {"CN=NOVA,ou=people,dc=example,dc=com", "cn=y", kEmea, 0, ""},
    };
    for (const Case &c : cases) {
        const auto response = server_.ask(wire::rename(c.dn, c.newRdn, true, c.superior));
        EXPECT_EQ(response.op, 0x6d);
        EXPECT_EQ(response.code, c.code) << c.dn << " to " << c.newRdn << response.diagnostic;
        EXPECT_EQ(response.matched, c.matched) << c.dn;
    }
    EXPECT_EQ(server_.code(wire::search({.base = kNew})), 32);
    EXPECT_EQ(server_.ask(wire::search({.base = "cn=y,ou=emea,dc=example,dc=com"})).entries,
              std::vector<std::string>{"cn=y,ou=emea,dc=example,dc=com"});
}

TEST_F(WriteTest, RenameKeepsOrDropsTheOldName) {
    const std::string renamed = "cn=Stella,ou=people,dc=example,dc=com";
    EXPECT_EQ(server_.code(wire::rename(kNew, "cn=Stella", false)), 0);
    EXPECT_EQ(valuesOf(server_, renamed, "cn"), (std::vector<std::string>{"Nova", "Stella"}));
    EXPECT_EQ(server_.code(wire::rename(renamed, "cn=Nova+sn=Luna", true)), 0);
    const std::string twofold = "sn=luna+cn=nova,ou=people,dc=example,dc=com";
    EXPECT_EQ(valuesOf(server_, twofold, "cn"), std::vector<std::string>{"Nova"});
    EXPECT_EQ(valuesOf(server_, twofold, "sn"), (std::vector<std::string>{"N", "Luna"}));
}

TEST_F(WriteTest, ASubtreeMovesWhole) {
    const char *unit = "ou=team,ou=people,dc=example,dc=com";
    EXPECT_EQ(server_.code(wire::add(unit, {{"objectClass", {"top"}}, {"ou", {"team"}}})), 0);
    EXPECT_EQ(server_.code(wire::rename(kNew, "cn=Nova", false, unit)), 0);
    EXPECT_EQ(server_.code(wire::rename(unit, "ou=Crew", true, kEmea)), 0);
    const auto moved = server_.ask(wire::search({.base = "ou=crew,ou=emea,dc=example,dc=com"}));
    EXPECT_EQ(moved.entries,
              (std::vector<std::string>{"ou=Crew,ou=emea,dc=example,dc=com",
                                        "cn=Nova,ou=Crew,ou=emea,dc=example,dc=com"}));
    EXPECT_EQ(server_.code(wire::search({.base = unit})), 32);
    EXPECT_EQ(server_.code(wire::search({.base = std::string("cn=Nova,") + unit})), 32);
    EXPECT_EQ(server_.code(wire::rename("ou=crew,ou=emea,dc=example,dc=com", "ou=a", true,
                                        "cn=Nova,ou=Crew,ou=emea,dc=example,dc=com")),
              53)
        << "below itself";
}

TEST_F(WriteTest, CompareResults) {
    struct Case {
        const char *dn;
        const char *attribute;
        const char *value;
        int code;
    };
    const Case cases[] = {
        {kNew, "cn", "NOVA", 6},
        {kNew, "commonName", "nova", 6},
        {kNew, "cn", "other", 5},
        {kNew, "mail", "x", 16},
        {kNew, "entryDN", kNew, 6},
        {kAda, "userPassword", "changeme", 6},
        {kAda, "userPassword", "CHANGEME", 5},
        {"", "supportedLDAPVersion", "3", 6},
        {"cn=x,ou=people,dc=example,dc=com", "cn", "x", 32},
        {"nonsense", "cn", "x", 34},
    };
    for (const Case &c : cases) {
        const auto response = server_.ask(wire::compare(c.dn, c.attribute, c.value));
        EXPECT_EQ(response.op, 0x6f);
        EXPECT_EQ(response.code, c.code) << c.dn << c.attribute;
    }
}

TEST(Access, WritesNeedARight) {
    struct Case {
        const char *who;
        std::string op;
        int code;
    };
    const char *bruno = "cn=Bruno Castell,ou=people,dc=example,dc=com"; // of the help desk
    const char *dario = "cn=Dario Ekholm,ou=people,dc=example,dc=com";  // an operator
    const std::string phone = wire::modify(kAda, {{2, {"telephoneNumber", {"1"}}}});
    const std::string title = wire::modify(kAda, {{2, {"title", {"Boss"}}}});
    const std::string place = wire::modify(kServer1, {{2, {"l", {"Oslo"}}}});
    const std::string added =
        wire::add("cn=x,ou=servers,dc=example,dc=com", {{"objectClass", {"top"}}, {"cn", {"x"}}});
    const std::string renamed = wire::rename(kAda, "cn=Ada", true);
    const Case cases[] = {
        {"", phone, 50},
        {"", added, 50},
        {"", wire::remove(kAda), 50},
        {"", renamed, 50},
        {"", wire::compare(kAda, "userPassword", "changeme"), 50},
        {"", wire::compare(kAda, "cn", "x"), 5},
        {kAda, phone, 0},
        {kAda, title, 50},
        {kAda, renamed, 50},
        {kAda, wire::remove(kAda), 50},
        {kAda, wire::compare(kAda, "userPassword", "changeme"), 6},
        {bruno, phone, 0},
        {bruno, title, 0},
        {bruno, place, 50},
        {dario, place, 0},
        {dario, added, 0},
        {dario, phone, 50},
        {dario, wire::rename(kServer1, "cn=x", true, "ou=people,dc=example,dc=com"), 50},
    };
    for (const Case &c : cases) {
        InProcess server;
        if (*c.who != 0)
            server.bindAs(c.who);
        EXPECT_EQ(server.code(c.op), c.code) << c.who;
    }
}

TEST(Writes, MalformedOnesEndTheConnection) {
    const std::string whole[] = {
        wire::add(kNew, kNewAttributes),
        wire::modify(kNew, {{2, {"mail", {"x"}}}}),
        wire::rename(kNew, "cn=y", true, kEmea),
        wire::compare(kNew, "cn", "x"),
        wire::search({.base = kAda, .attributes = {"cn"}}),
    };
    for (const std::string &op : whole) {
        const auto inner = wire::elements(op).at(0);
        for (std::size_t length = 0; length < inner.content.size(); ++length) {
            InProcess server;
            server.bindAdmin();
            const auto response = server.ask(wire::tlv(inner.tag, inner.content.substr(0, length)));
            // A rename without its last, optional element is whole as well.
            if (response.id == 1 && inner.tag == 0x6c)
                continue;
            EXPECT_EQ(response.oid, "1.3.6.1.4.1.1466.20036") << length;
            EXPECT_TRUE(server.closed);
        }
    }
}

} // namespace
