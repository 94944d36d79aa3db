#include "lburp_fixture.h"

namespace {

using lburp::kArc;
using wire::hex;
using wire::text;

constexpr const char *kManageDsaIt = "2.16.840.1.113730.3.4.2";
constexpr const char *kProxy = "2.16.840.1.113730.3.4.18";

TEST_F(LburpTest, AWholeUpdate) {
    const auto started = client_.ask(lburp::start());
    EXPECT_EQ(started.op, 0x78);
    EXPECT_EQ(started.code, 0) << started.diagnostic;
    EXPECT_EQ(started.oid, kArc + "2");
    EXPECT_EQ(started.value, hex("3003 020164")) << "100";
    const auto first = client_.ask(
        lburp::operations(1, {lburp::add("a"), lburp::add("b"), lburp::describe("a", "new")}));
    EXPECT_EQ(first.code, 0) << first.diagnostic;
    EXPECT_EQ(first.oid, kArc + "7");
    EXPECT_EQ(first.value, "none");
    EXPECT_EQ(description("a"), "new");
    const auto second = client_.ask(lburp::operations(
        2, {wire::remove(lburp::dn("b")),
            lburp::rename(lburp::dn("a"), "cn=c", "ou=people,dc=example,dc=com")}));
    EXPECT_EQ(second.code, 0) << second.diagnostic;
    EXPECT_FALSE(isThere("a"));
    EXPECT_FALSE(isThere("b"));
    const auto moved = server_.directory.tree.find("cn=c,ou=people,dc=example,dc=com");
    ASSERT_NE(moved, nullptr);
    EXPECT_EQ(moved->entry.find("cn")->values, std::vector<std::string>{"c"});
    const auto ended = client_.ask(lburp::end(2));
    EXPECT_EQ(ended.code, 0) << ended.diagnostic;
    EXPECT_EQ(ended.oid, kArc + "5");
    EXPECT_EQ(ended.value, "none");
}

TEST_F(LburpTest, MayBeginAgain) {
    for (int round = 0; round < 2; ++round) {
        start();
        EXPECT_EQ(ask(lburp::operations(
                      1, {round == 0 ? lburp::add("a") : wire::remove(lburp::dn("a"))})),
                  0);
        EXPECT_EQ(ask(lburp::end(1)), 0);
        EXPECT_EQ(isThere("a"), round == 0);
    }
    start();
    EXPECT_EQ(ask(lburp::end(0)), 0) << "there was none";
}

TEST_F(LburpTest, RequestsMayBeEmpty) {
    start();
    const auto response = client_.ask(lburp::operations(1, {}));
    EXPECT_EQ(response.code, 0);
    EXPECT_EQ(response.value, "none");
    EXPECT_EQ(ask(lburp::end(1)), 0) << "its number is used up";
}

TEST_F(LburpTest, FailuresAreListedAndStopNothing) {
    start();
    const auto response = client_.ask(lburp::operations(
        1, {lburp::add("a"), lburp::add("a"), wire::remove("cn=x,ou=people,dc=example,dc=com"),
            lburp::describe("a", "done"), wire::remove("junk")}));
    EXPECT_EQ(response.code, 80);
    EXPECT_EQ(response.diagnostic, "3 of 5 operations failed");
    EXPECT_EQ(response.oid, kArc + "7");
    EXPECT_EQ(response.value,
              lburp::failure(2, 68, "", "\"cn=a,dc=example,dc=com\" exists already") +
                  lburp::failure(3, 32, "ou=people,dc=example,dc=com",
                                 "there is no entry \"cn=x,ou=people,dc=example,dc=com\"") +
                  lburp::failure(5, 34, "", "\"junk\" is not a distinguished name"));
    EXPECT_EQ(description("a"), "done");
    EXPECT_EQ(ask(lburp::operations(2, {})), 0) << "the number is used up";
}

TEST_F(LburpTest, OperationsFailLikeTheOrdinaryOnes) {
    const std::string failing[] = {
        lburp::add("admin,cn=monitor"),
        wire::add(kTop, {{"objectClass", {"top"}}, {"dc", {"example"}}}),
        wire::add(lburp::dn("x"), {{"cn", {"x"}}}),
        wire::add(lburp::dn("x"), {{"objectClass", {"person"}}}),
        wire::add(lburp::dn("x"),
                  {{"objectClass", {"person"}}, {"cn", {"x"}}, {"entryUUID", {"x"}}}),
        wire::remove(kTop),
        wire::remove("cn=schema"),
        wire::modify(kAda, {{1, {"cn", {}}}}),
        wire::modify(kAda, {{9, {"cn", {"x"}}}}),
        wire::modify(kAda, {{0, {"mail", {}}}}),
        wire::modify(lburp::dn("x"), {{0, {"mail", {"x"}}}}),
        wire::rename(kTop, "dc=x", true),
        wire::rename(kAda, "cn=x,cn=y", true),
    };
    start();
    std::uint8_t number = 0;
    for (const std::string &op : failing) {
        const auto ordinary = client_.ask(op);
        EXPECT_NE(ordinary.code, 0);
        const auto bulk = client_.ask(lburp::operations(++number, {op}));
        EXPECT_EQ(bulk.code, 80);
        EXPECT_EQ(bulk.value, lburp::failure(1, static_cast<std::uint8_t>(ordinary.code),
                                             ordinary.matched, ordinary.diagnostic));
    }
}

TEST_F(LburpTest, TheNewSuperiorIsTheDnOfTheNewParent) {
    struct Case {
        const char *superior;
        const char *expected; // code and text; null is success
        std::uint8_t code;
    };
    const Case cases[] = {
        {"ou=people,dc=example,dc=com", nullptr, 0},
        {"cn=b", "there is no entry \"cn=b\"", 32}, // the new RDN is no DN of an entry
        {"", "", 53},
    };
    for (const Case &c : cases) {
        InProcess server;
        LocalClient client(server, 1);
        client.bindAdmin();
        client.ask(lburp::start());
        client.ask(lburp::operations(1, {lburp::add("a")}));
        const auto response =
            client.ask(lburp::operations(2, {lburp::rename(lburp::dn("a"), "cn=b", c.superior)}));
        EXPECT_EQ(response.code, c.code == 0 ? 0 : 80) << c.superior;
        EXPECT_EQ(server.directory.tree.find("cn=b,ou=people,dc=example,dc=com") != nullptr,
                  c.code == 0);
        if (c.code == 32) {
            EXPECT_EQ(response.value, lburp::failure(1, 32, "", c.expected));
        }
    }
}

TEST_F(LburpTest, ControlsAreThoseOfTheOperation) {
    start();
    const auto response = client_.ask(lburp::operations(
        1, {lburp::withControls(lburp::add("a"), wire::control(kManageDsaIt, true)),
            lburp::withControls(lburp::add("b"), ""),
            lburp::withControls(lburp::add("c"), wire::control("1.2.3", false)),
            lburp::withControls(lburp::add("d"), wire::control("1.2.3", true))}));
    EXPECT_EQ(response.code, 80);
    EXPECT_EQ(response.value, lburp::failure(4, 12, "", "the control 1.2.3 is not served here"));
    EXPECT_TRUE(isThere("a") && isThere("b") && isThere("c"));
    EXPECT_FALSE(isThere("d"));
}

TEST_F(LburpTest, IsJudgedByTheRightsOfTheIdentity) {
    const std::string title = wire::modify(kAda, {{2, {"title", {"x"}}}});
    const std::string mail = wire::modify(kAda, {{2, {"mail", {"x@example.com"}}}});
    const std::string ada = kAda;
    const std::string asAda = wire::control(kProxy, true, &ada);
    const auto refused = [](const wire::Response &response) {
        EXPECT_EQ(response.code, 80);
        EXPECT_EQ(response.value.substr(0, 10), hex("30") + response.value.substr(1, 1) +
                                                    hex("020102 30") + response.value.substr(6, 1) +
                                                    hex("020132"))
            << "the second one, 50";
    };
    start();
    EXPECT_EQ(client_.ask(lburp::operations(1, {mail, title})).code, 0);
    refused(client_.ask(lburp::operations(2, {mail, title}), asAda));
    const auto modifier = server_.directory.tree.find("cn=ada brandt,ou=people,dc=example,dc=com");
    EXPECT_EQ(modifier->entry.find("modifiersname")->values, std::vector<std::string>{kAda});
    refused(client_.ask(lburp::operations(3, {mail, lburp::withControls(title, asAda)})));
    LocalClient own(server_, 8);
    own.ask(wire::bind(kAda, "changeme"));
    EXPECT_EQ(own.ask(lburp::start()).code, 0) << "open to everybody";
    refused(own.ask(lburp::operations(1, {mail, title})));
    LocalClient anonymous(server_, 9);
    EXPECT_EQ(anonymous.ask(lburp::start()).code, 0);
    EXPECT_EQ(anonymous.ask(lburp::operations(1, {mail})).code, 80);
}

TEST_F(LburpTest, ProxiedAuthorisationIsChecked) {
    const std::string nobody = "cn=nobody,dc=example,dc=com";
    const std::string asNobody = wire::control(kProxy, true, &nobody);
    start();
    const auto refused = client_.ask(lburp::operations(1, {lburp::add("a")}), asNobody);
    EXPECT_EQ(refused.code, 123);
    EXPECT_EQ(refused.oid, kArc + "7");
    EXPECT_FALSE(isThere("a"));
    EXPECT_EQ(ask(lburp::operations(1, {lburp::add("a")})), 0) << "its number was not used up";
    EXPECT_EQ(client_.ask(lburp::end(1), asNobody).code, 123);
    EXPECT_EQ(ask(lburp::end(1)), 0);
}

TEST_F(LburpTest, TransactionSize) {
    server_.directory.lburp.transactionSize = 2;
    EXPECT_EQ(client_.ask(lburp::start()).value, hex("3003 020102"));
    const auto refused =
        client_.ask(lburp::operations(1, {lburp::add("a"), lburp::add("b"), lburp::add("c")}));
    EXPECT_EQ(refused.code, 11);
    EXPECT_EQ(refused.diagnostic, "3 operations in one request: at most 2 may be");
    EXPECT_FALSE(isThere("a"));
    EXPECT_EQ(ask(lburp::operations(1, {lburp::add("a"), lburp::add("b")})), 0);
    const auto early = client_.ask(lburp::operations(
        3, {wire::remove(lburp::dn("a")), wire::remove(lburp::dn("b")), lburp::add("c")}));
    EXPECT_EQ(early.code, 11) << "at once";
    EXPECT_EQ(ask(lburp::end(1)), 0) << "and it does not wait";
}

TEST_F(LburpTest, OtherUpdateStylesAreRefused) {
    const auto refused = client_.ask(lburp::start("1.2.3"));
    EXPECT_EQ(refused.code, 53);
    EXPECT_EQ(refused.oid, kArc + "2");
    EXPECT_EQ(refused.diagnostic, "the update style \"1.2.3\" is not served here: use "
                                  "2.16.840.1.907341.1.142.1.4.2");
    EXPECT_EQ(ask(lburp::end(0)), 1) << "nothing has begun";
}

TEST_F(LburpTest, OrdinaryOperationsGoOnMeanwhile) {
    start();
    EXPECT_EQ(ask(lburp::add("a")), 0);
    EXPECT_EQ(ask(lburp::operations(1, {lburp::describe("a", "x")})), 0);
    EXPECT_EQ(ask(wire::remove(lburp::dn("a"))), 0);
    EXPECT_EQ(client_.ask(wire::extended(wire::strataOid(31))).value, text(kAdmin));
    EXPECT_EQ(ask(lburp::end(1)), 0);
}

TEST_F(LburpTest, TheRootDseListsIt) {
    const auto extensions = [&] {
        const auto answers = client_.send(wire::message(
            5, wire::search({.base = "", .scope = 0, .attributes = {"supportedExtension"}})));
        std::vector<std::string> listed;
        for (const std::string &oid : answers.at(0).entryAttributes.at(0).at(0).values)
            if (oid.starts_with(kArc))
                listed.push_back(oid.substr(kArc.size()));
        return listed;
    };
    EXPECT_EQ(extensions(), (std::vector<std::string>{"1", "6", "4"}));
    server_.directory.lburp.served = false;
    EXPECT_EQ(extensions(), std::vector<std::string>{});
    for (const std::string &op : {lburp::start(), lburp::operations(1, {}), lburp::end(0)}) {
        const auto unknown = client_.ask(op);
        EXPECT_EQ(unknown.code, 2);
        EXPECT_EQ(unknown.oid, "none");
        EXPECT_NE(unknown.diagnostic.find("is not served here"), std::string::npos);
    }
}

} // namespace
