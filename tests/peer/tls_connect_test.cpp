// The ways to connect: addresses, and lists of them.
#include "directory.h"
#include "openssl_server.h"
#include "persistent_search.h"
#include "session_check.h"
#include "support/expected_leak.h"
#include "tls_client.h"
#include "tls_relay.h"
#include "tls_slapd.h"

#include <qldapx/tls.h>

namespace test {
namespace {

constexpr char ada[] = "cn=Ada,ou=people,dc=example,dc=com";

class TlsConnect : public WithTls {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<TlsSlapd>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
    }

    static SessionPtr sessionWith(const char *host, int port, int secure = 1) {
        qldapx_test::ExpectedLeak url;
        SessionPtr session(ldapssl_init(host, port, secure));
        int version = LDAP_VERSION3;
        ldap_set_option(session.get(), LDAP_OPT_PROTOCOL_VERSION, &version);
        return session;
    }

    static inline std::unique_ptr<TlsSlapd> server;
};

TEST_F(TlsConnect, SessionsOfTheLibrary) {
    for (const char *host : {"localhost", "127.0.0.1"}) {
        SessionPtr session = sessionWith(host, server->port());
        ASSERT_NE(session, nullptr) << host;
        EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << host;
        EXPECT_EQ(uriOf(session.get()), server->tlsUri(host));
        expectSearchWorks(session.get(), ada);
    }
}

TEST_F(TlsConnect, SessionByAnIpv6Address) {
    if (server->tlsUri6().empty())
        return; // the system has no IPv6
    const std::string uri = server->tlsUri6();
    SessionPtr session = sessionWith("::1", std::stoi(uri.substr(uri.rfind(':') + 1)));
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << diagnosticOf(session.get());
    EXPECT_EQ(uriOf(session.get()), uri);
}

TEST_F(TlsConnect, DefaultPorts) {
    EXPECT_EQ(uriOf(sessionWith("localhost", 0).get()), "ldaps://localhost:636");
    EXPECT_EQ(uriOf(sessionWith("localhost", 0, 0).get()), "ldap://localhost:389");
    EXPECT_EQ(uriOf(sessionWith("localhost", 636).get()), "ldaps://localhost:636");
}

TEST_F(TlsConnect, AddressesThatAreNone) {
    for (int port : {-1, 65536, 1 << 30})
        EXPECT_EQ(ldapssl_init("localhost", port, 1), nullptr) << port;
}

TEST_F(TlsConnect, SessionWithoutTls) {
    SlapdServer plain(SlapdServer::Transport::tcp);
    const std::string port = plain.uri().substr(plain.uri().rfind(':') + 1);
    SessionPtr session = sessionWith("localhost", std::stoi(port), 0);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    EXPECT_EQ(uriOf(session.get()), "ldap://localhost:" + port);
}

TEST_F(TlsConnect, ServerThatIsNotThere) {
    OpenSslServer gone("good");
    const std::string uri = gone.uri();
    static_cast<void>(gone.end());
    EXPECT_EQ(attempt(uri).result, LDAP_SERVER_DOWN);
}

// The list is the session's as it was given.
TEST_F(TlsConnect, ListsOfServers) {
    OpenSslServer gone("good"), refused("self-signed");
    static_cast<void>(gone.end());
    const std::string good = server->tlsUri();
    for (const std::string &uris : {
             good,
             gone.uri() + " " + good,
             refused.uri() + " " + good,
             gone.uri() + " " + refused.uri() + " " + good,
             good + " " + gone.uri(),
         }) {
        SessionPtr session = newSession(uris);
        EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << uris;
        EXPECT_EQ(uriOf(session.get()), uris);
        expectSearchWorks(session.get(), ada);
    }
    EXPECT_EQ(refused.end(), "");
}

TEST_F(TlsConnect, ListOfServersThatAllRefuse) {
    OpenSslServer first("self-signed"), second("expired");
    const std::string uris = first.uri() + " " + second.uri();
    SessionPtr session = newSession(uris);
    for (int i = 0; i < 2; ++i) {
        expectRefused(attempt(session.get()), "(certificate has expired)");
        EXPECT_EQ(uriOf(session.get()), uris);
    }
    EXPECT_EQ(first.end() + second.end(), "");
}

// The refusal is the connection's, not the session's.
TEST_F(TlsConnect, SessionThatWasRefusedConnectsOnceItMay) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    std::size_t descriptors = openDescriptors();
    SessionPtr session = newSession(server->tlsUri());
    for (int i = 0; i < 3; ++i)
        expectRefused(attempt(session.get()), "certificate verify failed");
    EXPECT_EQ(openDescriptors(), descriptors);
    trust("ca.pem");
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << diagnosticOf(session.get());
    expectSearchWorks(session.get(), ada);
}

// A list of both kinds: TLS is used with the ldaps server only.
TEST_F(TlsConnect, ListWithAndWithoutTls) {
    SlapdServer plain(SlapdServer::Transport::tcp);
    TlsRelay relay(server->port());
    OpenSslServer gone("good");
    static_cast<void>(gone.end());
    SessionPtr first = newSession(gone.uri() + " " + plain.uri() + " " + relay.uri());
    EXPECT_EQ(attempt(first.get()).result, LDAP_SUCCESS);
    expectOnlyTls(relay, 0);
    const std::string uris = "ldap://127.0.0.1:1 " + relay.uri();
    SessionPtr second = newSession(uris);
    EXPECT_EQ(attempt(second.get()).result, LDAP_SUCCESS);
    EXPECT_EQ(uriOf(second.get()), uris);
    second.reset();
    expectOnlyTls(relay, 1);
}

} // namespace
} // namespace test
