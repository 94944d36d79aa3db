#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::text;

constexpr const char *kWhoAmI = "1.3.6.1.4.1.4203.1.11.3";

TEST(IdentityTest, IsTheBoundDn) {
    InProcess server;
    EXPECT_EQ(server.extended(31).value, hex("0400"));
    EXPECT_EQ(server.extended(31).oid, wire::strataOid(32));
    EXPECT_EQ(server.ask(wire::extended(kWhoAmI)).value, "");
    server.bindAs(kAda);
    EXPECT_EQ(server.extended(31).value, text(kAda));
    const auto who = server.ask(wire::extended(kWhoAmI));
    EXPECT_EQ(who.value, std::string("dn:") + kAda);
    EXPECT_EQ(who.oid, "none") << "the standard gives it none";
}

/** "sss": entry, trustee, attribute. */
std::string question(const char *entry, const char *trustee, const char *attribute) {
    return text(entry) + text(trustee) + text(attribute);
}

TEST(Privileges, FollowTheAccessTable) {
    InProcess server;
    server.bindAdmin();
    const char *bruno = "cn=Bruno Castell,ou=people,dc=example,dc=com";
    const char *dario = "cn=Dario Ekholm,ou=people,dc=example,dc=com";
    struct Case {
        const char *entry, *trustee, *attribute;
        char bits;
    };
    const Case cases[] = {
        {kAda, "", "cn", 3},
        {kAda, "", "*", 3},
        {kAda, "", "userPassword", 0},
        {kAda, kAda, "cn", 3},
        {kAda, kAda, "mail", 7},
        {kAda, kAda, "userPassword", 6},
        {kAda, bruno, "mail", 7},
        {kAda, bruno, "rfc822Mailbox", 7},
        {kAda, bruno, "userPassword", 4},
        {kAda, bruno, "cn", 3},
        {kServer1, dario, "*", 15},
        {kAda, kAdmin, "*", 31},
        {kAda, kAdmin, "userPassword", 30},
        {"", kAdmin, "*", 31},
        {kAda, "cn=nobody,dc=example,dc=com", "cn", 3},
    };
    for (const Case &c : cases) {
        const auto response = server.extended(33, question(c.entry, c.trustee, c.attribute));
        EXPECT_EQ(response.oid, wire::strataOid(34));
        EXPECT_EQ(response.value, hex("0201") + c.bits) << c.entry << c.trustee << c.attribute;
    }
}

TEST(Privileges, OnesOwnAreOpenAndOthersAreNot) {
    InProcess server;
    EXPECT_EQ(server.extended(33, question(kAda, "", "cn")).code, 0);
    EXPECT_EQ(server.extended(33, question(kAda, kAda, "cn")).code, 50);
    server.bindAs(kAda);
    EXPECT_EQ(server.extended(33, question(kServer1, kAda, "cn")).code, 0);
    EXPECT_EQ(server.extended(33, question(kAda, kAdmin, "cn")).code, 50);
    EXPECT_EQ(server.extended(33, question("cn=no,dc=example,dc=com", kAda, "cn")).code, 32);
    EXPECT_EQ(server.extended(33, question("nonsense", kAda, "cn")).code, 34);
    EXPECT_EQ(server.extended(33, question(kAda, "nonsense", "cn")).code, 34);
}

TEST(Privileges, ListAnswersInTheOrderOfTheRequest) {
    InProcess server;
    server.bindAs(kAda);
    const auto ask = [&](const std::string &names) {
        return server.extended(103, text(kAda) + text(kAda) + wire::tlv(0x30, names));
    };
    const auto response = ask(text("cn") + text("mail") + text("userPassword"));
    EXPECT_EQ(response.oid, wire::strataOid(104));
    EXPECT_EQ(response.value, hex("3016 3003 020103 310f 3003 020103 3003 020107 3003 020106"));
    EXPECT_EQ(ask("").value, hex("3007 3003 020100 3100"));
    EXPECT_EQ(server.extended(103, text(kAda) + text(kAdmin) + hex("3000")).code, 50);
}

} // namespace
