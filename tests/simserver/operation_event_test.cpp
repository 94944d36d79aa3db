#include "digest.h"
#include "event_fixture.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::number;
using wire::text;
using wire::wideNumber;
using Values = std::vector<std::string>;

TEST_F(EventTest, Binds) {
    Monitored monitor(server_, {{10}, {9}});
    const auto bound = [](const char *dn, const char *name, std::uint8_t code,
                          const std::string &more = {}) {
        const std::string codeElement = number(code);
        return event(10, code,
                     element(0x71, head(dn) + number(3) + text(name) + wideNumber("0080") +
                                       text(dn) + codeElement + more),
                     address());
    };
    const auto state = [](const char *dn, std::uint8_t code) {
        return event(9, code,
                     element(0x69, text("127.0.0.1:389") + number(7) + number(*dn != '\0' ? 1 : 0) +
                                       text(dn)));
    };
    EXPECT_EQ(ask(wire::bind(kAda, "changeme")).code, 0);
    EXPECT_EQ(monitor.events(), (Values{bound(kAda, kAda, 0), state(kAda, 0)}));
    EXPECT_EQ(ask(wire::bind(kAda, "wrong"), ignored()).code, 49);
    EXPECT_EQ(monitor.events(),
              (Values{bound("", kAda, 49, strings(0x80, {"1.2.3"})), state("", 49)}));
}

TEST_F(EventTest, StepsOfSaslBinds) {
    Monitored monitor(server_, {{10}, {9}, {23}});
    monitor.events(); // its own answer
    const auto challenge = ask(digest_client::begin());
    const auto expected = [](const char *dn, std::uint8_t code, const std::string &size) {
        const std::string bound = element(0x71, head(dn) + number(3) + text("") +
                                                    wideNumber("00a3") + text(dn) + number(code));
        const std::string state = element(0x69, text("127.0.0.1:389") + number(7) +
                                                    number(*dn != '\0' ? 1 : 0) + text(dn));
        const std::string response =
            element(0x7b, head(dn) + number(0x61) + number(code) + wideNumber(size) + text(""));
        return Values{event(10, code, bound, address()), event(9, code, state),
                      event(23, code, response, address())};
    };
    EXPECT_EQ(monitor.events(), expected("", 14, "73"));
    const digest_client::Response response{.nonce =
                                               digest_client::valueIn(challenge.value, "nonce")};
    EXPECT_EQ(ask(response.op()).code, 0);
    EXPECT_EQ(monitor.events(), expected(kAda, 0, "38"));
}

TEST_F(EventTest, Searches) {
    Monitored monitor(server_, {{13}});
    const auto searched = [](const char *base, const char *matched, const char *diagnostic,
                             std::uint8_t code, const std::string &more) {
        return event(13, code,
                     element(0x73, head() + number(1) + text(base) + text(matched) + number(9) +
                                       text(diagnostic) + number(code) + more),
                     address());
    };
    ask(wire::search({.base = kTop, .scope = 1, .sizeLimit = 9, .attributes = {"cn", "+"}}));
    EXPECT_EQ(monitor.events(), Values{searched(kTop, "", "", 0, strings(0x30, {"cn", "+"}))});
    ask(wire::search({.base = "cn=x,dc=example,dc=com", .scope = 1, .sizeLimit = 9}), ignored());
    EXPECT_EQ(monitor.events(),
              Values{searched("cn=x,dc=example,dc=com", kTop,
                              "there is no entry \"cn=x,dc=example,dc=com\"", 32,
                              strings(0x30, {"1.1"}) + strings(0x80, {"1.2.3"}))});
    ask(wire::search({.base = kTop, .scope = 1, .sizeLimit = 9, .attributes = {}}));
    EXPECT_EQ(monitor.events(), Values{searched(kTop, "", "", 0, hex("3000"))});
}

TEST_F(EventTest, EntriesOfSearches) {
    Monitored monitor(server_, {{14}});
    const auto sent = [](const char *dn, const std::string &bytes, const Values &names) {
        return event(14, 0,
                     element(0x74, head() + wideNumber(bytes) + text(dn) +
                                       text("ou=servers,dc=example,dc=com") + number(0) +
                                       strings(0x30, names)),
                     address());
    };
    ask(wire::search({.base = "ou=servers,dc=example,dc=com",
                      .scope = 1,
                      .sizeLimit = 2,
                      .attributes = {"cn", "objectClass"}}));
    const auto events = monitor.events();
    ASSERT_EQ(events.size(), 2U);
    const std::size_t each = server_.last.bytes.size() / 2;
    EXPECT_GT(each, 60U);
    // Both messages have the length that stands behind the connection and the time.
    const wire::Element outer = wire::elements(events[0]).at(0);
    const auto fields = wire::elements(wire::elements(outer.content).at(2).content);
    const std::string length = wire::elements(server_.last.bytes).at(0).content;
    EXPECT_EQ(element(0x02, std::string(1, static_cast<char>(element(0x30, length).size()))),
              element(0x02, fields.at(2).content));
    const auto digits = [&] {
        static const char *hexadecimal = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(fields.at(2).content.back());
        return std::string{hexadecimal[byte / 16], hexadecimal[byte % 16]};
    }();
    EXPECT_EQ(events, (Values{sent(kServer1, digits, {"objectClass", "cn"}),
                              sent(kServer2, digits, {"objectClass", "cn"})}));
}

TEST_F(EventTest, Updates) {
    Monitored monitor(server_, {{15}, {16}, {17}});
    const auto update = [](std::uint8_t type, const std::string &tag, const Values &names,
                           std::uint8_t code = 0, const char *matched = "",
                           const char *diagnostic = "") {
        return event(type, code,
                     element(0x75, head() + wideNumber(tag) +
                                       number(static_cast<std::uint8_t>(names.size())) +
                                       text(kNew) + text(matched) + text(diagnostic) +
                                       number(code) + (names.empty() ? "" : strings(0x80, names))),
                     address());
    };
    ask(add());
    ask(wire::modify(kNew, {{0, {"title", {"x"}}}, {1, {"title", {}}}}));
    ask(wire::remove(kNew));
    EXPECT_EQ(monitor.events(),
              (Values{update(15, "68", {"objectClass", "cn", "sn"}),
                      update(17, "66", {"title", "title"}), update(16, "4a", {})}));
    ask(wire::remove(kNew));
    EXPECT_EQ(monitor.events(), Values{update(16, "4a", {}, 32, kTop,
                                              "there is no entry \"cn=Nova,dc=example,dc=com\"")});
    // Refused before it is read.
    EXPECT_EQ(ask(add(), wire::control("1.2.3", true)).code, 12);
    EXPECT_EQ(monitor.events().size(), 1U);
}

TEST_F(EventTest, WhatCannotBeReadStillIsAnEvent) {
    Monitored monitor(server_, {{17}, {24}});
    const auto response = ask(element(0x66, text("cn=x") + "junk"), wire::control("1.2.3", true));
    EXPECT_EQ(response.code, 12);
    const auto events = monitor.events();
    EXPECT_EQ(events, Values{event(17, 12,
                                   element(0x75, head() + hex("020100 020100 0400 0400 0400 "
                                                              "020100")),
                                   address())});
}

TEST_F(EventTest, Compares) {
    Monitored monitor(server_, {{18}});
    const auto compared = [](const char *dn, const char *name, const char *value, std::uint8_t code,
                             const char *matched = "", const char *diagnostic = "",
                             std::uint8_t controls = 0) {
        return event(18, code,
                     element(0x76, head() + number(controls) + text(dn) + text(name) + text(value) +
                                       text(matched) + text(diagnostic) + number(code)),
                     address());
    };
    ask(wire::compare(kAda, "cn", "Ada Brandt"));
    ask(wire::compare(kAda, "userPassword", "changeme"), ignored());
    ask(wire::compare("cn=x", "cn", "y"));
    EXPECT_EQ(monitor.events(),
              (Values{compared(kAda, "cn", "Ada Brandt", 6),
                      compared(kAda, "userPassword", "", 6, "", "", 1),
                      compared("cn=x", "cn", "y", 32, "", "there is no entry \"cn=x\"")}));
}

TEST_F(EventTest, Renames) {
    Monitored monitor(server_, {{19}});
    const auto renamed = [](const char *dn, std::uint8_t deleteOld, const char *superior,
                            std::uint8_t code, const char *diagnostic, const std::string &more) {
        return event(19, code,
                     element(0x77, head() + number(deleteOld) + text(dn) + text("cn=Vega") +
                                       text(superior) + text(diagnostic) + number(code) + more),
                     address());
    };
    ask(wire::rename(kAda, "cn=Vega", true, kEmea));
    ask(wire::rename(kAda, "cn=Vega", false), ignored());
    const std::string diagnostic = std::string("there is no entry \"") + kAda + "\"";
    EXPECT_EQ(monitor.events(),
              (Values{renamed(kAda, 1, kEmea, 0, "", ""),
                      renamed(kAda, 0, "", 32, diagnostic.c_str(), strings(0x80, {"1.2.3"}))}));
}

TEST_F(EventTest, Abandons) {
    Monitored monitor(server_, {{20}});
    ask(element(0x50, "\x04"));
    ask(element(0x50, hex("0102")), ignored());
    EXPECT_EQ(
        monitor.events(),
        (Values{event(20, 0, element(0x78, head() + number(4) + number(0) + hex("0400 020100")),
                      address()),
                event(20, 0,
                      element(0x78, head() + wideNumber("0102") + number(1) + hex("0400 020100")),
                      address())}));
}

TEST_F(EventTest, ExtendedOperations) {
    Monitored monitor(server_, {{21}});
    const std::string none = hex("0201ff");
    const auto called = [](const std::string &in, const std::string &out, const std::string &oid,
                           const char *name, std::uint8_t code) {
        return event(21, code,
                     element(0x79, head() + in + out + text(oid) + text(name) + number(code)),
                     address());
    };
    (void)monitor.events(); // its own registration
    ask(wire::extended(wire::strataOid(31)));
    const std::string value = text(kEmea);
    ask(wire::extended(wire::strataOid(13), &value));
    ask(wire::extended("1.2.3"));
    EXPECT_EQ(
        monitor.events(),
        (Values{called(none, number(28), wire::strataOid(31), "get-bind-dn", 0),
                called(number(27), number(3), wire::strataOid(13), "partition-entry-count", 0),
                called(none, none, "1.2.3", "", 2)}));
}

TEST_F(EventTest, ARegistrationHearsOfItselfAfterItsAnswer) {
    const auto response = ask(registration({{21}, {23}}));
    EXPECT_EQ(response.code, 0);
    ASSERT_EQ(response.events.size(), 2U);
    EXPECT_NE(response.events[0].find("monitor-events"), std::string::npos);
}

TEST_F(EventTest, Triggers) {
    Monitored monitor(server_, {{22}});
    const auto ran = [](int operation, const std::string &in, const char *name, std::uint8_t code,
                        const char *dn, const char *diagnostic) {
        return event(22, code,
                     element(0x7a, head(dn) + in + hex("0201ff") +
                                       text(wire::strataOid(operation)) + text(name) +
                                       text(wire::strataOid(operation + 1)) + text(diagnostic) +
                                       text("ldap://") + text("") + number(code)),
                     address());
    };
    ask(wire::extended(wire::strataOid(43)));
    const std::string value = text(kServer1);
    ask(wire::extended(wire::strataOid(49), &value));
    ask(wire::extended(wire::strataOid(31)));
    server_.bindAs("", "");
    ask(wire::extended(wire::strataOid(9)));
    EXPECT_EQ(monitor.events(), (Values{ran(43, hex("0201ff"), "trigger-backlink", 0, kAdmin, ""),
                                        ran(49, number(41), "trigger-limber", 0, kAdmin, ""),
                                        ran(9, hex("0201ff"), "refresh-server", 50, "",
                                            "anonymous may not do this: bind first")}));
}

TEST_F(EventTest, Responses) {
    Monitored monitor(server_, {{23}});
    (void)monitor.events();
    const auto answered = [](const std::string &tag, std::uint8_t code, std::uint8_t bytes,
                             const char *matched, const Values &diagnostic) {
        return event(23, code,
                     element(0x7b, head() + wideNumber(tag) + number(code) + number(bytes) +
                                       text(matched) +
                                       (diagnostic.empty() ? "" : strings(0x81, diagnostic))),
                     address());
    };
    // LDAPMessage 30 len 020105, then the tag, its length and ENUMERATED, two empty strings.
    ask(wire::compare(kAda, "cn", "x"));
    ask(wire::search({.base = kAda, .scope = 0, .sizeLimit = 0, .filter = wire::present("none")}));
    ask(wire::search({.base = "cn=x"}));
    ask(wire::extended(wire::strataOid(43)));
    EXPECT_EQ(monitor.events(),
              (Values{answered("6f", 5, 14, "", {}), answered("65", 0, 14, "", {}),
                      answered("65", 32, 38, "", {"there is no entry \"cn=x\""}),
                      answered("78", 0, 45, "", {})}));
}

TEST_F(EventTest, Passwords) {
    Monitored monitor(server_, {{24}});
    const auto changed = [](std::uint8_t kind, std::uint8_t values, const char *diagnostic,
                            std::uint8_t code) {
        return event(24, code,
                     element(0x7c, head() + number(kind) + text(kAda) + text(diagnostic) +
                                       number(values) + number(code)),
                     address());
    };
    ask(wire::modify(kAda, {{2, {"userPassword", {"a"}}}}));
    ask(wire::modify(kAda, {{2, {"title", {"a"}}}}));
    ask(wire::modify(kAda, {{0, {"USERPASSWORD", {"b", "c"}}}, {1, {"userPassword", {}}}}));
    ask(wire::modify(kAda, {{1, {"userPassword", {"x"}}}}));
    EXPECT_EQ(monitor.events(),
              (Values{changed(2, 1, "", 0), changed(0, 2, "", 0), changed(1, 0, "", 0),
                      changed(1, 1, "userPassword or its value is not there", 16)}));
}

TEST_F(EventTest, UnknownOperations) {
    Monitored monitor(server_, {{25}});
    ask(element(0x7e, "what"));
    EXPECT_TRUE(server_.closed);
    EXPECT_EQ(
        monitor.events(),
        Values{event(25, 2, element(0x7d, number(0x7e) + text("protocolOp: 0x7e is no request")),
                     address())});
}

TEST_F(EventTest, WithoutAnAddressThereIsNone) {
    server_.connection.peer = {};
    Monitored monitor(server_, {{25}});
    ask(element(0x7e, "what"));
    EXPECT_EQ(
        monitor.events(),
        Values{event(25, 2, element(0x7d, number(0x7e) + text("protocolOp: 0x7e is no request")))});
}

} // namespace
