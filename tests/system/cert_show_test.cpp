// qldapx cert show: certificates of servers and files, whatever is wrong with them.
#include "system/tls_fixture.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

const TlsFiles &files() {
    return TlsFiles::get();
}

std::string file(const char *name) {
    return files().path(name);
}

Result show(const std::string &source, const Arguments &more = {}) {
    Arguments all = {"cert", "show", source};
    all.insert(all.end(), more.begin(), more.end());
    return runTls(all);
}

std::string text(const Json &object, const char *field) {
    return object[field].get<std::string>();
}

/** What the openssl command says of a file. */
std::string openssl(const std::string &arguments) {
    std::string out = runShell("openssl " + arguments).out;
    return out.substr(0, out.find('\n'));
}

TEST(CertShow, AServersCertificateIsShownAsItIs) {
    const TlsSimulator server({}, file("server-both.pem"));
    const Result result = show(server.at("localhost"), {"--cacert", file("ca.pem"), "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    const Json shown = result.json();
    EXPECT_EQ(shown["source"], server.at("localhost"));
    EXPECT_EQ(shown["host"], "localhost");
    EXPECT_EQ(shown["verifies"], true);
    EXPECT_EQ(shown["faults"], Json::array());
    ASSERT_EQ(shown["certificates"].size(), 1U);
    const Json leaf = shown["certificates"][0];
    EXPECT_EQ(leaf["subject"], "CN=server,O=Test");
    EXPECT_EQ(leaf["issuer"], "CN=Test CA,O=Test");
    EXPECT_THAT(leaf["names"], ElementsAre("DNS:localhost", "IP:127.0.0.1", testing::_));
    EXPECT_EQ(leaf["nameCount"], 3);
    EXPECT_EQ(leaf["keyType"], "EC");
    EXPECT_EQ(leaf["keyBits"], 256);
    EXPECT_EQ(leaf["signature"], "ecdsa-with-SHA256");
    EXPECT_THAT(text(leaf, "validity"), MatchesRegex("ends in (19|20) days"));
    EXPECT_EQ(leaf["faults"], Json::array());
    EXPECT_EQ("sha256 Fingerprint=" + text(leaf, "sha256"),
              openssl("x509 -noout -fingerprint -sha256 -in " + file("server.pem")));
    std::string serial = text(leaf, "serial");
    std::erase(serial, ':');
    EXPECT_EQ("serial=" + serial, openssl("x509 -noout -serial -in " + file("server.pem")));
    EXPECT_EQ("notAfter=" + text(leaf, "notAfter"),
              openssl("x509 -noout -enddate -dateopt iso_8601 -in " + file("server.pem") +
                      " | sed 's/ \\(..:\\)/T\\1/'"));
}

TEST(CertShow, TextSaysTheSame) {
    const TlsSimulator server({}, file("server-both.pem"));
    const Result fine = show("ldaps://" + server.at("127.0.0.1"), {"--cacert", file("ca.pem")});
    EXPECT_EQ(fine.status, 0) << fine.err;
    EXPECT_THAT(fine.out, AllOf(HasSubstr("certificate 1 of 1\n"),
                                HasSubstr("  subject      CN=server,O=Test\n"),
                                ContainsRegex("\\(ends in (19|20) days\\)\n"),
                                HasSubstr("  names        DNS:localhost, IP:127.0.0.1, DNS:"),
                                HasSubstr("  key          EC, 256 bits\n"),
                                HasSubstr(" verifies for the host 127.0.0.1")));
    EXPECT_THAT(fine.out, AllOf(Not(HasSubstr("fault")), Not(HasSubstr("\x1b"))));
    const Result other = show(server.at("localhost"), {"--cacert", file("other.pem")});
    EXPECT_EQ(other.status, 1);
    EXPECT_EQ(other.err, "");
    EXPECT_THAT(other.out,
                AllOf(HasSubstr("  fault        the certificate of \"CN=server,O=Test\""),
                      HasSubstr("does not verify")));
    std::istringstream lines(other.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
}

struct Flaw {
    const char *name;
    int code;
    const char *text;
    const char *validity;
};

TEST(CertShow, EachFaultIsNamedAtItsCertificate) {
    const Flaw flaws[] = {{"expired", 10, "expired", "expired 1 day ago"},
                          {"not-yet-valid", 9, "not yet valid", "begins in "},
                          {"wrong-name", 62, "is not for the name localhost; its names", "ends in"},
                          {"self-signed", 18, "is self-signed", "ends in"}};
    for (const Flaw &flaw : flaws) {
        SCOPED_TRACE(flaw.name);
        const TlsSimulator server({"--tls-auto-cert", flaw.name});
        const Result result = show(server.at("localhost"), {"--cacert", server.ca(), "--json"});
        EXPECT_EQ(result.status, 1);
        const Json shown = result.json();
        EXPECT_EQ(shown["verifies"], false);
        const Json leaf = shown["certificates"][0];
        ASSERT_EQ(leaf["faults"].size(), 1U) << shown;
        EXPECT_EQ(leaf["faults"][0]["code"], flaw.code);
        EXPECT_THAT(text(leaf["faults"][0], "text"), HasSubstr(flaw.text));
        EXPECT_THAT(text(leaf, "validity"), HasSubstr(flaw.validity));
    }
}

TEST(CertShow, EveryFaultIsFound) {
    const TlsSimulator server({"--tls-auto-cert", "expired"});
    const Result result = show(server.at("localhost"), {"--cacert", file("other.pem"), "--json"});
    const Json faults = result.json()["certificates"][0]["faults"];
    ASSERT_EQ(faults.size(), 2U);
    EXPECT_EQ(faults[0]["code"], 20); // no issuer
    EXPECT_EQ(faults[1]["code"], 10); // expired
}

TEST(CertShow, APresentedChainCanBeSavedAndLooksTheSame) {
    const TlsSimulator server;
    const Result saved = show(server.at("localhost"), {"--cacert", server.ca(), "--pem"});
    EXPECT_EQ(saved.status, 0);
    EXPECT_TRUE(saved.out.starts_with("-----BEGIN CERTIFICATE-----\n"));
    const TemporaryFolder folder;
    const std::string path = folder.write("chain.pem", saved.out);
    Json fromFile = show(path, {"--cacert", server.ca(), "--json"}).json();
    Json fromServer = show(server.at("localhost"), {"--cacert", server.ca(), "--json"}).json();
    for (Json *all : {&fromFile, &fromServer})
        for (Json &each : (*all)["certificates"])
            each.erase("validity"); // how much time is left: another day may begin in between
    EXPECT_EQ(fromFile["certificates"], fromServer["certificates"]);
    EXPECT_EQ(fromFile["host"], nullptr);
    EXPECT_EQ(fromFile["verifies"], true);
}

TEST(CertShow, UnverifiedChainsAreSavedToo) {
    const TlsSimulator server;
    const Result saved = show(server.at("localhost"), {"--cacert", file("other.pem"), "--pem"});
    EXPECT_EQ(saved.status, 1);
    EXPECT_THAT(saved.out, HasSubstr("-----END CERTIFICATE-----\n"));
}

TEST(CertShow, EveryKindOfFileIsRead) {
    struct Kind {
        const char *name;
        Arguments more;
        std::size_t count;
    };
    const Kind kinds[] = {
        {"client.pem", {}, 1}, {"client.der", {}, 1},
        {"both.pem", {}, 1},   {"ca-first.pem", {}, 2},
        {"open.p12", {}, 1},   {"client.p12", {"--key-password-file", file("password")}, 2}};
    for (const Kind &kind : kinds) {
        SCOPED_TRACE(kind.name);
        Arguments more = {"--json", "--cacert", file("ca.pem")};
        more.insert(more.end(), kind.more.begin(), kind.more.end());
        const Result result = show(file(kind.name), more);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.json()["certificates"].size(), kind.count);
        EXPECT_EQ(result.json()["host"], nullptr);
    }
}

TEST(CertShow, CertificatesOfAFileAreVerifiedEachForItself) {
    const TemporaryFolder folder;
    const std::string path =
        folder.write("all.pem", readFile(file("client.pem")) + readFile(file("other.pem")));
    const Result result = show(path, {"--cacert", file("ca.pem"), "--json"});
    EXPECT_EQ(result.status, 1);
    const Json certificates = result.json()["certificates"];
    EXPECT_EQ(certificates[0]["faults"].size(), 0U);
    EXPECT_EQ(certificates[1]["faults"][0]["code"], 18);
}

TEST(CertShow, MistakesAreNamed) {
    struct Mistake {
        std::string source;
        Arguments more;
        const char *reason;
    };
    const Mistake mistakes[] = {
        {"/nonexistent", {}, "/nonexistent: cannot read the file: No such file"},
        {"localhost", {}, "localhost: cannot read the file"},
        {file("empty"), {}, "the file is empty"},
        {file("none"), {}, "there is no certificate in the file"},
        {file("client.key"), {}, "no certificate"},
        {file("client.p12"), {}, "needs a terminal"},
        {file("client.p12"), {"--key-password-file", file("wrong")}, "the password is wrong"},
        {"ldap://localhost", {}, "is no ldaps:// URL"},
        {"ldaps://", {}, "names no server"},
        {"ldaps://a/b", {}, "names no server"},
        {"localhost:70000", {}, "names no server"},
        {"localhost:", {}, "names no server"},
        {"::1:636", {}, "stands in brackets"},
        {"[::1:636", {}, "names no server"},
        {file("ca.pem"), {"--pem"}, "--pem and --json exclude each other"},
        {file("ca.pem"), {"--cacert", "/nonexistent"}, "--cacert /nonexistent: cannot read"},
    };
    for (const Mistake &mistake : mistakes) {
        SCOPED_TRACE(mistake.source);
        Arguments more = mistake.more;
        more.emplace_back("--json");
        const Result result = show(mistake.source, more);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(text(result.error(), "reason"), HasSubstr(mistake.reason));
    }
}

TEST(CertShow, ServersThatAreNoneAreNamed) {
    const Result down = show("127.0.0.1:1", {"--json"});
    EXPECT_EQ(down.status, 1);
    EXPECT_EQ(down.error()["code"], -1);
    EXPECT_THAT(text(down.error(), "reason"), HasSubstr("Connection refused"));
    const Simulator plain;
    const Result noTls = show(plain.uri().substr(7), {"--json"});
    EXPECT_EQ(noTls.status, 1);
    EXPECT_THAT(text(noTls.error(), "hint"), HasSubstr("ldap://HOST:PORT"));
}

TEST(CertShow, ASilentServerIsGivenUp) {
    const SilentServer server;
    const auto begin = std::chrono::steady_clock::now();
    const Result result = show("127.0.0.1:" + server.port(), {"--timeout", "1", "--json"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], -5);
    EXPECT_THAT(text(result.error(), "reason"), HasSubstr("within 1 second"));
}

TEST(CertShow, AServerThatWantsACertificateShowsItsOwn) {
    for (const char *version : {"-tls1_2", "-tls1_3"}) {
        const OpensslServer server({"-cert", file("server.pem"), "-key", file("server.key"),
                                    "-Verify", "1", "-verify_return_error", version});
        const Result result =
            show("127.0.0.1:" + server.port(), {"--cacert", file("ca.pem"), "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.json()["certificates"].size(), 1U);
    }
}

} // namespace
} // namespace test
