// The application's callback: what it is asked about, what it can find out, and what its verdict
// does.
#include "openssl_server.h"
#include "support/case_name.h"
#include "tls_client.h"

#include <algorithm>
#include <cstring>
#include <openssl/x509.h>
#include <qldapx/tls.h>

namespace test {
namespace {

// The callback has nothing but the certificate: what it is to accept, and what it was asked.
std::vector<int> acceptable;
std::vector<Question> asked;

std::string textOf(X509_STORE_CTX *certificate, int attribute) {
    int length = 0;
    EXPECT_EQ(ldapssl_get_cert_attribute(certificate, attribute, nullptr, &length), 0);
    std::string text(static_cast<std::size_t>(length) + 1, 'x');
    int size = length + 1;
    EXPECT_EQ(ldapssl_get_cert_attribute(certificate, attribute, text.data(), &size), 0);
    EXPECT_EQ(size, length);
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
}

int errorOf(X509_STORE_CTX *certificate) {
    int32_t error = -1;
    int length = sizeof error;
    EXPECT_EQ(
        ldapssl_get_cert_attribute(certificate, QLDAPX_TLS_CERT_VERIFY_ERROR, &error, &length), 0);
    return error;
}

int decide(X509_STORE_CTX *certificate) {
    int error = errorOf(certificate);
    asked.push_back({error, X509_STORE_CTX_get_error_depth(certificate),
                     textOf(certificate, QLDAPX_TLS_CERT_SUBJECT)});
    return std::count(acceptable.begin(), acceptable.end(), error) == 0;
}

// A server, what the callback accepts, what it must be asked then, and why the server is refused
// after all.
struct Case {
    const char *name;
    const char *certificate;
    const char *chain;
    std::vector<int> accepted;
    std::vector<Question> questions;
    const char *reason = nullptr;
};

const Case cases[] = {
    {"Good", "good", nullptr, {}, {}},
    {"Expired", "expired", nullptr, {10}, {{10, 0, "/O=Peer tests/CN=expired"}}},
    {"ExpiredRefused",
     "expired",
     nullptr,
     {},
     {{10, 0, "/O=Peer tests/CN=expired"}},
     "(certificate has expired)"},
    {"NotYetValid", "future", nullptr, {9}, {{9, 0, "/O=Peer tests/CN=future"}}},
    {"SelfSigned", "self-signed", nullptr, {18}, {{18, 0, "/O=Peer tests/CN=self-signed"}}},
    {"UnknownRoot", "by-other", "other-ca.pem", {19}, {{19, 1, "/O=Peer tests/CN=Other CA"}}},
    {"UnknownRootRefused",
     "by-other",
     "other-ca.pem",
     {10, 18, 20},
     {{19, 1, "/O=Peer tests/CN=Other CA"}},
     "(self-signed certificate in certificate chain)"},
    {"UnknownIssuer",
     "by-other",
     nullptr,
     {20, 21},
     {{20, 0, "/O=Peer tests/CN=by-other"}, {21, 0, "/O=Peer tests/CN=by-other"}}},
    {"UnknownIssuerHalfAccepted",
     "by-other",
     nullptr,
     {20},
     {{20, 0, "/O=Peer tests/CN=by-other"}, {21, 0, "/O=Peer tests/CN=by-other"}},
     "(unable to verify the first certificate)"},
    {"WrongName", "wrong-name", nullptr, {62}, {{62, 0, "/O=Peer tests/CN=wrong-name"}}},
    {"WrongNameRefused",
     "wrong-name",
     nullptr,
     {},
     {{62, 0, "/O=Peer tests/CN=wrong-name"}},
     "(hostname mismatch)"},
    {"TwoFaults",
     "expired-wrong-name",
     nullptr,
     {10, 62},
     {{62, 0, "/O=Peer tests/CN=expired-wrong-name"},
      {10, 0, "/O=Peer tests/CN=expired-wrong-name"}}},
    {"FirstOfTwoFaults",
     "expired-wrong-name",
     nullptr,
     {62},
     {{62, 0, "/O=Peer tests/CN=expired-wrong-name"},
      {10, 0, "/O=Peer tests/CN=expired-wrong-name"}},
     "(certificate has expired)"},
    {"SecondOfTwoFaults",
     "expired-wrong-name",
     nullptr,
     {10},
     {{62, 0, "/O=Peer tests/CN=expired-wrong-name"}},
     "(hostname mismatch)"},
};

class TlsCallback : public WithTls {
  protected:
    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
        asked.clear();
        acceptable.clear();
        ASSERT_EQ(ldapssl_set_verify_callback(decide), 0);
    }

    // Connects without that anybody answers.
    static TlsAttempt connectTo(const OpenSslServer &server) {
        SessionPtr session = newSession(server.uri());
        int result = ldap_connect(session.get());
        return {result, diagnosticOf(session.get())};
    }
};

class TlsCallbackCases : public TlsCallback, public testing::WithParamInterface<Case> {};

TEST_P(TlsCallbackCases, IsAskedAndDecides) {
    const Case &row = GetParam();
    acceptable = row.accepted;
    OpenSslServer server(row.certificate,
                         row.chain != nullptr
                             ? OpenSslServer::Arguments{"-cert_chain", tlsFile(row.chain)}
                             : OpenSslServer::Arguments{});
    TlsAttempt given = connectTo(server);
    if (row.reason != nullptr)
        expectRefused(given, row.reason);
    else
        EXPECT_EQ(given.result, LDAP_SUCCESS) << given.diagnostic;
    EXPECT_EQ(asked, row.questions);
}

INSTANTIATE_TEST_SUITE_P(Servers, TlsCallbackCases, testing::ValuesIn(cases),
                         qldapx_test::caseName<Case>);

// A session that was accepted in spite of a fault is not taken for one that verified.
TEST_F(TlsCallback, IsAskedAgainEachTime) {
    acceptable = {10};
    OpenSslServer server("expired");
    for (std::size_t i = 1; i <= 3; ++i) {
        EXPECT_EQ(connectTo(server).result, LDAP_SUCCESS);
        EXPECT_EQ(asked.size(), i);
    }
    acceptable.clear();
    expectRefused(connectTo(server), "(certificate has expired)");
}

TEST_F(TlsCallback, IsNotAskedOnceItIsTakenAway) {
    acceptable = {10};
    OpenSslServer server("expired");
    ASSERT_EQ(ldapssl_set_verify_callback(nullptr), 0);
    expectRefused(connectTo(server), "(certificate has expired)");
    ASSERT_EQ(ldapssl_set_verify_callback(decide), 0);
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_PEER), 0);
    expectRefused(connectTo(server), "(certificate has expired)");
    EXPECT_TRUE(asked.empty());
}

std::string given;

int keepCertificate(X509_STORE_CTX *certificate) {
    berval output{0, nullptr};
    EXPECT_EQ(ldapssl_get_cert(certificate, QLDAPX_TLS_CERT_DER, &output), 0);
    given.resize(output.bv_len);
    output.bv_val = given.data();
    EXPECT_EQ(ldapssl_get_cert(certificate, QLDAPX_TLS_CERT_DER, &output), 0);
    EXPECT_EQ(output.bv_len, given.size());
    EXPECT_EQ(textOf(certificate, QLDAPX_TLS_CERT_ISSUER), "/O=Peer tests/CN=Peer CA");
    LdapSslValidity validity{};
    int length = sizeof validity;
    EXPECT_EQ(ldapssl_get_cert_attribute(certificate, QLDAPX_TLS_CERT_VALIDITY, &validity, &length),
              0);
    EXPECT_STREQ(validity.notBefore, "200101000000Z");
    EXPECT_EQ(validity.notBeforeKind, QLDAPX_TLS_UTC_TIME);
    EXPECT_STREQ(validity.notAfter, "210101000000Z");
    return 1;
}

TEST_F(TlsCallback, SeesTheCertificateThatTheServerSent) {
    given.clear();
    ASSERT_EQ(ldapssl_set_verify_callback(keepCertificate), 0);
    OpenSslServer server("expired");
    expectRefused(connectTo(server), "(certificate has expired)");
    EXPECT_TRUE(given == tlsBytes("expired.der"));
}

} // namespace
} // namespace test
