// Connections that libldap makes of its own accord or while the program goes on: TLS from the first
// byte, and verified.
#include "directory.h"
#include "openssl_server.h"
#include "session_check.h"
#include "tls_client.h"
#include "tls_relay.h"
#include "tls_slapd.h"

#include <csignal>
#include <qldapx/tls.h>

namespace test {
namespace {

constexpr char ada[] = "cn=Ada,ou=people,dc=example,dc=com";

class TlsReconnect : public WithTls {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<TlsSlapd>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
    }

    static inline std::unique_ptr<TlsSlapd> server;
};

// libldap with OpenSSL keeps the TLS of the connection that has ended, with which there is no other
// one: what it cannot do, it does not do without TLS either.
TEST_F(TlsReconnect, NothingIsEverSentInClear) {
    TlsRelay relay(server->port());
    SessionPtr session = newSession(relay.uri());
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    timeval patience{1, 0};
    ldap_set_option(session.get(), LDAP_OPT_TIMEOUT, &patience);
    server->restart();
    awaitEnd(session.get());
    for (int i = 0; i < 3; ++i)
        bindAnonymously(session.get());
    session.reset();
    for (const std::string &sent : relay.fromClients())
        EXPECT_TRUE(sent.empty() || isTlsOnly(sent)) << testing::PrintToString(sent.substr(0, 40));
}

using TlsCarriedReconnect = TlsReconnect;

void expectReconnects(LDAP *ld) {
    awaitEnd(ld);
    EXPECT_EQ(attempt(ld).result, LDAP_SUCCESS) << diagnosticOf(ld);
    expectSearchWorks(ld, ada);
}

TEST_F(TlsCarriedReconnect, BeginsWithTls) {
    TlsRelay relay(server->port());
    SessionPtr session = newSession(relay.uri());
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    for (std::size_t connections = 2; connections < 5; ++connections) {
        server->restart();
        expectReconnects(session.get());
        EXPECT_EQ(uriOf(session.get()), relay.uri());
        expectOnlyTls(relay, connections);
    }
}

// The server that comes back is another one.
TEST_F(TlsCarriedReconnect, VerifiesToo) {
    auto real = std::make_unique<TlsSlapd>();
    TlsRelay relay(real->port());
    SessionPtr session = newSession(relay.uri());
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    real->interrupt(SIGKILL);
    OpenSslServer impostor("self-signed", {}, real->port());
    awaitEnd(session.get());
    expectRefused(attempt(session.get()), "(self-signed certificate)");
    EXPECT_EQ(impostor.end(), "");
    for (const std::string &sent : relay.fromClients())
        EXPECT_TRUE(isTlsOnly(sent));
}

class TlsReferral : public TlsReconnect {
  protected:
    // Finds an entry of the server behind the relay, to which the session's server refers.
    static void expectIsChased(LDAP *ld, TlsRelay &relay) {
        ASSERT_EQ(simpleBind(ld, SlapdServer::adminDn, SlapdServer::adminPassword), LDAP_SUCCESS);
        const std::string target = relay.uri() + "/ou=people,dc=example,dc=com";
        ASSERT_EQ(addEntry(ld, "ou=elsewhere,dc=example,dc=com",
                           {{"objectClass", {"referral", "extensibleObject"}},
                            {"ou", {"elsewhere"}},
                            {"ref", {target}}}),
                  LDAP_SUCCESS);
        expectSearchWorks(ld, "cn=Ada,ou=elsewhere,dc=example,dc=com");
    }
};

TEST_F(TlsReferral, FromAServerWithoutTls) {
    TlsRelay relay(server->port());
    SlapdServer referring;
    SessionPtr session = newSession(referring.uri());
    expectIsChased(session.get(), relay);
    session.reset();
    expectOnlyTls(relay, 1);
}

TEST_F(TlsReferral, FromAServerWithTls) {
    TlsRelay relay(server->port());
    TlsSlapd referring;
    SessionPtr session = newSession(referring.tlsUri());
    expectIsChased(session.get(), relay);
    expectSearchWorks(session.get(), ada);
    EXPECT_EQ(uriOf(session.get()), referring.tlsUri());
    session.reset();
    expectOnlyTls(relay, 1);
}

TEST_F(TlsReferral, ToAServerThatIsRefused) {
    OpenSslServer impostor("self-signed");
    TlsSlapd referring;
    SessionPtr session = newSession(referring.tlsUri());
    ASSERT_EQ(simpleBind(session.get(), SlapdServer::adminDn, SlapdServer::adminPassword),
              LDAP_SUCCESS);
    ASSERT_EQ(addEntry(session.get(), "ou=elsewhere,dc=example,dc=com",
                       {{"objectClass", {"referral", "extensibleObject"}},
                        {"ou", {"elsewhere"}},
                        {"ref", {impostor.uri() + "/ou=people,dc=example,dc=com"}}}),
              LDAP_SUCCESS);
    LDAPMessage *found = nullptr;
    EXPECT_NE(ldap_search_ext_s(session.get(), "cn=Ada,ou=elsewhere,dc=example,dc=com",
                                LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr, nullptr, nullptr,
                                LDAP_NO_LIMIT, &found),
              LDAP_SUCCESS);
    ldap_msgfree(found);
    expectSearchWorks(session.get(), ada);
    EXPECT_EQ(impostor.end(), "");
}

class TlsAsynchronous : public TlsReconnect {
  protected:
    static SessionPtr sessionOf(const TlsRelay &relay) {
        SessionPtr session = newSession(relay.uri());
        ldap_set_option(session.get(), LDAP_OPT_CONNECT_ASYNC, LDAP_OPT_ON);
        return session;
    }

    // Binds, as soon as it is connected.
    static int bind(LDAP *ld) {
        int result = LDAP_X_CONNECTING;
        EXPECT_TRUE(eventually([&] {
            result = bindAnonymously(ld);
            return result != LDAP_X_CONNECTING;
        }));
        return result;
    }

    // Where the library does TLS and the connection does not stand at once, libldap does not ask
    // for the scheme to be put back.
    static std::string usualUri(LDAP *ld) {
        const std::string uri = uriOf(ld);
        return !libldapHasOpenSsl() && uri.front() == 'p' ? uri.substr(1) : uri;
    }
};

TEST_F(TlsAsynchronous, ConnectsWithTls) {
    TlsRelay relay(server->port());
    SessionPtr session = sessionOf(relay);
    EXPECT_EQ(bind(session.get()), LDAP_SUCCESS) << diagnosticOf(session.get());
    EXPECT_EQ(usualUri(session.get()), relay.uri());
    expectSearchWorks(session.get(), ada);
    session.reset();
    expectOnlyTls(relay, 1);
}

using TlsCarriedAsynchronous = TlsAsynchronous;

TEST_F(TlsCarriedAsynchronous, ReconnectsWithTls) {
    TlsRelay relay(server->port());
    SessionPtr session = sessionOf(relay);
    EXPECT_EQ(bind(session.get()), LDAP_SUCCESS) << diagnosticOf(session.get());
    server->restart();
    awaitEnd(session.get());
    EXPECT_EQ(bind(session.get()), LDAP_SUCCESS) << diagnosticOf(session.get());
    expectSearchWorks(session.get(), ada);
    session.reset();
    expectOnlyTls(relay, 2);
}

TEST_F(TlsAsynchronous, RefusesToo) {
    OpenSslServer impostor("self-signed");
    SessionPtr session = newSession(impostor.uri());
    ldap_set_option(session.get(), LDAP_OPT_CONNECT_ASYNC, LDAP_OPT_ON);
    EXPECT_EQ(bind(session.get()), LDAP_SERVER_DOWN);
    EXPECT_NE(diagnosticOf(session.get()).find("(self-signed certificate)"), std::string::npos);
    EXPECT_EQ(impostor.end(), "");
}

} // namespace
} // namespace test
