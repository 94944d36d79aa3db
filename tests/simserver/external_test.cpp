#include "digest.h"
#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using digest_client::request;
using stratasim::Security;

const std::string kEmpty;
constexpr const char *kCertified = "CN=Ada Brandt,OU=people,DC=example,DC=com";

std::vector<std::string> mechanisms(InProcess &server) {
    const auto found = server.ask(
        wire::search({.base = "", .scope = 0, .attributes = {"supportedSASLMechanisms"}}));
    return found.entryAttributes.at(0).at(0).values;
}

TEST(External, Results) {
    struct Case {
        const char *subject; // nullptr: no certificate
        std::string authzId;
        int code;
        const char *identity;
    };
    const Case cases[] = {
        {kCertified, "", 0, kAda},
        {kCertified, "dn:cn=Ada Brandt,ou=people,dc=example,dc=com", 0, kAda},
        {kCertified, "DN:CN=ada  brandt, OU=People,DC=Example,DC=com", 0, kAda},
        {kCertified, "u:ada.brandt", 0, kAda},
        {kCertified, "u:Ada Brandt", 0, kAda},
        {kCertified, "u:bruno.castell", 123, ""},
        {kCertified, "u:", 123, ""},
        {kCertified, "u:nobody", 123, ""},
        {kCertified, "dn:", 123, ""},
        {kCertified, "dn:nonsense", 123, ""},
        {kCertified, "dn:cn=admin,dc=example,dc=com", 123, ""},
        {kCertified, "cn=Ada Brandt,ou=people,dc=example,dc=com", 123, ""},
        {"CN=admin,DC=example,DC=com", "", 0, "CN=admin,DC=example,DC=com"},
        {"CN=admin,DC=example,DC=com", "dn:cn=Ada Brandt,ou=people,dc=example,dc=com", 123, ""},
        {"CN=Nobody,DC=example,DC=com", "", 49, ""},
        {"CN=Nobody,DC=example,DC=com", "dn:cn=nobody,dc=example,dc=com", 49, ""},
        {"", "", 49, ""},
        {"no name", "", 49, ""},
        {nullptr, "", 48, ""},
        {nullptr, "dn:cn=Ada Brandt,ou=people,dc=example,dc=com", 48, ""},
    };
    for (const Case &c : cases) {
        InProcess server;
        server.bindAs(kAda);
        server.connection.security.emplace();
        if (c.subject != nullptr)
            server.connection.security->subject = c.subject;
        const auto response = server.ask(request("EXTERNAL", &c.authzId));
        EXPECT_EQ(response.code, c.code) << c.subject << " " << c.authzId;
        EXPECT_EQ(response.value, "none");
        EXPECT_EQ(server.identity.dn, c.identity) << c.authzId;
        EXPECT_EQ(response.diagnostic.empty(), c.code == 0);
    }
}

TEST(External, WithoutAnInitialResponseTheServerAsksForIt) {
    InProcess server;
    server.connection.security = Security{kCertified};
    EXPECT_EQ(server.raw(wire::hex("3016 020101 6011 020103 0400 a30a 0408 45585445524e414c")),
              wire::hex("300e 020101 6109 0a010e 0400 0400 8700"));
    EXPECT_EQ(server.identity.dn, "");
    EXPECT_EQ(server.ask(request("EXTERNAL", &kEmpty)).code, 0);
    EXPECT_EQ(server.identity.dn, kAda);
    server.connection.security->subject.reset();
    EXPECT_EQ(server.ask(request("EXTERNAL")).code, 48) << "nothing to ask for";
}

TEST(External, WithoutTlsItIsAnUnknownMechanism) {
    InProcess server;
    const auto response = server.ask(request("EXTERNAL", &kEmpty));
    EXPECT_EQ(response.code, 7);
    EXPECT_EQ(response.diagnostic, "use a simple bind, or SASL with DIGEST-MD5");
}

TEST(External, TheRootDseNamesItWhereItCanBeUsed) {
    InProcess server;
    const std::vector<std::string> digest = {"DIGEST-MD5"};
    const std::vector<std::string> both = {"DIGEST-MD5", "EXTERNAL"};
    EXPECT_EQ(mechanisms(server), digest);
    server.connection.security.emplace();
    EXPECT_EQ(mechanisms(server), digest);
    server.connection.security->subject = kCertified;
    EXPECT_EQ(mechanisms(server), both);
    EXPECT_EQ(server.code(wire::compare("", "supportedSASLMechanisms", "EXTERNAL")), 6);
}

} // namespace
