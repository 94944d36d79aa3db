// Client certificates with OpenLDAP's server, which demands one, and binds by SASL EXTERNAL.
#include "directory.h"
#include "proxied_authorization.h"
#include "support/case_name.h"
#include "tls_client.h"
#include "tls_slapd.h"

#include <qldapx/tls.h>

namespace test {
namespace {

constexpr char password[] = "peer-secret";

using Setter = int (*)(const void *source, int type, const char *password);

int fromFile(Setter set, const char *name, int type, const char *secret = nullptr) {
    return set(tlsFile(name).c_str(), type, secret);
}

int fromBuffer(Setter set, const char *name, int type, const char *secret = nullptr) {
    std::string bytes = tlsBytes(name);
    berval buffer{bytes.size(), bytes.data()};
    return set(&buffer, type, secret);
}

int usualCertificate() {
    return fromFile(ldapssl_set_client_cert, "client.pem", QLDAPX_TLS_FILE_PEM);
}

int usualKey() {
    return fromFile(ldapssl_set_client_private_key, "client.key", QLDAPX_TLS_FILE_PEM);
}

struct Source {
    const char *name;
    int (*setCertificate)();
    int (*setKey)();
};

const Source sources[] = {
    {"FilePem", usualCertificate, usualKey},
    {"FileDer", [] { return fromFile(ldapssl_set_client_cert, "client.der", QLDAPX_TLS_FILE_DER); },
     usualKey},
    {"BufferPem",
     [] { return fromBuffer(ldapssl_set_client_cert, "client.pem", QLDAPX_TLS_BUFFER_PEM); },
     [] {
         return fromBuffer(ldapssl_set_client_private_key, "client.key", QLDAPX_TLS_BUFFER_PEM);
     }},
    {"BufferDer",
     [] { return fromBuffer(ldapssl_set_client_cert, "client.der", QLDAPX_TLS_BUFFER_DER); },
     usualKey},
    {"FilePkcs12",
     [] {
         return fromFile(ldapssl_set_client_cert, "client.p12", QLDAPX_TLS_FILE_PKCS12, password);
     },
     [] {
         return fromFile(ldapssl_set_client_private_key, "client.p12", QLDAPX_TLS_FILE_PKCS12,
                         password);
     }},
    {"BufferPkcs12",
     [] {
         return fromBuffer(ldapssl_set_client_cert, "client.p12", QLDAPX_TLS_BUFFER_PKCS12,
                           password);
     },
     [] {
         return fromBuffer(ldapssl_set_client_private_key, "client.p12", QLDAPX_TLS_BUFFER_PKCS12,
                           password);
     }},
    {"EncryptedKey", usualCertificate,
     [] {
         return fromFile(ldapssl_set_client_private_key, "client-encrypted.key",
                         QLDAPX_TLS_FILE_PEM, password);
     }},
};

// RFC 4422, appendix A: the empty response asks for the identity that the certificate gives.
int bindExternally(LDAP *ld) {
    char nobody[] = "";
    berval response{0, nobody};
    return ldap_sasl_bind_s(ld, nullptr, "EXTERNAL", &response, nullptr, nullptr, nullptr);
}

class TlsClientCertificate : public WithTls {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<TlsSlapd>("good", "TLSVerifyClient demand\n"
                                                    "authz-regexp \"cn=client,o=peer tests\" "
                                                    "\"cn=Ada,ou=people,dc=example,dc=com\"\n");
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
    }

    // TLS 1.3 lets a client begin before the server has seen its certificate, so that the refusal
    // may come as an answer.
    static void expectServerRefuses() {
        std::size_t before = server->logWhenIdle().size();
        EXPECT_EQ(attempt(server->tlsUri()).result, LDAP_SERVER_DOWN);
        EXPECT_EQ(server->logWhenIdle().find("BIND", before), std::string::npos);
    }

    static void expectIsAda() {
        SessionPtr session = newSession(server->tlsUri());
        EXPECT_EQ(bindExternally(session.get()), LDAP_SUCCESS) << diagnosticOf(session.get());
        EXPECT_EQ(identityWith(session.get(), nullptr), "dn:cn=ada,ou=people,dc=example,dc=com");
    }

    static inline std::unique_ptr<TlsSlapd> server;
};

class TlsClientSources : public TlsClientCertificate, public testing::WithParamInterface<Source> {};

TEST_P(TlsClientSources, SayWhoTheClientIs) {
    ASSERT_EQ(GetParam().setCertificate(), 0);
    ASSERT_EQ(GetParam().setKey(), 0);
    for (int i = 0; i < 2; ++i)
        expectIsAda();
    expectConnects(server->tlsUri("127.0.0.1"));
}

INSTANTIATE_TEST_SUITE_P(Sources, TlsClientSources, testing::ValuesIn(sources),
                         qldapx_test::caseName<Source>);

TEST_F(TlsClientCertificate, Missing) {
    expectServerRefuses();
}

TEST_F(TlsClientCertificate, OfAnUnknownAuthority) {
    ASSERT_EQ(fromFile(ldapssl_set_client_cert, "other-client.pem", QLDAPX_TLS_FILE_PEM), 0);
    ASSERT_EQ(fromFile(ldapssl_set_client_private_key, "other-client.key", QLDAPX_TLS_FILE_PEM), 0);
    expectServerRefuses();
}

TEST_F(TlsClientCertificate, WithoutItsKey) {
    ASSERT_EQ(usualCertificate(), 0);
    expectServerRefuses();
}

// A key that does not open or does not belong there leaves the client without one.
TEST_F(TlsClientCertificate, KeyThatIsRefused) {
    ASSERT_EQ(usualCertificate(), 0);
    EXPECT_EQ(fromFile(ldapssl_set_client_private_key, "other-client.key", QLDAPX_TLS_FILE_PEM), 1);
    EXPECT_EQ(fromFile(ldapssl_set_client_private_key, "client-encrypted.key", QLDAPX_TLS_FILE_PEM,
                       "wrong"),
              1);
    EXPECT_EQ(
        fromFile(ldapssl_set_client_private_key, "client.p12", QLDAPX_TLS_FILE_PKCS12, "wrong"), 1);
    expectServerRefuses();
    ASSERT_EQ(usualKey(), 0);
    expectIsAda();
}

TEST_F(TlsClientCertificate, NewContextHasNone) {
    ASSERT_EQ(usualCertificate(), 0);
    ASSERT_EQ(usualKey(), 0);
    expectIsAda();
    ASSERT_EQ(ldapssl_client_init(tlsFile("ca.pem").c_str()), 0);
    expectServerRefuses();
}

// The server that asks for a certificate, but takes clients without one, knows nobody then.
TEST_F(TlsClientCertificate, ExternalWithoutACertificate) {
    TlsSlapd asking("good", "TLSVerifyClient try\n");
    SessionPtr session = newSession(asking.tlsUri());
    berval nothing{0, nullptr};
    EXPECT_NE(
        ldap_sasl_bind_s(session.get(), nullptr, "EXTERNAL", &nothing, nullptr, nullptr, nullptr),
        LDAP_SUCCESS);
    EXPECT_EQ(identityWith(session.get(), nullptr), "");
}

} // namespace
} // namespace test
