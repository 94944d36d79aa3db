// Whom the client trusts: the sources of trust, and the servers that are refused.
#include "directory.h"
#include "openssl_server.h"
#include "persistent_search.h"
#include "support/case_name.h"
#include "support/ldap_message.h"
#include "tls_client.h"
#include "tls_slapd.h"

#include <qldapx/tls.h>

namespace test {
namespace {

using namespace qldapx_test;

int addFile(const char *name, int type) {
    return ldapssl_add_trusted_cert(tlsFile(name).c_str(), type);
}

int addBuffer(const char *name, int type) {
    std::string bytes = tlsBytes(name);
    berval buffer{bytes.size(), bytes.data()};
    return ldapssl_add_trusted_cert(&buffer, type);
}

struct Source {
    const char *name;
    int (*trust)();
};

const Source sources[] = {
    {"FilePem", [] { return addFile("ca.pem", QLDAPX_TLS_FILE_PEM); }},
    {"FileOfTwo", [] { return addFile("both.pem", QLDAPX_TLS_FILE_PEM); }},
    {"FileDer", [] { return addFile("ca.der", QLDAPX_TLS_FILE_DER); }},
    {"BufferPem", [] { return addBuffer("ca.pem", QLDAPX_TLS_BUFFER_PEM); }},
    {"BufferDer", [] { return addBuffer("ca.der", QLDAPX_TLS_BUFFER_DER); }},
    {"Twice",
     [] {
         return addFile("ca.pem", QLDAPX_TLS_FILE_PEM) + addFile("both.pem", QLDAPX_TLS_FILE_PEM);
     }},
    {"NewContextPem", [] { return ldapssl_client_init(tlsFile("ca.pem").c_str()); }},
    {"NewContextDer", [] { return ldapssl_client_init(tlsFile("ca.der").c_str()); }},
};

class TlsTrust : public WithTls, public testing::WithParamInterface<Source> {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<TlsSlapd>(); }
    static void TearDownTestSuite() { server.reset(); }

    static inline std::unique_ptr<TlsSlapd> server;
};

TEST_P(TlsTrust, CountsForConnectionsFromThenOn) {
    std::size_t before = server->logWhenIdle().size();
    expectRefused(attempt(server->tlsUri()),
                  "certificate verify failed (self-signed certificate in certificate chain)");
    EXPECT_EQ(server->logWhenIdle().find("BIND", before), std::string::npos);
    EXPECT_EQ(GetParam().trust(), 0);
    expectConnects(server->tlsUri());
    expectConnects(server->tlsUri("127.0.0.1"));
    EXPECT_NE(server->logWhenIdle().find("BIND", before), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Sources, TlsTrust, testing::ValuesIn(sources), caseName<Source>);

// A server with this certificate, reached by this name.
struct Refusal {
    const char *name;
    const char *certificate;
    const char *chain; // what it sends with it
    const char *host;
    const char *reason;
};

const Refusal refusals[] = {
    {"Untrusted", "by-other", nullptr, "localhost", "(unable to get local issuer certificate)"},
    {"UntrustedWithItsRoot", "by-other", "other-ca.pem", "localhost",
     "(self-signed certificate in certificate chain)"},
    {"SelfSigned", "self-signed", nullptr, "localhost", "(self-signed certificate)"},
    {"Expired", "expired", nullptr, "localhost", "(certificate has expired)"},
    {"NotYetValid", "future", nullptr, "localhost", "(certificate is not yet valid)"},
    {"IntermediateMissing", "by-intermediate", nullptr, "localhost",
     "(unable to get local issuer certificate)"},
    {"WrongName", "wrong-name", nullptr, "localhost", "(hostname mismatch)"},
};

class TlsRefusal : public WithTls, public testing::WithParamInterface<Refusal> {
  protected:
    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
    }
};

OpenSslServer::Arguments chainArguments(const char *chain) {
    return chain != nullptr ? OpenSslServer::Arguments{"-cert_chain", tlsFile(chain)}
                            : OpenSslServer::Arguments{};
}

void expectRefusedBy(const Refusal &refusal, const char *version) {
    SCOPED_TRACE(version);
    OpenSslServer::Arguments arguments = chainArguments(refusal.chain);
    arguments.emplace_back(version);
    OpenSslServer server(refusal.certificate, arguments);
    expectRefused(attempt(server.uri(refusal.host)), refusal.reason);
    EXPECT_EQ(server.end(), "");
}

// The server gets nothing to read, whichever version it speaks.
TEST_P(TlsRefusal, HasAReasonAndSendsNothing) {
    for (const char *version : {"-tls1_2", "-tls1_3"})
        expectRefusedBy(GetParam(), version);
}

INSTANTIATE_TEST_SUITE_P(Servers, TlsRefusal, testing::ValuesIn(refusals), caseName<Refusal>);

// BindRequest ::= [APPLICATION 0] SEQUENCE { version, name, simple [0] }, of nobody, and its
// answer.
void expectBinds(const OpenSslServer &server, const std::string &host = "localhost") {
    const Bytes request = ldapMessage(1, fromHex("60 07 02 01 03 04 00 80 00"));
    const Bytes answer = ldapMessage(1, fromHex("61 07 0a 01 00 04 00 04 00"));
    SessionPtr session = newSession(server.uri(host));
    berval nothing{0, nullptr};
    int id = 0;
    ASSERT_EQ(ldap_sasl_bind(session.get(), "", LDAP_SASL_SIMPLE, &nothing, nullptr, nullptr, &id),
              LDAP_SUCCESS)
        << diagnosticOf(session.get());
    ASSERT_EQ(server.read(request.size()), std::string(request.begin(), request.end()));
    server.write(std::string(answer.begin(), answer.end()));
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    EXPECT_EQ(ldap_result(session.get(), id, LDAP_MSG_ALL, &patience, &message), LDAP_RES_BIND);
    ldap_msgfree(message);
    session.reset();
    // UnbindRequest ::= [APPLICATION 2] NULL
    const Bytes unbind = ldapMessage(2, fromHex("42 00"));
    EXPECT_EQ(server.read(unbind.size()), std::string(unbind.begin(), unbind.end()));
}

class TlsVersions : public WithTls, public testing::WithParamInterface<const char *> {};

TEST_P(TlsVersions, EachBothFromTheSameContext) {
    trust("ca.pem");
    OpenSslServer server("good", {GetParam()});
    expectBinds(server);
    expectBinds(server);
    EXPECT_EQ(server.end(), "");
}

INSTANTIATE_TEST_SUITE_P(Versions, TlsVersions, testing::Values("-tls1_2", "-tls1_3"),
                         [](const auto &version) {
                             return std::string(version.param).replace(0, 1, "v");
                         });

class TlsChain : public WithTls {};

TEST_F(TlsChain, IntermediateThatTheServerSends) {
    trust("ca.pem");
    OpenSslServer server("by-intermediate", {"-cert_chain", tlsFile("intermediate.pem")});
    expectBinds(server);
}

// An anchor beside its root completes the chain that the server does not send.
TEST_F(TlsChain, IntermediateThatIsTrustedToo) {
    trust("ca.pem");
    trust("intermediate.pem");
    OpenSslServer server("by-intermediate");
    expectBinds(server);
}

TEST_F(TlsChain, SelfSignedServerThatIsTrusted) {
    trust("self-signed.pem");
    OpenSslServer server("self-signed");
    expectBinds(server);
}

class TlsMode : public WithTls, public testing::WithParamInterface<Refusal> {};

// Without verification every server will do, and a new context verifies again.
TEST_P(TlsMode, WithoutVerification) {
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), 0);
    OpenSslServer server(GetParam().certificate, chainArguments(GetParam().chain));
    expectBinds(server);
    ASSERT_EQ(ldapssl_client_init(tlsFile("ca.pem").c_str()), 0);
    expectRefused(attempt(server.uri()), GetParam().reason);
    EXPECT_EQ(server.end(), "");
}

INSTANTIATE_TEST_SUITE_P(Servers, TlsMode, testing::ValuesIn(refusals), caseName<Refusal>);

TEST_F(TlsChain, VerificationThatIsSwitchedOnAgain) {
    OpenSslServer server("self-signed");
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), 0);
    expectBinds(server);
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_PEER), 0);
    expectRefused(attempt(server.uri()), "(self-signed certificate)");
    EXPECT_EQ(server.end(), "");
}

} // namespace
} // namespace test
