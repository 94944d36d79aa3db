#include "digest.h"
#include "in_process.h"

#include <gtest/gtest.h>

#include <cctype>

namespace {

using digest_client::begin;
using digest_client::Response;

void fail(InProcess &server, const std::vector<std::string> &faults) {
    for (const std::string &fault : faults)
        EXPECT_EQ(server.faults.add(fault), "") << fault;
}

/** The challenge with N in place of a nonce of the ordinary form. */
std::string withoutNonce(std::string challenge) {
    const std::string begin = "nonce=\"";
    constexpr std::size_t digits = 32;
    for (std::size_t at = challenge.find(begin); at != std::string::npos;
         at = challenge.find(begin, at + 1))
        if (challenge.find('"', at + begin.size()) == at + begin.size() + digits)
            challenge.replace(at + begin.size(), digits, "N");
    return challenge;
}

wire::Response prove(InProcess &server, const std::string &challenge) {
    return server.ask(Response{.nonce = digest_client::valueIn(challenge, "nonce")}.op());
}

TEST(SaslFault, Challenges) {
    const std::string realm = "realm=\"strata\",", nonce = "nonce=\"N\",", qop = "qop=\"auth\",",
                      charset = "charset=utf-8,", algorithm = "algorithm=md5-sess";
    const std::string all = realm + nonce + qop + charset + algorithm;
    const struct {
        std::vector<std::string> kinds;
        std::string challenge;
    } cases[] = {
        {{}, all},
        {{"stale"}, all + ",stale=true"},
        {{"no-realm"}, nonce + qop + charset + algorithm},
        {{"no-nonce"}, realm + qop + charset + algorithm},
        {{"no-qop"}, realm + nonce + charset + algorithm},
        {{"no-algorithm"}, realm + nonce + qop + "charset=utf-8"},
        {{"no-charset"}, realm + nonce + qop + algorithm},
        {{"text:a,\"b\"=:c"}, "a,\"b\"=:c"},
        {{"text:"}, ""},
        {{"realms:2"}, "realm=\"realm1\",realm=\"realm2\"," + nonce + qop + charset + algorithm},
        {{"realms:0"}, nonce + qop + charset + algorithm},
        {{"nonce-size:0"}, realm + "nonce=\"\"," + qop + charset + algorithm},
        {{"nonce-twice"}, realm + nonce + nonce + qop + charset + algorithm},
        {{"qop:auth-int,auth\"x"},
         realm + nonce + "qop=\"auth-int,auth\\\"x\"," + charset + algorithm},
        {{"algorithm:md5"}, realm + nonce + qop + charset + "algorithm=md5"},
        {{"charset:\"utf-8\""}, realm + nonce + qop + "charset=\"utf-8\"," + algorithm},
        {{"maxbuf:65536"}, all + ",maxbuf=65536"},
        {{"cipher:rc4,des"}, all + ",cipher=\"rc4,des\""},
        {{"success"}, all},
        {{"truncate:9"}, "realm=\"st"},
        {{"value:00ff"}, wire::hex("00ff")},
        {{"no-value"}, "none"},
        {{"code:14"}, "none"},
        {{"no-realm", "no-charset", "stale", "truncate:99"},
         nonce + qop + algorithm + ",stale=true"},
        {{"no-qop", "qop:auth"}, realm + nonce + charset + algorithm + ",qop=\"auth\""},
        {{"text:abc", "truncate:2"}, "ab"},
    };
    for (const auto &c : cases) {
        InProcess server;
        for (const std::string &kind : c.kinds)
            fail(server, {"digest-md5-challenge=" + kind});
        const auto answer = server.ask(begin());
        EXPECT_EQ(withoutNonce(answer.value), c.challenge);
        EXPECT_EQ(answer.code, c.kinds == std::vector<std::string>{"success"} ? 0 : 14);
        EXPECT_EQ(server.identity.dn, "");
    }
}

TEST(SaslFault, LargeChallenges) {
    InProcess server;
    fail(server, {"digest-md5-challenge=nonce-size:5000", "digest-md5-challenge=realms:1000"});
    const auto answer = server.ask(begin());
    EXPECT_EQ(digest_client::valueIn(answer.value, "nonce").size(), 5000U);
    EXPECT_NE(answer.value.find("realm=\"realm1000\",nonce="), std::string::npos);
    InProcess short_;
    fail(short_, {"digest-md5-challenge=nonce-size:5"});
    EXPECT_EQ(digest_client::valueIn(short_.ask(begin()).value, "nonce").size(), 5U);
}

TEST(SaslFault, WhatIsSaidIsWhatIsToBeTakenUp) {
    const struct {
        const char *fault;
        const char *realm; // null: none
        const char *nonce; // null: that of the challenge
        int code;
    } cases[] = {
        {"stale", "strata", nullptr, 0},           {"no-realm", nullptr, nullptr, 0},
        {"no-realm", "strata", nullptr, 49},       {"realms:3", "realm3", nullptr, 0},
        {"realms:3", "strata", nullptr, 49},       {"nonce-size:100", "strata", nullptr, 0},
        {"nonce-twice", "strata", nullptr, 0},     {"text:nonce=\"abc\"", nullptr, "abc", 0},
        {"text:nonce=abc,realm=x", "x", "abc", 0}, {"text:nonce=\"abc\"", nullptr, "abd", 49},
        {"text:nonce=\"abc", nullptr, "abc", 49},  {"text:", nullptr, "", 49},
        {"value:6e6f6e63653d61", nullptr, "a", 0}, {"no-nonce", "strata", "", 49},
        {"truncate:8", nullptr, "", 49},           {"success", "strata", nullptr, 0},
    };
    for (const auto &c : cases) {
        InProcess server;
        fail(server, {std::string("digest-md5-challenge=") + c.fault});
        const auto challenge = server.ask(begin());
        Response response{.nonce = c.nonce != nullptr
                                       ? c.nonce
                                       : digest_client::valueIn(challenge.value, "nonce")};
        response.realm = c.realm != nullptr ? std::optional<std::string>(c.realm) : std::nullopt;
        EXPECT_EQ(server.ask(response.op()).code, c.code) << c.fault;
    }
}

TEST(SaslFault, WithoutAChallengeThereIsNothingToRespondTo) {
    for (const char *kind : {"no-value", "code:14", "code:0"}) {
        InProcess server;
        fail(server, {std::string("digest-md5-challenge=") + kind});
        server.ask(begin());
        const auto answer = server.ask(Response{.nonce = ""}.op());
        EXPECT_EQ(answer.code, 49);
        EXPECT_NE(answer.diagnostic.find("begin without credentials"), std::string::npos);
    }
}

TEST(SaslFault, Proofs) {
    const struct {
        std::string kind;
        std::string before; // the right digits
        std::string after;
    } cases[] = {
        {"empty-rspauth", "rspauth=", "-"},
        {"long-rspauth", "rspauth=", "0"},
        {"other-directive", "other=\"1\",rspauth=", ""},
        {"text:rspauth", "rspauth", "-"},
        {"text:", "", "-"},
        {"no-value", "none", "-"},
        {"value:41", "A", "-"},
        {"truncate:3", "rsp", "-"},
        {"truncate:99", "rspauth=", ""},
    };
    for (const auto &c : cases) {
        InProcess server;
        fail(server, {"digest-md5-proof=" + c.kind});
        const Response response{.nonce =
                                    digest_client::valueIn(server.ask(begin()).value, "nonce")};
        const auto answer = server.ask(response.op());
        const std::string digits = response.rspauth().substr(8);
        EXPECT_EQ(answer.value, c.before + (c.after == "-" ? "" : digits + c.after)) << c.kind;
        EXPECT_EQ(answer.code, 0);
        EXPECT_EQ(server.identity.dn, kAda) << "the server takes it for done";
    }
}

TEST(SaslFault, ProofsOfTheSameForm) {
    InProcess server;
    fail(server, {"digest-md5-proof@1=wrong-rspauth", "digest-md5-proof@2=upper-rspauth"});
    for (const bool upper : {false, true}) {
        const Response response{.nonce =
                                    digest_client::valueIn(server.ask(begin()).value, "nonce")};
        const auto answer = server.ask(response.op());
        const std::string right = response.rspauth();
        EXPECT_EQ(answer.value.size(), right.size());
        EXPECT_NE(answer.value, right);
        const char *digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
        EXPECT_EQ(answer.value.find_first_not_of(digits, 8), std::string::npos) << answer.value;
        std::string folded = answer.value;
        for (char &c : folded)
            c = static_cast<char>(std::tolower(c));
        EXPECT_EQ(folded == right, upper) << answer.value;
    }
}

TEST(SaslFault, CodesAreInPlaceOfTheStep) {
    InProcess server;
    fail(server, {"digest-md5-challenge@1=code:51:come back: later", "digest-md5-proof@1=code:80"});
    const auto challenge = server.ask(begin());
    EXPECT_EQ(challenge.code, 51);
    EXPECT_EQ(challenge.diagnostic, "come back: later");
    EXPECT_EQ(challenge.value, "none");
    const auto refused = prove(server, server.ask(begin()).value);
    EXPECT_EQ(refused.code, 80);
    EXPECT_EQ(refused.value, "none");
    EXPECT_EQ(server.identity.dn, "") << "it was not carried out";
    EXPECT_EQ(prove(server, server.ask(begin()).value).code, 0);
}

TEST(SaslFault, DelayAndDropAreForTheSession) {
    InProcess server;
    fail(server, {"digest-md5-challenge=delay:250", "digest-md5-proof=drop"});
    const auto challenge = server.ask(begin());
    EXPECT_EQ(server.last.delay, std::chrono::milliseconds(250));
    EXPECT_FALSE(server.last.drop);
    prove(server, challenge.value);
    EXPECT_EQ(server.last.delay, std::chrono::milliseconds(0));
    EXPECT_TRUE(server.last.drop);
    EXPECT_EQ(server.identity.dn, kAda) << "it is carried out";
    server.ask(wire::bind(kAda, "changeme"));
    EXPECT_FALSE(server.last.drop) << "other binds are none of its business";
}

TEST(SaslFault, StepsAreCountedEachForItself) {
    InProcess server;
    fail(server, {"digest-md5-challenge@2=code:51", "digest-md5-proof@2+=code:52"});
    server.ask(wire::bind(kAda, "changeme"));
    server.ask(Response{.nonce = "x"}.op()); // responds to nothing: it is no second step
    const auto bind = [&] {
        const auto challenge = server.ask(begin());
        return challenge.code == 14 ? prove(server, challenge.value).code : challenge.code;
    };
    EXPECT_EQ(bind(), 0);
    EXPECT_EQ(bind(), 51);
    EXPECT_EQ(bind(), 52);
    EXPECT_EQ(bind(), 52);
}

TEST(SaslFault, RefusedProofsStayRefused) {
    InProcess server;
    fail(server, {"digest-md5-proof=upper-rspauth"});
    Response response{.nonce = digest_client::valueIn(server.ask(begin()).value, "nonce")};
    response.password = "wrong";
    const auto answer = server.ask(response.op());
    EXPECT_EQ(answer.code, 49);
    EXPECT_EQ(answer.value, "none");
}

TEST(SaslFault, KindsThatDoNotFitAreExplained) {
    const std::pair<const char *, const char *> cases[] = {
        {"digest-md5=drop", "there are also digest-md5-challenge, digest-md5-proof and"},
        {"digest-md5-proof=stale",
         "\"stale\" is no kind of fault: there are no-value, truncate:BYTES, value:HEX, "
         "code:NUMBER[:TEXT], delay:MS, drop, cut, wrong-rspauth, upper-rspauth, empty-rspauth, "
         "long-rspauth, other-directive, text:TEXT for digest-md5-proof"},
        {"digest-md5-challenge=upper-rspauth",
         "drop, cut, stale, no-realm, no-nonce, no-qop, no-algorithm, no-charset, text:TEXT, "
         "realms:N, nonce-size:N, nonce-twice, qop:TEXT, algorithm:TEXT, charset:TEXT, "
         "maxbuf:TEXT, "
         "cipher:TEXT, success for digest-md5-challenge"},
        {"digest-md5-challenge=no-oid", "\"no-oid\" is no kind"},
        {"digest-md5-challenge=oid:1.2", "\"oid:1.2\" is no kind"},
        {"digest-md5-proof=partway:1", "\"partway:1\" is no kind"},
        {"digest-md5-proof=success", "\"success\" is no kind"},
        {"digest-md5-challenge=stale:true", "\"stale:true\" is no kind"},
        {"digest-md5-challenge=qop", "\"qop\" is no kind"},
        {"digest-md5-challenge=realms:x", "\"realms:x\" is no kind"},
        {"digest-md5-challenge=realms:-1", "\"realms:-1\" is no kind"},
        {"digest-md5-challenge=realms:100001", "\"realms:100001\" is no kind"},
        {"digest-md5-challenge=nonce-size:1048577", "\"nonce-size:1048577\" is no kind"},
        {"digest-md5-challenge=value:0", "\"value:0\" is no kind"},
        {"digest-md5-challenge@0=drop", "\"@0\" is no number"},
        {"refresh-server=stale", "\"stale\" is no kind"},
        {"lburp-operation=text:x", "\"text:x\" is no kind"},
    };
    for (const auto &[fault, problem] : cases) {
        stratasim::Faults faults;
        EXPECT_NE(faults.add(fault).find(problem), std::string::npos) << faults.add(fault);
    }
}

} // namespace
