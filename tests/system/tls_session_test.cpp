// Sessions by ldaps: trust, verification, and servers that are none.
#include "peer/tls_relay.h"
#include "system/tls_fixture.h"

#include <chrono>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const TlsFiles &files() {
    return TlsFiles::get();
}

std::string text(const Json &error, const char *field) {
    return error[field].get<std::string>();
}

TEST(TlsSession, AServerOfTheCaIsTrusted) {
    const TlsSimulator server({}, files().path("server-both.pem"));
    for (const char *anchors : {"ca.pem", "ca.der"})
        for (const char *host : {"localhost", "127.0.0.1"}) {
            const Result result = runTls(
                {"whoami", "-H", "ldaps://" + server.at(host), "--cacert", files().path(anchors)});
            EXPECT_EQ(result.status, 0) << anchors << ": " << result.err;
            EXPECT_EQ(result.out, "anonymous\n");
            EXPECT_EQ(result.err, "");
        }
}

TEST(TlsSession, BindsAndWorksOverTls) {
    const TlsSimulator server;
    const Result result = server.run({"partition", "count", "dc=example,dc=com", "-D", adminDn,
                                      "-w", adminPassword, "--cacert", server.ca()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("dc=example,dc=com"));
}

TEST(TlsSession, TheSystemsTrustStoreIsTheUsualOne) {
    const TlsSimulator server({}, files().path("server-both.pem"));
    const Arguments whoami = {"whoami", "-H", server.uri()};
    EXPECT_EQ(runTls(whoami, {{"SSL_CERT_FILE", files().path("ca.pem")}}).status, 0);
    EXPECT_EQ(runTls(whoami,
                     {{"SSL_CERT_FILE", "/nonexistent"}, {"SSL_CERT_DIR", files().path("hashed")}})
                  .status,
              0);
    const Result unknown = runTls(whoami, {{"SSL_CERT_FILE", files().path("other.pem")}});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_THAT(unknown.err, AllOf(HasSubstr("which is not trusted"), HasSubstr("--cacert")));
}

TEST(TlsSession, TheSystemsTrustStoreDoesNotCountBesidesAFile) {
    const TlsSimulator server({}, files().path("server-both.pem"));
    EXPECT_EQ(runTls({"whoami", "-H", server.uri(), "--cacert", files().path("other.pem")},
                     {{"SSL_CERT_FILE", files().path("ca.pem")}})
                  .status,
              1);
}

TEST(TlsSession, ASystemWithoutTrustStoreIsNamed) {
    const Result result = runTls({"whoami", "-H", "ldaps://127.0.0.1:1", "--json"},
                                 {{"SSL_CERT_FILE", "/no/file"}, {"SSL_CERT_DIR", "/no/folder"}});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(text(result.error(), "reason"),
                AllOf(HasSubstr("/no/file"), HasSubstr("/no/folder")));
    EXPECT_THAT(text(result.error(), "hint"), HasSubstr("--cacert FILE"));
}

struct Flaw {
    const char *name;
    const char *reason;
    const char *hint;
};

constexpr Flaw flaws[] = {
    {"expired", "expired", "new certificate"},
    {"not-yet-valid", "is not yet valid: it begins in", "clock"},
    {"wrong-name", "; its names: DNS:", "-H"},
    {"self-signed", "is self-signed, and not trusted here", "--cacert FILE"},
};

TEST(TlsSession, FaultsAreNamedWithTheWayOut) {
    for (const Flaw &flaw : flaws) {
        SCOPED_TRACE(flaw.name);
        const TlsSimulator server({"--tls-auto-cert", flaw.name});
        const Result result = runTls({"whoami", "-H", "ldaps://" + server.at("localhost"),
                                      "--cacert", server.ca(), "--json"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        const Json error = result.error();
        EXPECT_EQ(error["operation"], "connect");
        EXPECT_EQ(error["code"], -1);
        EXPECT_THAT(text(error, "reason"), HasSubstr(flaw.reason));
        EXPECT_THAT(text(error, "hint"), HasSubstr(flaw.hint));
    }
}

TEST(TlsSession, AWrongAddressIsNamedWithTheNamesOfTheCertificate) {
    const TlsSimulator server({"--tls-auto-cert", "wrong-name"});
    const Result result = server.run({"whoami", "--cacert", server.ca(), "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(text(result.error(), "reason"),
                AllOf(HasSubstr("is not for the"), HasSubstr("127.0.0.1; its names: DNS:")));
}

TEST(TlsSession, UnverifiedServersAreUsedWithALoudWarning) {
    for (const Flaw &flaw : flaws) {
        const TlsSimulator server({"--tls-auto-cert", flaw.name});
        for (const char *host : {"localhost", "127.0.0.1"}) {
            SCOPED_TRACE(std::string(flaw.name) + " " + host);
            const Result result =
                runTls({"whoami", "-H", "ldaps://" + server.at(host), "--tls-verify", "off"});
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_EQ(result.out, "anonymous\n");
            EXPECT_THAT(result.err, HasSubstr("THE SERVER IS NOT VERIFIED"));
        }
    }
    const TlsSimulator fine;
    EXPECT_THAT(fine.run({"whoami", "--tls-verify", "off", "--json"}).err,
                HasSubstr("{\"warning\":{\"message\":\"--tls-verify off"));
    EXPECT_EQ(fine.run({"whoami", "--tls-verify", "on", "--cacert", fine.ca()}).err, "");
}

TEST(TlsSession, AServerOfPlainLdapIsNamed) {
    const Simulator plain;
    const std::string uri = "ldaps" + plain.uri().substr(4);
    const Result result = runTls({"whoami", "-H", uri, "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(text(result.error(), "reason"), HasSubstr(uri));
    EXPECT_THAT(text(result.error(), "hint"), HasSubstr("-H ldap://HOST:PORT with -ZZ"));
}

TEST(TlsSession, AServerThatDoesNotRunIsNamed) {
    const Result result = runTls({"whoami", "-H", "ldaps://127.0.0.1:1", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["operation"], "connect");
    EXPECT_EQ(result.error()["code"], -1);
    EXPECT_EQ(result.error()["reason"], "no connection to ldaps://127.0.0.1:1");
}

/** Runs the tool against a server that is silent, and says how long that took. */
std::chrono::seconds runSilent(const Arguments &arguments, const char *operation) {
    const auto begin = std::chrono::steady_clock::now();
    Arguments all = {"whoami", "--timeout", "1", "--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const Result result = runTls(all);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["operation"], operation);
    EXPECT_THAT(text(result.error(), "reason"),
                AllOf(HasSubstr("no TLS handshake with "), HasSubstr("within 1 second")));
    EXPECT_THAT(text(result.error(), "hint"), HasSubstr("--timeout"));
    using std::chrono::duration_cast;
    return duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
}

TEST(TlsSession, AHandshakeWithASilentServerEnds) {
    const SilentServer server;
    EXPECT_LT(runSilent({"-H", "ldaps://127.0.0.1:" + server.port()}, "connect").count(), 20);
}

TEST(TlsSession, AHandshakeThatStopsHalfwayEnds) {
    // The beginning of a record that would be 16 KiB long.
    const SilentServer server(std::string("\x16\x03\x03\x40\x00\x02", 6));
    EXPECT_LT(runSilent({"-H", "ldaps://127.0.0.1:" + server.port()}, "connect").count(), 20);
}

TEST(TlsSession, AHandshakeAfterStartTlsEnds) {
    const std::string started("\x30\x0c\x02\x01\x01\x78\x07\x0a\x01\x00\x04\x00\x04\x00", 14);
    const SilentServer server(started);
    EXPECT_LT(runSilent({"-H", "ldap://127.0.0.1:" + server.port(), "-ZZ"}, "StartTLS").count(),
              20);
}

/** Asks a server that says no more than this, for a second. */
Result askInVain(const std::string &greeting, bool startsTls) {
    const SilentServer server(greeting);
    Arguments all = {"whoami",    "-H", "ldap://127.0.0.1:" + server.port(),
                     "--timeout", "1",  "--json"};
    if (startsTls)
        all.emplace_back("-ZZ");
    return runTls(all);
}

/** The error of a tool that has given up after its second. */
Json givenUp(const Result &result) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    Json error = result.error();
    EXPECT_THAT(text(error, "reason"), HasSubstr("within 1 second"));
    return error;
}

// An answer to StartTLS, and one to a bind: libldap waits for the rest of a message that has begun.
TEST(TlsSession, HalfAnAnswerIsNone) {
    const std::string started("\x30\x0c\x02\x01\x01\x78\x07\x0a\x01\x00\x04\x00\x04\x00", 14);
    std::string bound = started;
    bound[5] = '\x61';
    std::vector<std::future<Result>> results;
    for (std::size_t size = 1; size < started.size(); ++size)
        for (const std::string &answer : {started, bound})
            results.push_back(std::async(std::launch::async, askInVain, answer.substr(0, size),
                                         answer == started));
    for (std::size_t i = 0; i < results.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(givenUp(results[i].get())["code"], -5);
    }
}

int portOf(const TlsSimulator &server) {
    const std::string address = server.at("localhost");
    return std::stoi(address.substr(address.find(':') + 1));
}

Result askThrough(const TlsRelay &relay, const TlsSimulator &server) {
    return runTls(
        {"whoami", "-H", relay.uri(), "--cacert", server.ca(), "--timeout", "1", "--json"});
}

// Within the handshake, between two answers, or within the record of one. Signatures are not always
// of the same length: the cuts are some bytes away from what they mean.
TEST(TlsSession, EndsWhereverTheServerFallsSilent) {
    const TlsSimulator server, unanswering({"--fault", "get-bind-dn=delay:20000"});
    TlsRelay measured(portOf(unanswering));
    EXPECT_EQ(askThrough(measured, unanswering).error()["code"], -5);
    const std::size_t untilTheAnswer = measured.passed();
    ASSERT_GT(untilTheAnswer, 500U);
    std::vector<std::size_t> cuts = {untilTheAnswer + 12, untilTheAnswer + 28};
    for (std::size_t eighth = 0; eighth < 8; ++eighth)
        cuts.push_back(untilTheAnswer * eighth / 8);
    const auto isSilentFrom = [&](std::size_t cut) {
        TlsRelay relay(portOf(server));
        relay.passOnly(cut, TlsRelay::Then::hold);
        return askThrough(relay, server);
    };
    std::vector<std::future<Result>> results;
    for (const std::size_t cut : cuts)
        results.push_back(std::async(std::launch::async, isSilentFrom, cut));
    for (std::size_t i = 0; i < cuts.size(); ++i) {
        SCOPED_TRACE(cuts[i]);
        const Json error = givenUp(results[i].get());
        if (cuts[i] >= untilTheAnswer) {
            EXPECT_EQ(error["code"], -5);
        }
    }
}

TEST(TlsSession, AServerThatGivesUpTheHandshakeIsNamed) {
    const Flaw faults[] = {{"closed", "ended the connection during the TLS handshake", "-ZZ"},
                           {"garbage", "answers, but not with TLS", "-ZZ"},
                           {"silent", "no TLS handshake with ", "--timeout"}};
    for (const Flaw &fault : faults) {
        SCOPED_TRACE(fault.name);
        const TlsSimulator server({"--fault", std::string("tls-handshake=") + fault.name});
        const Result result = server.run(
            {"whoami", "--tls-verify", "on", "--cacert", server.ca(), "--timeout", "2", "--json"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.error()["code"], -1);
        EXPECT_THAT(text(result.error(), "reason"), HasSubstr(fault.reason));
        EXPECT_THAT(text(result.error(), "hint"), HasSubstr(fault.hint));
    }
}

TEST(TlsSession, ABindThatIsNotAnsweredIsNoFaultOfTheHandshake) {
    const TlsSimulator server({"--fault", "digest-md5-challenge=delay:20000"});
    const Result result = server.run({"whoami", "-Y", "DIGEST-MD5", "-U", "ada.brandt", "-w", "a",
                                      "--cacert", server.ca(), "--timeout", "1", "--json"});
    EXPECT_EQ(result.error()["operation"], "bind");
    EXPECT_EQ(result.error()["code"], -5);
    EXPECT_THAT(text(result.error(), "reason"), HasSubstr("no answer from "));
}

TEST(TlsSession, ALongAnswerAfterTheHandshakeIsNotCutOff) {
    const TlsSimulator server({"--fault", "get-bind-dn=delay:2500"});
    const Result result = server.run({"whoami", "--cacert", server.ca(), "--timeout", "10"});
    EXPECT_EQ(result.status, 0) << result.err;
    // The handshake's time is over then, but not that of the answer.
    const Result late = server.run({"whoami", "--cacert", server.ca(), "--timeout", "2", "--json"});
    EXPECT_EQ(late.error()["code"], -5);
}

struct Mistake {
    Arguments options;
    const char *reason;
    const char *hint;
};

TEST(TlsUsage, MistakesAreNamedAndNothingIsSent) {
    const std::string ca = files().path("ca.pem");
    const std::string plain = "ldap://127.0.0.1:1", tls = "ldaps://127.0.0.1:1";
    const std::vector<Mistake> mistakes = {
        {{"-H", plain, "--cacert", ca}, "--cacert is for encrypted", "ldaps://HOST:PORT, or -ZZ"},
        {{"-H", plain, "--tls-verify", "on"}, "--tls-verify is for", "ldaps://"},
        {{"-H", plain, "--p12", ca}, "--p12 is for encrypted", "ldaps://"},
        {{"-H", tls, "--tls-verify", "maybe"}, "--tls-verify maybe", "on, or off"},
        {{"-H", tls, "--p12", ca, "--cert", ca}, "excludes --cert and --key", "--p12 FILE"},
        {{"-H", tls, "--key", ca}, "--key needs the certificate", "--cert FILE"},
        {{"-H", tls, "--key-password-file", ca}, "the password of a key", "--cert FILE"},
        {{"-H", tls, "-ZZ"}, "ldaps:// is encrypted from the start", "leave out -Z"},
        {{"-H", plain, "-ZZ", "--p12", ca}, "--p12 does not go with -Z", "openssl pkcs12"},
        {{"-H", tls, "-Y", "EXTERNAL", "-W"}, "-W does not go with -Y EXTERNAL", "--cert"},
        {{"-H", tls, "-Y", "EXTERNAL", "-U", "ada"}, "-U does not go", "--cert"},
        {{"-H", tls, "-Y", "EXTERNAL", "-D", "cn=a"}, "-D does not go", "--cert"},
    };
    for (const Mistake &mistake : mistakes) {
        SCOPED_TRACE(mistake.reason);
        Arguments arguments = {"whoami", "--json"};
        arguments.insert(arguments.end(), mistake.options.begin(), mistake.options.end());
        const Result result = runTls(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.error()["operation"], "command line");
        EXPECT_THAT(text(result.error(), "reason"), HasSubstr(mistake.reason));
        EXPECT_THAT(text(result.error(), "hint"), HasSubstr(mistake.hint));
    }
}

TEST(TlsUsage, TrustFilesThatCannotBeUsedAreNamed) {
    const Mistake mistakes[] = {
        {{"/nonexistent"}, "cannot read the file: No such file", "check the file's name"},
        {{files().path("")}, "cannot read the file: Is a directory", "check the file's name"},
        {{files().path("empty")}, "the file is empty", "check the file's name"},
        {{files().path("none")}, "there is no certificate in the file", "PEM"},
        {{files().path("ca.key")}, "there is PEM in the file, but no certificate", "CERTIFICATE"},
        {{files().path("damaged.pem")}, "certificate 1 is damaged", "again"},
    };
    for (const Mistake &mistake : mistakes)
        for (const Arguments &how :
             {Arguments{"-H", "ldaps://127.0.0.1:1"}, Arguments{"-H", "ldap://127.0.0.1:1"}}) {
            Arguments arguments = {"whoami", "--json", "--cacert", mistake.options[0]};
            arguments.insert(arguments.end(), how.begin(), how.end());
            if (how[1].starts_with("ldap:"))
                arguments.emplace_back("-ZZ");
            const Result result = runTls(arguments);
            EXPECT_EQ(result.status, 2);
            EXPECT_THAT(
                text(result.error(), "reason"),
                AllOf(HasSubstr("--cacert " + mistake.options[0]), HasSubstr(mistake.reason)));
            EXPECT_THAT(text(result.error(), "hint"), HasSubstr(mistake.hint));
        }
}

} // namespace
} // namespace test
