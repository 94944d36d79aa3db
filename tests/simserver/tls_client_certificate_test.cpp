#include "digest.h"
#include "tls_client.h"
#include "tls_server.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

const std::string kWhoAmI = wire::extended("1.3.6.1.4.1.4203.1.11.3");
constexpr const char *kAdaIs = "dn:cn=Ada Brandt,ou=people,dc=example,dc=com";

std::string external() {
    const std::string empty;
    return digest_client::request("EXTERNAL", &empty);
}

class TlsClientCertificate : public testing::Test {
  protected:
    TestFile ada_{"ada.pem"};
    TlsServer server_{{"--tls-client-file", ada_.path()}};
};

TEST_F(TlsClientCertificate, IsForNobodyElseToReadAndOfTheCa) {
    struct stat found {};
    ASSERT_EQ(stat(ada_.path().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
    EXPECT_TRUE(contains(ada_.read(), "BEGIN CERTIFICATE"));
    EXPECT_TRUE(contains(ada_.read(), "BEGIN PRIVATE KEY"));
    const auto verified = runCommand(
        {"openssl", "verify", "-purpose", "sslclient", "-CAfile", server_.ca(), ada_.path()});
    EXPECT_EQ(verified.code, 0) << verified.output;
    EXPECT_EQ(runCommand({"openssl", "x509", "-noout", "-subject", "-in", ada_.path()}).output,
              "subject=DC = com, DC = example, OU = people, CN = Ada Brandt\n");
}

TEST_F(TlsClientCertificate, TakesThePlaceOfAFileThatAllMayRead) {
    std::ofstream(ada_.path()) << "old";
    chmod(ada_.path().c_str(), 0666);
    const SimProgram another({"--tls", "auto", "--tls-client-file", ada_.path()});
    struct stat found {};
    ASSERT_EQ(stat(ada_.path().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0600U);
    EXPECT_TRUE(ada_.read().starts_with("-----BEGIN CERTIFICATE"));
}

TEST_F(TlsClientCertificate, BindsAsItsSubject) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        TlsClient client(server_.port(),
                         {.ca = server_.ca(), .identity = ada_.path(), .version = version});
        EXPECT_EQ(wire::parse(client.ask(kWhoAmI)).value, "") << "not before the bind";
        EXPECT_EQ(wire::parse(client.ask(external())).code, 0);
        EXPECT_EQ(wire::parse(client.ask(kWhoAmI)).value, kAdaIs);
    }
}

TEST_F(TlsClientCertificate, IsThatOfAResumedSessionToo) {
    for (const bool tickets : {true, false}) {
        TlsClient::Session session;
        for (int i = 0; i < 3; ++i) {
            TlsClient client(server_.port(), {.identity = ada_.path(),
                                              .version = tickets ? 0 : TLS1_2_VERSION,
                                              .session = session,
                                              .tickets = tickets});
            EXPECT_EQ(wire::parse(client.ask(external())).code, 0);
            EXPECT_EQ(wire::parse(client.ask(kWhoAmI)).value, kAdaIs);
            EXPECT_EQ(client.resumed(), i > 0);
            session = client.session();
            client.finishSending();
            client.readAll();
        }
    }
}

TEST_F(TlsClientCertificate, IsNotNeeded) {
    TlsClient client(server_.port());
    EXPECT_EQ(wire::parse(client.ask(external())).code, 48);
    EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
}

TEST_F(TlsClientCertificate, OfAnotherCaIsRefused) {
    const TestFile other("other.pem");
    const SimProgram second({"--tls", "auto", "--tls-client-file", other.path()});
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        TlsClient client(server_.port(), {.identity = other.path(), .version = version});
        client.send(wire::message(1, kAnonymousBind)); // with TLS 1.3 it takes itself for connected
        EXPECT_EQ(client.readAll(), "");
        EXPECT_TRUE(contains(client.problem(), "unknown ca") ||
                    contains(client.problem(), "decrypt error"))
            << client.problem();
    }
    EXPECT_EQ(TlsClient(server_.port()).ask(kAnonymousBind), kBoundAnonymously);
}

TEST_F(TlsClientCertificate, OfAServerIsRefused) {
    const TestFile own("server.pem");
    const TestFile key("server.pem.key");
    const auto made =
        runCommand({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                    "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=x", "-addext",
                    "extendedKeyUsage=serverAuth", "-keyout", key.path(), "-out", own.path()});
    ASSERT_EQ(made.code, 0) << made.output;
    const TestFile both("both.pem", own.read() + key.read());
    const SimProgram server({"--tls", both.path(), "--tls-client-ca", own.path()});
    TlsClient client(server.port(), {.identity = both.path()});
    client.send(wire::message(1, kAnonymousBind));
    EXPECT_EQ(client.readAll(), "");
    EXPECT_TRUE(contains(client.problem(), "unsupported certificate")) << client.problem();
}

TEST_F(TlsClientCertificate, OfABundleIsVerified) {
    const SimProgram server({"--tls", "auto", "--tls-client-ca", server_.ca()});
    TlsClient client(server.port(), {.identity = ada_.path()});
    EXPECT_EQ(wire::parse(client.ask(external())).code, 0) << client.problem();
    const auto seen = runCommand(
        {"openssl", "s_client", "-connect", "127.0.0.1:" + std::to_string(server.port())});
    EXPECT_TRUE(contains(seen.output, "Acceptable client certificate CA names\n"
                                      "CN = strata-sim CA\n"))
        << seen.output;
}

TEST_F(TlsClientCertificate, OfBothCasIsGood) {
    const TestFile bruno("second.pem");
    const SimProgram both(
        {"--tls", "auto", "--tls-client-ca", server_.ca(), "--tls-client-file", bruno.path()});
    for (const std::string &identity : {ada_.path(), bruno.path()}) {
        TlsClient client(both.port(), {.identity = identity});
        EXPECT_EQ(wire::parse(client.ask(external())).code, 0) << client.problem();
    }
}

TEST_F(TlsClientCertificate, MayBeRequired) {
    const TestFile ada("required.pem");
    const SimProgram server(
        {"--tls", "auto", "--tls-client-file", ada.path(), "--tls-require-client-cert"});
    TlsClient without(server.port());
    without.send(wire::message(1, kAnonymousBind));
    EXPECT_EQ(without.readAll(), "");
    EXPECT_TRUE(contains(without.problem(), "certificate required")) << without.problem();
    TlsClient with(server.port(), {.identity = ada.path()});
    EXPECT_EQ(with.ask(kAnonymousBind), kBoundAnonymously) << with.problem();
}

TEST_F(TlsClientCertificate, OpenLdapsClientBindsWithIt) {
    const auto who =
        runCommand({"env", "LDAPTLS_CACERT=" + server_.ca(), "LDAPTLS_CERT=" + ada_.path(),
                    "LDAPTLS_KEY=" + ada_.path(), "ldapwhoami", "-Q", "-Y", "EXTERNAL", "-H",
                    "ldaps://localhost:" + std::to_string(server_.port())});
    EXPECT_EQ(who.output, std::string(kAdaIs) + "\n");
    EXPECT_EQ(who.code, 0);
}

} // namespace
