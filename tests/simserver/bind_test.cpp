#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::bind;

TEST(Bind, Results) {
    struct Case {
        std::string op;
        int code;
        const char *identity;
    };
    const std::string sasl =
        wire::tlv(0x60, wire::number(3) + wire::text("") + wire::tlv(0xa3, wire::text("PLAIN")));
    const Case cases[] = {
        {bind("", ""), 0, ""},
        {bind(kAdmin, "secret"), 0, kAdmin},
        {bind("CN=Admin, dc=example,dc=com", "secret"), 0, "CN=Admin, dc=example,dc=com"},
        {bind(kAda, "changeme"), 0, kAda},
        {bind("cn=ADA brandt,ou=people,dc=example,dc=com", "changeme"), 0, kAda},
        {bind(kAda, "CHANGEME"), 49, ""},
        {bind(kAda, ""), 53, ""},
        {bind(kAdmin, "wrong"), 49, ""},
        {bind("cn=nobody,dc=example,dc=com", "x"), 49, ""},
        {bind("ou=people,dc=example,dc=com", "x"), 49, ""},
        {bind("", "x"), 49, ""},
        {bind("nonsense", "x"), 34, ""},
        {bind(kAda, "changeme", 2), 2, ""},
        {sasl, 7, ""},
        {wire::tlv(0x60, wire::number(3) + wire::text("") + wire::tlv(0x8f, "")), 7, ""},
    };
    for (const Case &c : cases) {
        InProcess server;
        server.bindAs(kAda);
        const auto response = server.ask(c.op);
        EXPECT_EQ(response.op, 0x61);
        EXPECT_EQ(response.code, c.code) << c.op;
        EXPECT_EQ(server.identity.dn, c.identity) << c.op;
        EXPECT_TRUE(server.last.abandonAll) << "a bind ends what is under way";
    }
}

TEST(Bind, MalformedEndsTheConnection) {
    for (const std::string &op :
         {wire::tlv(0x60, ""), wire::tlv(0x60, wire::number(3)),
          wire::tlv(0x60, wire::number(3) + wire::text("")), wire::tlv(0x60, "\x02\x7f")}) {
        InProcess server;
        const auto response = server.ask(op);
        EXPECT_EQ(response.id, 0);
        EXPECT_EQ(response.code, 2);
        EXPECT_EQ(response.oid, "1.3.6.1.4.1.1466.20036");
        EXPECT_FALSE(response.diagnostic.empty());
        EXPECT_TRUE(server.closed);
    }
}

TEST(Bind, AnswerIsTheBytesOfTheStandard) {
    InProcess server;
    EXPECT_EQ(server.raw(wire::hex("300c 020101 6007 020103 0400 8000")),
              wire::hex("300c 020101 6107 0a0100 0400 0400"));
}

TEST(Unbind, Closes) {
    InProcess server;
    EXPECT_EQ(server.raw(wire::hex("3005 020101 4200")), "");
    EXPECT_TRUE(server.closed);
}

TEST(Abandon, HasNoAnswer) {
    InProcess server;
    EXPECT_EQ(server.raw(wire::hex("3006 020102 500101")), "");
    EXPECT_EQ(server.last.abandon, 1);
    EXPECT_FALSE(server.closed);
}

TEST(Controls, UnknownCriticalOnesAreRefused) {
    const std::string operations[] = {
        bind("", ""),
        wire::search({}),
        wire::add("cn=x,dc=example,dc=com", {}),
        wire::modify(kAda, {}),
        wire::remove(kAda),
        wire::rename(kAda, "cn=x", true),
        wire::compare(kAda, "cn", "x"),
        wire::extended("1.3.6.1.4.1.4203.1.11.3"),
    };
    for (const std::string &op : operations) {
        InProcess server;
        server.bindAdmin();
        const auto response = server.ask(op, wire::control("1.2.3.4", true));
        EXPECT_EQ(response.code, 12) << static_cast<int>(op[0]);
        EXPECT_NE(response.diagnostic.find("1.2.3.4"), std::string::npos);
    }
    InProcess server;
    EXPECT_EQ(server.ask(bind("", ""), wire::control("1.2.3.4", false)).code, 0);
    EXPECT_EQ(server.ask(wire::search({}), wire::control("2.16.840.1.113730.3.4.2", true)).code, 0);
    EXPECT_EQ(server.ask(bind("", ""), wire::control("2.16.840.1.113730.3.4.2", true)).code, 12);
}

TEST(Requests, UnknownOperationsEndTheConnection) {
    InProcess server;
    const auto response = server.ask(wire::tlv(0x7e, ""));
    EXPECT_EQ(response.oid, "1.3.6.1.4.1.1466.20036");
    EXPECT_EQ(response.diagnostic, "protocolOp: 0x7e is no request");
    EXPECT_TRUE(server.closed);
}

} // namespace
