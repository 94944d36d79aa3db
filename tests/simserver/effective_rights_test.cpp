#include "watch.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::tlv;
using Texts = std::vector<std::string>;

constexpr const char *kRights = "2.16.840.1.907341.1.27.101.33";
constexpr const char *kBruno = "cn=Bruno Castell,ou=people,dc=example,dc=com"; // of the help desk

const std::string kModeEntry = hex("3003 800100");
const std::string kModeAll = hex("3003 800101");

wire::Response ask(InProcess &server, const wire::Search &search, const std::string &value) {
    return server.ask(wire::search(search), wire::control(kRights, true, &value));
}

Texts valuesOf(const wire::Response &response, const std::string &name, std::size_t entry = 0) {
    for (const wire::Values &attribute : response.entryAttributes.at(entry))
        if (attribute.name == name)
            return attribute.values;
    return {"none"};
}

std::string listed(const std::string &elements) {
    return tlv(0x30, tlv(0x81, elements));
}
std::string first(const std::string &attribute) {
    return tlv(0x80, attribute);
}
std::string second(const std::string &objectClass) {
    return tlv(0x81, objectClass);
}

TEST(EffectiveRights, OfTheSpeakerOnTheEntry) {
    struct Case {
        const char *speaker;
        const char *entry;
        const char *bits;
    };
    const Case cases[] = {
        {"", kAda, "3"},      {kAda, kAda, "3"},
        {kAdmin, kAda, "31"}, {"cn=Dario Ekholm,ou=people,dc=example,dc=com", kServer1, "15"},
        {kAdmin, "", "31"},
    };
    for (const Case &c : cases) {
        InProcess server;
        if (*c.speaker != '\0')
            server.bindAs(c.speaker, c.speaker == kAdmin ? "secret" : "changeme");
        const auto response = ask(server, {.base = c.entry, .scope = 0}, kModeEntry);
        EXPECT_EQ(response.code, 0);
        EXPECT_EQ(valuesOf(response, "entryPrivileges"), Texts{c.bits}) << c.speaker << c.entry;
        EXPECT_EQ(valuesOf(response, "attributePrivileges"), Texts{"none"});
        EXPECT_EQ(response.entryAttributes.at(0).size(), 1U) << "nothing else was selected";
        EXPECT_TRUE(response.controls.empty());
    }
}

TEST(EffectiveRights, OnAllAttributesOfTheEntry) {
    InProcess server;
    server.bindAs(kBruno);
    const auto response = ask(server, {.base = kAda, .scope = 0, .attributes = {"cn"}}, kModeAll);
    EXPECT_EQ(valuesOf(response, "cn"), Texts{"Ada Brandt"});
    EXPECT_EQ(valuesOf(response, "entryPrivileges"), Texts{"3"});
    EXPECT_EQ(
        valuesOf(response, "attributePrivileges"),
        (Texts{"objectClass: 3", "cn: 3", "sn: 3", "givenName: 3", "uid: 3", "mail: 7", "title: 7",
               "l: 3", "telephoneNumber: 7", "employeeNumber: 3", "userPassword: 4"}));
    const auto server1 = ask(server, {.base = kServer1, .scope = 0}, kModeAll);
    EXPECT_EQ(valuesOf(server1, "attributePrivileges").back(), "userPassword: 0")
        << "although it has none";
}

TEST(EffectiveRights, OnListedAttributesAndClasses) {
    struct Case {
        std::string elements;
        Texts privileges;
    };
    const Case cases[] = {
        {first("mail"), {"mail: 7"}},
        {first("cn") + first("USERPASSWORD"), {"cn: 3", "USERPASSWORD: 6"}},
        {first("nonsuch"), {"nonsuch: 3"}},
        {first("*"), {"*: 3"}},
        {first("mail") + first("rfc822Mailbox") + first("MAIL"), {"mail: 7"}},
        {second("dcObject"), {"objectClass: 3", "dc: 3"}},
        {second("1.3.6.1.4.1.1466.344"), {"objectClass: 3", "dc: 3"}},
        {second("unknown"), {}},
        {second("'top'"), {}},
        {"", {}},
        {first("dc") + second("DCOBJECT"), {"dc: 3", "objectClass: 3"}},
        {second("organizationalPerson"),
         {"objectClass: 3", "sn: 3", "cn: 3", "userPassword: 6", "telephoneNumber: 7", "seeAlso: 3",
          "description: 7", "title: 3", "ou: 3", "l: 3", "st: 3"}},
    };
    InProcess server;
    server.bindAs(kAda);
    for (const Case &c : cases) {
        const auto response = ask(server, {.base = kAda, .scope = 0}, listed(c.elements));
        EXPECT_EQ(valuesOf(response, "attributePrivileges"), c.privileges) << c.elements;
        EXPECT_EQ(valuesOf(response, "entryPrivileges"), Texts{"3"});
    }
}

TEST(EffectiveRights, ComeWithEveryEntryAndWithChanges) {
    InProcess server;
    server.bindAdmin();
    const auto all = ask(server, {}, kModeEntry);
    ASSERT_EQ(all.entries.size(), 336U);
    for (std::size_t i = 0; i < all.entries.size(); ++i)
        EXPECT_EQ(valuesOf(all, "entryPrivileges", i), Texts{"31"});
    const std::string proxied = kAda;
    const auto asAda = server.ask(wire::search({.base = kAda, .scope = 0}),
                                  wire::control(kRights, true, &kModeEntry) +
                                      wire::control("2.16.840.1.113730.3.4.18", true, &proxied));
    EXPECT_EQ(valuesOf(asAda, "entryPrivileges"), Texts{"3"});
    server.ask(wire::search({.base = kAda, .scope = 0}),
               wire::control(kRights, true, &kModeEntry) + watchControl({}));
    auto open = std::move(server.last.open);
    server.code(wire::modify(kAda, {{2, {"title", {"x"}}}}));
    std::string out;
    open->produce(out, 1000);
    EXPECT_EQ(valuesOf(wire::parse(out), "entryPrivileges"), Texts{"31"});
}

TEST(EffectiveRights, MalformedValuesAreRefused) {
    std::string many;
    for (int i = 0; i < 1001; ++i)
        many += first("cn");
    std::vector<std::string> cases = {hex("3003 800102"),
                                      hex("3003 8001ff"),
                                      hex("3000"),
                                      hex("3003 020100"),
                                      hex("3006 800100 800100"),
                                      hex("3003 800100 00"),
                                      hex("3002 8000"),
                                      hex("3002 8200"),
                                      hex("3103 800100"),
                                      hex("3004 8102 0400"),
                                      hex("3004 8102 8005"),
                                      hex("3004 a102 8000"),
                                      hex("3009 810480 026d6d 800100"),
                                      hex("308000"),
                                      "",
                                      listed(many),
                                      hex("300c 800a 00000000000000000000")};
    for (std::size_t length = 0; length < listed(first("mail")).size(); ++length)
        cases.push_back(listed(first("mail")).substr(0, length));
    InProcess server;
    for (const std::string &value : cases) {
        const auto response = ask(server, {.base = kAda, .scope = 0}, value);
        EXPECT_EQ(response.code, 2) << value.size();
        EXPECT_FALSE(server.closed);
    }
    many.resize(many.size() - 4);
    EXPECT_EQ(ask(server, {.base = kAda, .scope = 0}, listed(many)).code, 0);
}

} // namespace
