#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::text;

constexpr const char *kProxy = "2.16.840.1.113730.3.4.18";
constexpr const char *kWhoAmI = "1.3.6.1.4.1.4203.1.11.3";
constexpr const char *kBruno = "cn=Bruno Castell,ou=people,dc=example,dc=com"; // of the help desk
constexpr const char *kDario = "cn=Dario Ekholm,ou=people,dc=example,dc=com";  // an operator

std::string as(const std::string &who) {
    return wire::control(kProxy, true, &who);
}

wire::Response whoAmI(InProcess &server, const std::string &controls) {
    return server.ask(wire::extended(kWhoAmI), controls);
}

TEST(ProxyTest, WhoMayActAsWhom) {
    struct Case {
        const char *bound;
        std::string authzId;
        int code;
        std::string identity;
    };
    const std::string ada = kAda;
    const std::string emea = "cn=Ines Jansen,ou=emea,dc=example,dc=com";
    const Case cases[] = {
        {kAdmin, ada, 0, "dn:" + ada},
        {kAdmin, "dn:" + ada, 0, "dn:" + ada},
        {kAdmin, "DN:CN=ada brandt, OU=people,dc=example,dc=com", 0, "dn:" + ada},
        {kAdmin, kServer1, 0, std::string("dn:") + kServer1},
        {kAdmin, kAdmin, 0, std::string("dn:") + kAdmin},
        {kAdmin, "", 0, ""},
        {kAdmin, "dn:", 0, ""},
        {kAdmin, "u:ada", 123, ""},
        {kAdmin, "nonsense", 123, ""},
        {kAdmin, "dn:nonsense", 123, ""},
        {kAdmin, "dn:dn:" + ada, 123, ""},
        {kAdmin, ada + '\0', 123, ""},
        {kAdmin, "cn=nobody,ou=people,dc=example,dc=com", 123, ""},
        {kBruno, ada, 0, "dn:" + ada},
        {kBruno, kDario, 0, std::string("dn:") + kDario},
        {kBruno, kServer1, 123, ""},
        {kBruno, emea, 123, ""},
        {kBruno, kAdmin, 123, ""},
        {kBruno, "", 123, ""},
        {kBruno, "cn=nobody,ou=people,dc=example,dc=com", 123, ""},
        {kDario, ada, 123, ""},
        {kDario, kServer1, 123, ""},
        {kDario, kDario, 123, ""},
        {"", ada, 123, ""},
        {"", "", 123, ""},
    };
    for (const Case &c : cases) {
        InProcess server;
        if (*c.bound != '\0')
            server.bindAs(c.bound, c.bound == kAdmin ? "secret" : "changeme");
        const auto response = whoAmI(server, as(c.authzId));
        EXPECT_EQ(response.code, c.code) << c.bound << " as " << c.authzId;
        if (c.code == 0) {
            EXPECT_EQ(response.value, c.identity);
        }
        EXPECT_EQ(server.identity.dn, c.bound) << "the connection keeps its own";
    }
}

TEST(ProxyTest, NobodyRisesToTheAdministrator) {
    const stratasim::Directory::Administrator among{kAda, "secret"};
    stratasim::Directory directory(among, [] { return std::int64_t{1}; });
    const stratasim::Faults faults;
    stratasim::Dispatcher dispatcher(directory, faults);
    const auto ask = [&](const char *bound) {
        stratasim::Connection connection;
        connection.identity = {bound, stratasim::requireDn(bound).key};
        const std::string request = wire::message(1, wire::extended(kWhoAmI), as(kAda));
        return wire::parse(dispatcher.handle(connection, stratasim::asBytes(request)).bytes).code;
    };
    EXPECT_EQ(ask(kBruno), 123) << "although the entry lies below ou=people";
    EXPECT_EQ(ask(kAda), 0);
}

TEST(ProxyTest, EveryOperationIsJudgedByTheProxiedIdentity) {
    const std::string change = wire::modify(kAda, {{2, {"mail", {"x@example.com"}}}});
    const std::string changeTitle = wire::modify(kAda, {{2, {"title", {"x"}}}});
    struct Case {
        std::string op;
        int asAda;
        int asAdmin;
    };
    const Case cases[] = {
        {change, 0, 0},
        {changeTitle, 50, 0},
        {wire::compare(kAda, "userPassword", "changeme"), 6, 6},
        {wire::compare(kServer1, "userPassword", "x"), 50, 16},
        {wire::add("cn=x,dc=example,dc=com", {{"objectClass", {"person"}}, {"cn", {"x"}}}), 50, 0},
        {wire::rename(kDario, "cn=Dario", true), 50, 0},
        {wire::remove("cn=Dario,ou=people,dc=example,dc=com"), 50, 0},
        {wire::extended(wire::strataOid(9)), 50, 0},
        {wire::search({}), 0, 0},
    };
    InProcess server;
    server.bindAdmin();
    for (const Case &c : cases) {
        EXPECT_EQ(server.ask(c.op, as(kAda)).code, c.asAda) << int{c.op[0]};
        EXPECT_EQ(server.ask(c.op, as(kAdmin)).code, c.asAdmin) << int{c.op[0]};
        EXPECT_EQ(server.identity.dn, kAdmin);
    }
}

TEST(ProxyTest, WhatIsWrittenBearsItsName) {
    InProcess server;
    server.bindAdmin();
    server.ask(wire::modify(kAda, {{2, {"mail", {"x@example.com"}}}}), as(kAda));
    const auto shown =
        server.ask(wire::search({.base = kAda, .scope = 0, .attributes = {"modifiersName"}}));
    EXPECT_EQ(shown.entryAttributes.at(0).at(0).values, std::vector<std::string>{kAda});
    EXPECT_EQ(server.ask(wire::extended(wire::strataOid(31)), as(kAda)).value, text(kAda));
}

TEST(ProxyTest, TheControlHasItsRules) {
    InProcess server;
    server.bindAdmin();
    const std::string ada = kAda;
    EXPECT_EQ(whoAmI(server, as(kAda) + as(kAda)).code, 2) << "twice";
    EXPECT_EQ(whoAmI(server, wire::control(kProxy, false, &ada)).code, 2) << "not critical";
    EXPECT_EQ(whoAmI(server, wire::control(kProxy, true)).code, 2) << "no value";
    EXPECT_EQ(whoAmI(server, as(kAda) + wire::control("1.2.3", true)).code, 12);
    EXPECT_FALSE(server.closed);
    const auto refused = server.ask(wire::extended(wire::strataOid(31)), as("u:ada"));
    EXPECT_EQ(refused.code, 123);
    EXPECT_EQ(refused.oid, wire::strataOid(32));
    EXPECT_EQ(refused.value, "none");
    EXPECT_EQ(server.ask(wire::search({}), as("u:ada")).code, 123);
}

TEST(ProxyTest, IsNothingForBindAbandonAndUnbind) {
    InProcess server;
    server.bindAdmin();
    EXPECT_EQ(server.ask(wire::bind(kAda, "changeme"), as("")).code, 2);
    EXPECT_TRUE(server.identity.isAnonymous()) << "the bind has ended the old identity";
    server.bindAdmin();
    server.raw(wire::message(2, wire::tlv(0x50, "\x05"), as("u:x")));
    EXPECT_EQ(server.last.abandon, 5);
    EXPECT_FALSE(server.closed);
    server.raw(wire::message(3, wire::tlv(0x42, ""), as("u:x")));
    EXPECT_TRUE(server.closed);
}

TEST(ProxyTest, TheRightIsOneOfItsOwn) {
    InProcess server;
    server.bindAdmin();
    const auto bits = [&](const char *trustee, const char *attribute) {
        return server.extended(33, text(kAda) + text(trustee) + text(attribute)).value;
    };
    EXPECT_EQ(bits(kAdmin, "*"), hex("02011f")) << "* does not include it";
    EXPECT_EQ(bits(kAdmin, "actAs"), hex("02013f"));
    EXPECT_EQ(bits(kBruno, "actAs"), hex("020123"));
    EXPECT_EQ(bits(kDario, "actAs"), hex("020103"));
}

} // namespace
