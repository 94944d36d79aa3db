#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::text;

/** Big-endian units of an ASCII text, and the zero unit at the end. */
std::string units(const std::string &ascii) {
    std::string out;
    for (const char c : ascii)
        (out += '\0') += c;
    return out + std::string(2, '\0');
}

TEST(KoraNames, BecomeDns) {
    InProcess server;
    const std::pair<const char *, const char *> cases[] = {
        {"example.com", kTop},
        {"EXAMPLE.com", kTop},
        {"example.com/people", "ou=people,dc=example,dc=com"},
        {"example.com/people/Ada Brandt", kAda},
        {"example.com/PEOPLE/ada brandt", kAda},
        {"example.com/servers/strata\\2", kServer2},
    };
    for (const auto &[name, dn] : cases) {
        const auto response = server.extended(1, text(units(name)));
        EXPECT_EQ(response.oid, wire::strataOid(2));
        EXPECT_EQ(response.value, text(dn)) << name << response.diagnostic;
    }
}

TEST(KoraNames, SlashesAndPlusSignsOfNames) {
    InProcess server;
    server.bindAdmin();
    EXPECT_EQ(server.code(wire::add("cn=a/b+sn=c,dc=example,dc=com",
                                    {{"objectClass", {"top"}}, {"cn", {"a/b"}}, {"sn", {"c"}}})),
              0);
    EXPECT_EQ(server.extended(1, text(units("example.com/a\\/b+c"))).value,
              text("cn=a/b+sn=c,dc=example,dc=com"));
    EXPECT_EQ(server.extended(1, text(units("example.com/a/b+c"))).code, 32);
}

TEST(KoraNames, Errors) {
    InProcess server;
    for (const char *unknown : {"", "x", "example.com/", "example.com/nobody", "com", "monitor",
                                "example.com/people/Ada Brandt/x"})
        EXPECT_EQ(server.extended(1, text(units(unknown))).code, 32) << unknown;
    const std::string wrong[] = {
        text(""),
        text(std::string(1, '\0')),
        text(units("example.com").substr(0, 22)),
        text(units("example.com") + '\0'),
        text(hex("d8000000")),
        units("example.com"),
    };
    for (const std::string &value : wrong) {
        const auto response = server.extended(1, value);
        EXPECT_EQ(response.code, 2);
        EXPECT_FALSE(response.diagnostic.empty());
    }
}

TEST(KoraNames, AnswersSayWhatIsWrong) {
    InProcess server;
    const std::pair<std::string, const char *> cases[] = {
        {units("a") + '\0', "kora name: an odd number of bytes"},
        {units("a").substr(0, 2), "kora name: no zero unit at the end"},
        {hex("d8000000"), "kora name: not UTF-16"},
    };
    for (const auto &[name, diagnostic] : cases)
        EXPECT_EQ(server.extended(1, text(name)).diagnostic, diagnostic);
}

TEST(DnsNames, BecomeDns) {
    InProcess server;
    server.bindAdmin();
    EXPECT_EQ(server.code(wire::add("dc=lab,dc=example,dc=com",
                                    {{"objectClass", {"top"}}, {"dc", {"lab"}}})),
              0);
    EXPECT_EQ(server.code(wire::add("ou=east,dc=lab,dc=example,dc=com",
                                    {{"objectClass", {"top"}}, {"ou", {"east"}}})),
              0);
    const std::pair<const char *, const char *> cases[] = {
        {"example.com", kTop},
        {"Example.COM.", kTop},
        {"emea.example.com", kEmea},
        {"lab.example.com", "dc=lab,dc=example,dc=com"},
        {"east.lab.example.com", "ou=east,dc=lab,dc=example,dc=com"},
    };
    for (const auto &[name, dn] : cases) {
        const auto response = server.extended(101, text(name));
        EXPECT_EQ(response.oid, wire::strataOid(102));
        EXPECT_EQ(response.value, text(dn)) << name;
    }
    const std::string tooLong = std::string(300, 'a') + ".example.com";
    for (const char *unknown : {"", ".", "com", "org", "x.example.com", "x.emea.example.com",
                                "a,b.example.com", "example..com", ".example.com", tooLong.c_str()})
        EXPECT_EQ(server.extended(101, text(unknown)).code, 32) << unknown;
}

} // namespace
