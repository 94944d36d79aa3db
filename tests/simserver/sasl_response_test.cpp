#include "digest_bind.h"
#include "sasl/digest.h"

#include <functional>

namespace {

using digest_client::begin;
using digest_client::bind;
using digest_client::bindAs;
using digest_client::Response;

constexpr const char *kBruno = "cn=Bruno Castell,ou=people,dc=example,dc=com";

TEST(SaslResponse, ArithmeticIsThatOfTheStandard) {
    using stratasim::digest::Secret;
    const std::string latin = "Gr\xfc\xdf"
                              "e",
                      utf8 = "Gr\xc3\xbc\xc3\x9f"
                             "e";
    const auto response = [](const char *nonce, const char *uri) {
        return stratasim::digest::Response{
            .nonce = nonce, .cnonce = "OA6MHXh6VqTrRk", .nonceCount = "00000001", .uri = uri};
    };
    // RFC 2831, 4
    const auto chris = response("OA6MG9tEQGm2hh", "imap/elwood.innosoft.com");
    const auto ada = response("0123456789abcdef", "ldap/localhost");
    auto authorized = ada;
    authorized.authzid = "u:ada.brandt";
    const struct {
        Secret secret;
        stratasim::digest::Response response;
        const char *client;
        const char *server;
    } cases[] = {
        {{"chris", "elwood.innosoft.com", "secret"},
         chris,
         "d388dad90d4bbd760a152321f2143af7",
         "ea40f60335c427b5527b84dbabcdfffd"},
        {{"ada.brandt", "", "changeme"},
         ada,
         "7af9bce6bb790c70d4db896009ff680c",
         "b1526caf5724ba1b3b2655b450b9c8e8"},
        {{"ada.brandt", "strata", "changeme"},
         authorized,
         "b083989ef0366f31b9d19b5b433ccdef",
         "9ac9ed3b84c44fcc5a61320f9c553168"},
        {{"ada.brandt", "strata", utf8},
         ada,
         "f46bd8a09591338cbae25191d0a358c7",
         "e2695b902903a94f35bceb70150759dd"},
        {{"ada.brandt", "strata", latin},
         ada,
         "3a66397dd9779cd050121d5e95f0c1c5",
         "27cbb47351a2faf732296d3e1cadce9e"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(clientProof(c.secret, c.response), c.client);
        EXPECT_EQ(serverProof(c.secret, c.response), c.server);
    }
    EXPECT_EQ((Secret{"a", "r\xc3\xa9", utf8}.inLatin1().password), latin);
    EXPECT_EQ((Secret{"a", "r\xc3\xa9", utf8}.inLatin1().realm), "r\xe9");
}

TEST(SaslResponse, RefusalsSayWhy) {
    const struct {
        std::function<void(Response &)> edit;
        int code;
        const char *said;
    } cases[] = {
        {[](Response &r) { r.password = "wrong"; }, 49, "wrong user name or password"},
        {[](Response &r) { r.username = "nobody"; }, 49, "wrong user name or password"},
        {[](Response &r) { r.username = "strata1"; }, 49, "wrong user name or password"},
        {[](Response &r) { r.username = kServer1; }, 49, "wrong user name or password"},
        {[](Response &r) { r.username = ""; }, 49, "wrong user name or password"},
        {[](Response &r) { r.username = "ou=,"; }, 49, "wrong user name or password"},
        {[](Response &r) { r.value = std::string(32, '0'); }, 49, "wrong user name or password"},
        {[](Response &r) { r.value = ""; }, 49, "wrong user name or password"},
        {[](Response &r) { r.hashedUsername = "Ada.Brandt"; }, 49, "wrong user name or password"},
        {[](Response &r) { r.nonce += '0'; }, 49, "the nonce is not that of the challenge"},
        {[](Response &r) { r.nonce = ""; }, 49, "the nonce is not that of the challenge"},
        {[](Response &r) { r.nonceCount = "00000002"; }, 49, "nc is not 00000001"},
        {[](Response &r) { r.nonceCount = "1"; }, 49, "nc is not 00000001"},
        {[](Response &r) { r.qop = "auth-int"; }, 49, "qop \"auth-int\" is not offered"},
        {[](Response &r) { r.qop = "AUTH"; }, 49, "qop \"AUTH\" is not offered"},
        {[](Response &r) { r.uri = "imap/localhost"; }, 49, "digest-uri does not begin with"},
        {[](Response &r) { r.uri = "ldap"; }, 49, "digest-uri does not begin with"},
        {[](Response &r) { r.charset = "iso-8859-1"; }, 49, "\"iso-8859-1\" is not utf-8"},
        {[](Response &r) { r.realm = "other"; }, 49, "the realm is not one of those offered"},
        {[](Response &r) { r.realm = ""; }, 49, "the realm is not one of those offered"},
        {[](Response &r) { r.realm.reset(); }, 49, "the realm is not one of those offered"},
        {[](Response &r) { r.authzid = "u:bruno.castell"; }, 49, "may not act as"},
        {[](Response &r) { r.authzid = std::string("dn:") + kBruno; }, 49, "may not act as"},
        {[](Response &r) { r.authzid = "dn:nonsense"; }, 49, "may not act as"},
        {[](Response &r) { r.authzid = ""; }, 49, "may not act as"},
        {[](Response &r) { r.authzid = "ada.brandt"; }, 49, "may not act as"},
        {[](Response &r) { r.more = ",realm=\"strata\""; }, 2, "\"realm\" is there twice"},
        {[](Response &r) { r.more = ",response=0"; }, 2, "\"response\" is there twice"},
        {[](Response &r) { r.more = ",qop=auth"; }, 2, "\"qop\" is there twice"},
        {[](Response &r) { r.more = ",lonely"; }, 2, "\"lonely\" has no value"},
        {[](Response &r) { r.more = ",a=\"b\"c"; }, 2, "a comma is missing"},
        {[](Response &r) { r.more = ",=b"; }, 2, "the name of a directive is missing"},
        {[](Response &r) { r.more = ",a=\"\x01\""; }, 2, "a control character"},
        {[](Response &r) { r.value = "\"x"; }, 2, "a quote is not closed"},
        {[](Response &r) { r.value = "\"x\\"; }, 2, "a quote is not closed"},
        {[](Response &r) { r.more = ",a=" + std::string(4096, 'a'); }, 2, "has 4096 bytes"},
    };
    for (const auto &c : cases) {
        InProcess server;
        server.bindAs(kBruno);
        const auto answer = bindAs(server, c.edit);
        EXPECT_EQ(answer.code, c.code) << c.said;
        EXPECT_NE(answer.diagnostic.find(c.said), std::string::npos) << answer.diagnostic;
        EXPECT_EQ(answer.value, "none");
        EXPECT_EQ(server.identity.dn, "") << c.said;
        EXPECT_FALSE(server.closed) << "the connection goes on";
        EXPECT_EQ(bind(server).code, 0) << "and may bind anew";
    }
}

TEST(SaslResponse, WhatIsMissingIsNamed) {
    for (const char *name : {"username", "nonce", "cnonce", "nc", "digest-uri", "response"}) {
        InProcess server;
        const auto challenge = server.ask(begin());
        std::string text =
            Response{.nonce = digest_client::valueIn(challenge.value, "nonce")}.text();
        text.insert(text.find(std::string(name) + '='), "x-");
        const auto answer = server.ask(digest_client::request("DIGEST-MD5", &text));
        EXPECT_EQ(answer.code, 49) << text;
        EXPECT_EQ(answer.diagnostic, std::string("DIGEST-MD5: \"") + name + "\" is missing");
    }
    for (const char *text : {"", " ", ",,"}) {
        InProcess server;
        server.ask(begin());
        const std::string credentials = text;
        const auto answer = server.ask(digest_client::request("DIGEST-MD5", &credentials));
        EXPECT_EQ(answer.code, 2) << text;
        EXPECT_NE(answer.diagnostic.find("there is no directive"), std::string::npos);
    }
}

TEST(SaslResponse, OneNameForEachUser) {
    const std::pair<const char *, const char *> cases[] = {
        {"ada.brandt", kAda},
        {"ADA.Brandt", kAda},
        {"Ada Brandt", kAda},
        {"cn=Ada Brandt,ou=people,dc=example,dc=com", kAda},
        {"CN=ada brandt, ou=people,dc=example,dc=com", kAda},
    };
    for (const auto &each : cases) {
        InProcess server;
        EXPECT_EQ(bindAs(server, [&](Response &r) { r.username = each.first; }).code, 0)
            << each.first;
        EXPECT_EQ(server.identity.dn, each.second) << each.first;
    }
    for (const char *name : {"admin", "Admin", kAdmin}) {
        InProcess server;
        const auto asAdmin = [&](Response &r) {
            r.username = name;
            r.password = "secret";
        };
        EXPECT_EQ(bindAs(server, asAdmin).code, 0) << name;
        EXPECT_EQ(server.identity.dn, kAdmin) << name;
        EXPECT_EQ(server.extended(9).code, 0) << "it has the administrator's rights";
    }
}

TEST(SaslResponse, NamesOfSeveralEntriesAreNobodys) {
    InProcess server;
    server.bindAdmin();
    const auto add = [&](const std::string &cn, const std::string &ou, const char *uid) {
        return server.code(wire::add("cn=" + cn + ",ou=" + ou + ",dc=example,dc=com",
                                     {{"objectClass", {"inetOrgPerson"}},
                                      {"cn", {cn}},
                                      {"sn", {"x"}},
                                      {"uid", {uid}},
                                      {"userPassword", {"changeme"}}}));
    };
    ASSERT_EQ(add("twin", "emea", "first"), 0);
    ASSERT_EQ(add("twin", "apac", "second"), 0);
    ASSERT_EQ(add("first", "apac", "third"), 0);
    const auto identityOf = [&](const char *name) {
        bindAs(server, [&](Response &r) { r.username = name; });
        return server.identity.dn;
    };
    EXPECT_EQ(identityOf("twin"), "") << "two have this cn";
    EXPECT_EQ(identityOf("second"), "cn=twin,ou=apac,dc=example,dc=com");
    EXPECT_EQ(identityOf("first"), "cn=twin,ou=emea,dc=example,dc=com") << "uid goes before cn";
    server.bindAdmin();
    ASSERT_EQ(add("fourth", "apac", "first"), 0);
    EXPECT_EQ(identityOf("first"), "") << "two have this uid, and the cn of one does not help";
}

TEST(SaslResponse, EachPasswordOfAnEntryIsRight) {
    InProcess server;
    server.bindAdmin();
    ASSERT_EQ(server.code(wire::modify(kAda, {{2, {"userPassword", {"", "one", "two"}}}})), 0);
    const std::pair<const char *, int> cases[] = {
        {"one", 0}, {"two", 0}, {"changeme", 49}, {"", 49}};
    for (const auto &each : cases)
        EXPECT_EQ(bindAs(server, [&](Response &r) { r.password = each.first; }).code, each.second)
            << each.first;
}

TEST(SaslResponse, TextsInEitherCharacterSet) {
    const std::string latin = "M\xfcller", utf8 = "M\xc3\xbcller", greek = "\xce\xb1\xc3\xbc";
    const struct {
        const char *what;
        std::function<void(Response &)> edit;
        int code;
    } cases[] = {
        {"raw bytes", [&](Response &r) { r.username = r.password = utf8; }, 0},
        {"raw bytes, said to be UTF-8",
         [&](Response &r) {
             r.username = r.password = utf8;
             r.charset = "utf-8";
         },
         0},
        {"sent as UTF-8, hashed as ISO 8859-1",
         [&](Response &r) {
             r.username = utf8;
             r.hashedUsername = r.password = latin;
             r.charset = "UTF-8";
         },
         0},
        {"all in ISO 8859-1", [&](Response &r) { r.username = r.password = latin; }, 0},
        {"ISO 8859-1, said to be UTF-8",
         [&](Response &r) {
             r.username = r.password = latin;
             r.charset = "utf-8";
         },
         49},
        {"name and password in different sets",
         [&](Response &r) {
             r.username = utf8;
             r.password = latin;
         },
         49},
        {"a password that is not in ISO 8859-1 stays, the name does not",
         [&](Response &r) {
             r.username = utf8;
             r.hashedUsername = latin;
             r.password = greek;
             r.charset = "utf-8";
         },
         0},
    };
    for (const auto &c : cases) {
        InProcess server;
        server.bindAdmin();
        ASSERT_EQ(server.code(wire::modify(
                      kAda, {{2, {"userPassword", {utf8, greek}}}, {2, {"uid", {utf8}}}})),
                  0);
        EXPECT_EQ(bindAs(server, c.edit).code, c.code) << c.what;
    }
}

TEST(SaslResponse, RealmsInEitherCharacterSet) {
    const std::string latin = "B\xfcro", utf8 = "B\xc3\xbcro";
    for (const std::string &realm : {latin, utf8}) {
        InProcess server;
        server.directory.saslRealms = {utf8};
        EXPECT_EQ(bindAs(server, [&](Response &r) { r.realm = realm; }).code, 0) << realm;
    }
    InProcess server;
    server.directory.saslRealms = {utf8};
    const auto saidToBeUtf8 = [&](Response &r) {
        r.realm = latin;
        r.charset = "utf-8";
    };
    EXPECT_EQ(bindAs(server, saidToBeUtf8).code, 49);
}

TEST(SaslResponse, ResponsesAreWrittenInManyWays) {
    const std::function<std::string(const Response &)> ways[] = {
        [](const Response &r) { return ",, " + r.text() + " ,\t,"; },
        [](const Response &r) {
            return "RESPONSE = \"" + r.text().substr(r.text().rfind('=') + 1) +
                   "\" ,\r\n nC=\"00000001\", qop=\"auth\", unknown=1, unknown=2, "
                   "Digest-URI=ldap/localhost,cnonce=OA6MHXh6VqTrRk,nonce=" +
                   r.nonce + ",realm=strata,username=ada.brandt,maxbuf=65536,charset=utf-8";
        },
        [](const Response &r) {
            std::string text = r.text();
            return text.replace(text.find("brandt"), 6, "\\b\\randt");
        },
        [](const Response &r) {
            Response without = r;
            without.qop.reset();
            return without.text();
        },
        [](const Response &r) {
            Response own = r;
            own.authzid = "u:ada.brandt";
            return own.text();
        },
        [](const Response &r) {
            Response own = r;
            own.authzid = "DN:CN=ada brandt,ou=people, dc=example,dc=com";
            return own.text();
        },
    };
    for (const auto &way : ways) {
        InProcess server;
        const auto challenge = server.ask(begin());
        const std::string text = way({.nonce = digest_client::valueIn(challenge.value, "nonce")});
        const auto answer = server.ask(digest_client::request("DIGEST-MD5", &text));
        EXPECT_EQ(answer.code, 0) << text << answer.diagnostic;
        EXPECT_EQ(server.identity.dn, kAda);
    }
}

} // namespace
