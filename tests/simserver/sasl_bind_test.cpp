#include "digest_bind.h"
#include "lburp.h"
#include "local_client.h"

#include <set>

namespace {

using digest_client::begin;
using digest_client::bind;
using digest_client::bindAs;
using digest_client::Response;

const std::string kWhoAmI = wire::extended("1.3.6.1.4.1.4203.1.11.3");

TEST(SaslBind, StepsAreTheBytesOfTheStandard) {
    InProcess server;
    const std::string first =
        server.raw(wire::hex("3018 020101 6013 020103 0400 a30c 040a 4449474553542d4d4435"));
    const std::string nonce = digest_client::valueIn(first, "nonce");
    EXPECT_EQ(nonce.size(), 32U);
    const std::string challenge =
        "realm=\"strata\",nonce=\"" + nonce + "\",qop=\"auth\",charset=utf-8,algorithm=md5-sess";
    const std::string head = wire::hex("0a010e 0400 0400");
    EXPECT_EQ(first, wire::hex("3071 020101 616c") + head + wire::hex("8763") + challenge);
    const Response response{.nonce = nonce};
    EXPECT_EQ(server.raw(wire::message(2, response.op())),
              wire::hex("3036 020102 6131 0a0100 0400 0400 8728") + response.rspauth());
    EXPECT_EQ(server.identity.dn, kAda);
}

TEST(SaslBind, RealmsAreThoseOfTheServer) {
    InProcess server;
    server.directory.saslRealms = {"R1", "R 2"};
    const auto challenge = server.ask(begin());
    EXPECT_TRUE(challenge.value.starts_with("realm=\"R1\",realm=\"R 2\",nonce="))
        << challenge.value;
    for (const char *realm : {"R1", "R 2"})
        EXPECT_EQ(bindAs(server, [&](Response &r) { r.realm = realm; }).code, 0) << realm;
    EXPECT_EQ(bind(server).code, 49);
    EXPECT_EQ(bindAs(server, [](Response &r) { r.realm.reset(); }).code, 49);
    server.directory.saslRealms = {};
    EXPECT_EQ(bindAs(server, [](Response &r) { r.realm.reset(); }).code, 0);
    EXPECT_EQ(bind(server).code, 49) << "it was not offered";
}

TEST(SaslBind, EachChallengeHasItsNonce) {
    InProcess server;
    std::set<std::string> nonces;
    for (int i = 0; i < 100; ++i)
        nonces.insert(digest_client::valueIn(server.ask(begin()).value, "nonce"));
    EXPECT_EQ(nonces.size(), 100U);
}

TEST(SaslBind, TheOldIdentityEndsWithTheFirstStep) {
    InProcess server;
    server.bindAdmin();
    ASSERT_EQ(server.ask(lburp::start()).code, 0);
    const auto challenge = server.ask(begin());
    EXPECT_TRUE(server.last.abandonAll);
    EXPECT_EQ(server.identity.dn, "");
    Response response{.nonce = digest_client::valueIn(challenge.value, "nonce")};
    response.username = "admin";
    response.password = "secret";
    EXPECT_EQ(server.ask(response.op()).code, 0);
    EXPECT_TRUE(server.last.abandonAll);
    EXPECT_EQ(server.ask(lburp::end(0)).code, 1) << "the update was the old identity's";
}

TEST(SaslBind, BetweenTheStepsTheConnectionIsAnonymous) {
    InProcess server;
    server.bindAdmin();
    const auto challenge = server.ask(begin());
    EXPECT_EQ(server.ask(kWhoAmI).value, "");
    EXPECT_EQ(server.extended(9).code, 50);
    const Response response{.nonce = digest_client::valueIn(challenge.value, "nonce")};
    EXPECT_EQ(server.ask(response.op()).code, 0) << "other operations do not end the exchange";
    EXPECT_EQ(server.ask(kWhoAmI).value, std::string("dn:") + kAda);
}

TEST(SaslBind, SeveralOnOneConnection) {
    InProcess server;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(bind(server).code, 0);
        EXPECT_EQ(server.identity.dn, kAda);
        EXPECT_EQ(bindAs(server, [](Response &r) { r.password = "x"; }).code, 49);
        EXPECT_EQ(server.identity.dn, "");
        server.bindAdmin();
        EXPECT_EQ(server.identity.dn, kAdmin);
    }
}

TEST(SaslBind, OtherBindsEndAnExchange) {
    const std::string some = "x";
    const std::string version2 = wire::tlv(0x60, wire::number(2) + wire::text("") +
                                                     wire::tlv(0xa3, wire::text("DIGEST-MD5")));
    const struct {
        std::string op;
        std::string controls;
        int code;
    } cases[] = {
        {wire::bind("", ""), "", 0},
        {wire::bind(kAda, "changeme"), "", 0},
        {wire::bind(kAda, "wrong"), "", 49},
        {digest_client::request("PLAIN", &some), "", 7},
        {digest_client::request("PLAIN"), "", 7},
        {digest_client::request("digest-md5"), "", 7},
        {digest_client::request(""), "", 7},
        {digest_client::request("", &some), "", 7},
        {digest_client::request("DIGEST-MD5", &some), "", 2},
        {version2, "", 2},
        {begin(), wire::control("1.2.3.4", true), 12},
    };
    for (const auto &c : cases) {
        InProcess server;
        const auto challenge = server.ask(begin());
        EXPECT_EQ(server.ask(c.op, c.controls).code, c.code);
        const Response response{.nonce = digest_client::valueIn(challenge.value, "nonce")};
        const auto answer = server.ask(response.op());
        EXPECT_EQ(answer.code, 49);
        EXPECT_NE(answer.diagnostic.find("begin without credentials"), std::string::npos);
        EXPECT_EQ(server.identity.dn, "");
    }
}

TEST(SaslBind, OtherMechanismsAreRefusedNamingTheOne) {
    InProcess server;
    EXPECT_NE(server.ask(digest_client::request("PLAIN")).diagnostic.find("DIGEST-MD5"),
              std::string::npos);
    EXPECT_NE(server.ask(wire::tlv(0x60, wire::number(3) + wire::text("") + wire::tlv(0x8f, "")))
                  .diagnostic.find("DIGEST-MD5"),
              std::string::npos);
}

TEST(SaslBind, AnExchangeBegunAnewHasItsOwnNonce) {
    InProcess server;
    const auto first = server.ask(begin());
    const auto second = server.ask(begin());
    const Response old{.nonce = digest_client::valueIn(first.value, "nonce")};
    EXPECT_EQ(server.ask(old.op()).code, 49);
    const Response tooLate{.nonce = digest_client::valueIn(second.value, "nonce")};
    EXPECT_EQ(server.ask(tooLate.op()).code, 49) << "the exchange has failed";
    EXPECT_EQ(bind(server).code, 0);
}

TEST(SaslBind, AResponseIsGoodForOnce) {
    InProcess server;
    const auto challenge = server.ask(begin());
    const Response response{.nonce = digest_client::valueIn(challenge.value, "nonce")};
    EXPECT_EQ(server.ask(response.op()).code, 0);
    const auto again = server.ask(response.op());
    EXPECT_EQ(again.code, 49);
    EXPECT_NE(again.diagnostic.find("begin without credentials"), std::string::npos);
    EXPECT_EQ(server.identity.dn, "");
    server.ask(begin());
    EXPECT_EQ(server.ask(response.op()).code, 49) << "of another challenge";
}

TEST(SaslBind, AnExchangeIsThatOfItsConnection) {
    InProcess server;
    LocalClient one(server, 1);
    LocalClient other(server, 2);
    const Response first{.nonce = digest_client::valueIn(one.ask(begin()).value, "nonce")};
    EXPECT_EQ(other.ask(first.op()).code, 49);
    const Response second{.nonce = digest_client::valueIn(other.ask(begin()).value, "nonce")};
    EXPECT_EQ(one.ask(first.op()).code, 0) << "others do not disturb it";
    EXPECT_EQ(other.ask(second.op()).code, 0);
}

TEST(SaslBind, InitialResponsesAreRefused) {
    for (const std::string &text : {std::string(), Response{.nonce = "x"}.text()}) {
        InProcess server;
        const auto answer = server.ask(digest_client::request("DIGEST-MD5", &text));
        EXPECT_EQ(answer.code, 49);
        EXPECT_NE(answer.diagnostic.find("begin without credentials"), std::string::npos);
        EXPECT_EQ(answer.value, "none");
    }
}

TEST(SaslBind, TheNameOfTheRequestMeansNothing) {
    InProcess server;
    const auto challenge =
        server.ask(wire::tlv(0x60, wire::number(3) + wire::text("nonsense") +
                                       wire::tlv(0xa3, wire::text("DIGEST-MD5"))));
    EXPECT_EQ(challenge.code, 14);
}

TEST(SaslBind, MalformedRequestsEndTheConnection) {
    for (const std::string &sasl :
         {std::string(), wire::number(1), wire::text("DIGEST-MD5") + wire::number(1),
          wire::text("DIGEST-MD5") + wire::text("a") + wire::text("b"), wire::hex("047f41")}) {
        InProcess server;
        const auto response =
            server.ask(wire::tlv(0x60, wire::number(3) + wire::text("") + wire::tlv(0xa3, sasl)));
        EXPECT_EQ(response.oid, "1.3.6.1.4.1.1466.20036");
        EXPECT_TRUE(server.closed);
    }
}

TEST(SaslBind, TheRootDseNamesTheMechanism) {
    InProcess server;
    const auto found = server.ask(
        wire::search({.base = "", .scope = 0, .attributes = {"supportedSASLMechanisms"}}));
    ASSERT_EQ(found.entryAttributes.size(), 1U);
    ASSERT_EQ(found.entryAttributes[0].size(), 1U);
    EXPECT_EQ(found.entryAttributes[0][0].values, std::vector<std::string>{"DIGEST-MD5"});
}

} // namespace
